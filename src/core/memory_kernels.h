// The forms of the double-word fill.
#pragma once
#include <cstdint>

namespace zv::memory {
// Elements of memory whose declared type may be any other: samples, floats, pixels.
typedef uint16_t __attribute__((may_alias)) Word;
typedef uint32_t __attribute__((may_alias)) DWord;

using FillDWord = void (*)(DWord* out, DWord value, uint32_t count);

// Extended MMX: stores that don't fill the caches, ordered before what follows.
void fill_past_caches(DWord* out, DWord value, uint32_t count);
// The form for the processor as its record stands now.
FillDWord fill_for_processor();
} // namespace zv::memory
