// What the library asks of an operating system. Nothing above this folder includes a system header; a port is
// one new file that defines these functions.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zv::platform {
// ---- An arena for the heap: a private store of memory areas. All calls are serialised by the caller. ----

// A new arena, or null.
void* arena_create();
// An area of at least bytes bytes (a multiple of 4096), or null. Two areas never touch: at least one byte
// lies between the end of one and the start of another.
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

// ---- Texts of the system. Each call gives the bytes that the text needs, terminator included, or 0 when it
// can't be had, and writes the text to buffer if size is at least that. With size 0, buffer may be null. ----

// The name of the current directory.
uint32_t current_directory(uint32_t size, char* buffer);
// A value by key and name: the settings that the user or the system keeps for programs. root is one of the
// keys that are always open (ZV_HKEY_... in zovek/string.h) or what else the system takes for an open key.
uint32_t registry_value(void* root, const char* subkey, const char* name, uint32_t size, char* buffer);
} // namespace zv::platform
