// What the library asks of an operating system. Nothing above this folder includes a system header; a port is
// one new file that defines these functions.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zv::platform {
// ---- An arena for the heap: a private store of memory areas. All calls are serialised by the caller. ----

// A new arena, or null.
void* arena_create();
// An area of at least bytes bytes (a multiple of 4096), or null. Two areas never touch: at least one byte lies
// between the end of one and the start of another.
void* arena_take(void* arena, size_t bytes);
// The area's true size, at least what was asked; all of it may be used.
size_t arena_size(void* arena, void* area);
// Gives an area back.
void arena_give(void* arena, void* area);
// Gives the arena back; all its areas have been given back before.
void arena_destroy(void* arena);

// ---- Time and threads ----

// Lets other threads run for about 1 ms.
void pause();
// The calling thread's identity: never 0, and no two living threads have the same.
uint32_t thread_identity();
// A counter that never runs backwards, and its ticks a second.
uint64_t counter();
uint64_t counter_rate();
} // namespace zv::platform
