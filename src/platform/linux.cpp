// The platform layer on Linux. An arena is the heap behind malloc. Not every such heap keeps its areas apart,
// so the last byte of each stays unused.
#include "platform/platform.h"
#include <malloc.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace zv::platform {
static char arena_handle; // the C library's heap is always there; its handle need only not be null

void* arena_create() { return &arena_handle; }
void* arena_take(void*, size_t bytes) { return malloc(bytes + 1); }
size_t arena_size(void*, void* area) { return malloc_usable_size(area) - 1; }
void arena_give(void*, void* area) { free(area); }
void arena_destroy(void*) {}

void pause()
{
    const timespec one_ms = {.tv_sec = 0, .tv_nsec = 1'000'000};
    nanosleep(&one_ms, nullptr);
}

uint32_t thread_identity() { return static_cast<uint32_t>(syscall(SYS_gettid)); }

uint64_t counter()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return uint64_t(now.tv_sec) * counter_rate() + uint64_t(now.tv_nsec);
}

uint64_t counter_rate() { return 1'000'000'000; }

uint32_t current_directory(uint32_t size, char* buffer)
{
    char* name = getcwd(nullptr, 0); // a name of any length, from malloc
    if (!name) return 0;
    const auto need = static_cast<uint32_t>(strlen(name) + 1);
    if (need <= size) memcpy(buffer, name, need);
    free(name);
    return need;
}
} // namespace zv::platform
