#include "support/platform.h"
#include "platform/platform.h"
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <thread>
#include <unistd.h>

namespace test {
PlatformCalls platform_calls;
int pools_left = -1;
std::deque<std::string> directories;
} // namespace test

namespace zv::platform {
using test::directories, test::platform_calls, test::pools_left;

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

uint32_t current_directory(uint32_t size, char* buffer)
{
    if (directories.empty()) return 0;
    const std::string name = directories.front();
    if (directories.size() > 1) directories.pop_front();
    if (name.size() < size) std::memcpy(buffer, name.c_str(), name.size() + 1);
    return name.empty() ? 0 : uint32_t(name.size() + 1);
}
} // namespace zv::platform
