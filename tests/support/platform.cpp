#include "support/platform.h"
#include "platform/platform.h"
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <thread>
#if defined(_WIN32)
#include <windows.h>
static uint32_t system_thread() { return GetCurrentThreadId(); }
static size_t true_size(void* area) { return _msize(area) - 1; }
#else
#include <unistd.h>
static uint32_t system_thread() { return static_cast<uint32_t>(gettid()); }
static size_t true_size(void* area) { return malloc_usable_size(area) - 1; }
#endif

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
    void* area = std::malloc(bytes + 1); // the last byte keeps areas apart
    if (!area) return nullptr;
    ++platform_calls.areas;
    ++platform_calls.taken;
    platform_calls.last_size = true_size(area);
    return area;
}

size_t arena_size(void*, void* area) { return true_size(area); }

void arena_give(void*, void* area)
{
    --platform_calls.areas;
    std::free(area);
}

void arena_destroy(void*) { --platform_calls.arenas; }
void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }
uint32_t thread_identity() { return system_thread(); }
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
