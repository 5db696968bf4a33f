// The forms of the double-word fill.
#pragma once
#include "core/select.h"
#include <cstddef>
#include <cstdint>

namespace zv::memory {
// Elements of memory whose declared type may be any other: samples, floats, pixels.
typedef uint16_t __attribute__((may_alias)) Word;
typedef uint32_t __attribute__((may_alias)) DWord;

// count double words at any address.
using FillDWord = void (*)(void* to, uint32_t value, uint32_t count);

// Any processor. A long run takes the string store, which fills whole cache lines without reading them first;
// its start costs as much as some 256 words of the plain loop.
inline void fill_words(void* to, uint32_t value, uint32_t count)
{
    auto* out = static_cast<DWord*>(to);
    size_t left = count;
    if (left >= 256)
        asm volatile("rep stosl" : "+D"(out), "+c"(left) : "a"(value) : "memory");
    else
        for (size_t n = 0; n < left; n++) out[n] = value;
}

// Extended MMX: stores that don't fill the caches, ordered before what follows.
void fill_past_caches(void* to, uint32_t value, uint32_t count);
extern const Rows<FillDWord> fill_rows;
} // namespace zv::memory
