#include "support/platform.h"
#include "platform/platform.h"
#include <chrono>
#include <cstdlib>
#include <malloc.h>
#include <thread>
#include <unistd.h>

namespace test {
PlatformCalls platform_calls;
int pools_left = -1;
} // namespace test

namespace zv::platform {
using test::platform_calls, test::pools_left;

void* arena_create()
{
    if (pools_left == 0) return nullptr;
    ++platform_calls.arenas;
    return &platform_calls;
}

void* arena_take(void*, size_t bytes)
{
    if (pools_left == 0) return nullptr;
    if (pools_left > 0) --pools_left;
    void* area = std::malloc(bytes);
    if (!area) return nullptr;
    ++platform_calls.areas;
    ++platform_calls.taken;
    platform_calls.last_size = malloc_usable_size(area);
    return area;
}

size_t arena_size(void*, void* area) { return malloc_usable_size(area); }

void arena_give(void*, void* area)
{
    --platform_calls.areas;
    std::free(area);
}

void arena_destroy(void*) { --platform_calls.arenas; }
void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }
uint32_t thread_identity() { return static_cast<uint32_t>(gettid()); }
uint64_t counter()
{
    return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}
uint64_t counter_rate() { return 1'000'000'000; }
} // namespace zv::platform
