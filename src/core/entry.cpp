// Load and unload of the library, and what the load fills. The record and the wider sets stand beside the
// constructor, so a program that takes the library from the archive gets all of it.
#include "core/cpu.h"

namespace zv {
static ZVCPUInfo record;
uint32_t wider_sets;
int32_t load_count;

void attach()
{
    if (load_count == 0) {
        // Identified aside: where threads that began before the load end, the count falls back to 0 while
        // others read the record, and what they read is to stay the same.
        ZVCPUInfo found = {};
        ZVCPUInfo_Init(&found);
        record = found;
        wider_sets = decide_wider_sets(read_processor());
    }
    load_count++;
}

void detach() { load_count--; }

// Ahead of a program's own constructors, which may already build objects.
__attribute__((constructor(101))) static void load() { attach(); }
__attribute__((destructor(101))) static void unload() { detach(); }
} // namespace zv

ZVCPUInfo* _CPU() { return &zv::record; }
