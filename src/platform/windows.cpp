// The platform layer on Windows. An arena is a private heap of the system; its areas carry headers, so no two
// of them touch.
#include "platform/platform.h"
#include <windows.h>

namespace zv::platform {
// Calls for an arena come one at a time, so its heap needs no lock of its own.
void* arena_create() { return HeapCreate(HEAP_NO_SERIALIZE, 1 << 20, 0); } // 1 MiB at first, no bound
void* arena_take(void* arena, size_t bytes) { return HeapAlloc(arena, HEAP_NO_SERIALIZE, bytes); }
size_t arena_size(void* arena, void* area) { return HeapSize(arena, HEAP_NO_SERIALIZE, area); }
void arena_give(void* arena, void* area) { HeapFree(arena, HEAP_NO_SERIALIZE, area); }
void arena_destroy(void* arena) { HeapDestroy(arena); }

// A wait for none of no objects would do as well, but the system refuses it at once.
void pause() { Sleep(1); }
uint32_t thread_identity() { return GetCurrentThreadId(); }

uint64_t counter()
{
    LARGE_INTEGER ticks;
    QueryPerformanceCounter(&ticks);
    return static_cast<uint64_t>(ticks.QuadPart);
}

uint64_t counter_rate()
{
    LARGE_INTEGER ticks;
    QueryPerformanceFrequency(&ticks);
    return static_cast<uint64_t>(ticks.QuadPart);
}

uint32_t current_directory(uint32_t size, char* buffer)
{
    const DWORD length =
        GetCurrentDirectoryA(size, buffer); // without the terminator if there was room, else with
    return length == 0 || length >= size ? length : length + 1;
}
} // namespace zv::platform
