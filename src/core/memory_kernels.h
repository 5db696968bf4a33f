// The forms of the double-word fill.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zv::memory {
// Elements of memory whose declared type may be any other: samples, floats, pixels.
typedef uint16_t __attribute__((may_alias)) Word;
typedef uint32_t __attribute__((may_alias)) DWord;

using FillDWord = void (*)(DWord* out, DWord value, uint32_t count);

// Any processor. A long run takes the string store, which fills whole cache lines without reading them first;
// its start costs as much as some 256 words of the plain loop.
inline void fill_words(DWord* out, DWord value, uint32_t count)
{
    size_t left = count;
    if (left >= 256)
        asm volatile("rep stosl" : "+D"(out), "+c"(left) : "a"(value) : "memory");
    else
        for (size_t n = 0; n < left; n++) out[n] = value;
}

// Extended MMX: stores that don't fill the caches, ordered before what follows.
void fill_past_caches(DWord* out, DWord value, uint32_t count);
// The form for the processor as its record stands now.
FillDWord fill_for_processor();
} // namespace zv::memory
