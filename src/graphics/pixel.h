// Depths of a pixmap as traits: where a pixel of so many bits lies in its row, how one is stored, and how a
// run of them is filled.
#pragma once
#include "core/memory_kernels.h"
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zv::pixmap {
// Sets the bits of mask in the word at `at` to those of word.
inline void blend(uint8_t* at, uint32_t word, uint32_t mask)
{
    uint32_t old;
    memcpy(&old, at, 4);
    word = (old & ~mask) | (word & mask);
    memcpy(at, &word, 4);
}

// Pixels of Bits bits, the first in the lowest bits of the row's first byte.
template <int32_t Bits>
struct Depth {
    static constexpr int32_t bits = Bits;
    static constexpr uint32_t mask = UINT32_MAX >> (32 - Bits); // of a pixel's bits in a colour
    static constexpr bool fits_words = 32 % Bits == 0;          // no pixel lies across two words

    // A word full of pixels, and count such words from out on. Up to 8 bits its four bytes are the same.
    static constexpr uint32_t pattern(uint32_t colour) requires fits_words
    {
        return (colour & mask) * (UINT32_MAX / mask);
    }
    static void fill_whole(uint8_t* out, uint32_t word, size_t count) requires fits_words
    {
        if constexpr (Bits <= 8)
            memset(out, static_cast<uint8_t>(word), 4 * count);
        else
            memory::fill_words(out, word, static_cast<uint32_t>(count));
    }

    static void store(uint8_t* row, int32_t x, uint32_t colour)
    {
        const size_t place = static_cast<size_t>(x);
        if constexpr (Bits < 8) {
            constexpr size_t in_byte = 8 / Bits;
            const size_t shift = place % in_byte * Bits;
            uint8_t& byte = row[place / in_byte];
            byte = static_cast<uint8_t>((byte & ~(mask << shift)) | (colour & mask) << shift);
        } else {
            memcpy(row + place * (Bits / 8), &colour, Bits / 8); // the low bytes of a little-endian word
        }
    }

    // Pixels first to last, first <= last. Words that the run fills in part keep their other bits.
    static void fill(uint8_t* row, int32_t first, int32_t last, uint32_t colour) requires fits_words
    {
        constexpr size_t in_word = 32 / Bits;
        const size_t from = static_cast<size_t>(first), to = static_cast<size_t>(last);
        const uint32_t word = pattern(colour);
        const uint32_t head = UINT32_MAX << from % in_word * Bits;
        const uint32_t tail = UINT32_MAX >> (in_word - 1 - to % in_word) * Bits;
        uint8_t* at = row + from / in_word * 4;
        size_t words = to / in_word - from / in_word + 1;
        if (words == 1) return blend(at, word, head & tail);
        if (head != UINT32_MAX) blend(at, word, head), at += 4, --words;
        if (tail != UINT32_MAX) --words, blend(at + 4 * words, word, tail);
        fill_whole(at, word, words);
    }

    // Where pixels lie across words, four of them are three words.
    static void fill(uint8_t* row, int32_t first, int32_t last, uint32_t colour) requires(!fits_words)
    {
        uint8_t four[12];
        for (int32_t x = 0; x < 4; ++x) store(four, x, colour);
        int32_t x = first;
        for (; last - x >= 3; x += 4) memcpy(row + static_cast<size_t>(x) * 3, four, 12);
        for (; x <= last; ++x) store(row, x, colour);
    }
};
} // namespace zv::pixmap
