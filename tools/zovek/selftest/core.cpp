// Memory primitives and whole-number arithmetic.
#include "parts.h"
#include <algorithm>
#include <iterator>
#include <zovek/arithmetic.h>
#include <zovek/memory.h>

namespace client::selftest {
// Fills, copies and comparisons from every place in a line of the caches on that the width of an element
// allows, of few elements and of many.
void memory(Hash& hash)
{
    alignas(64) static uint8_t area[9000];
    std::fill(std::begin(area), std::end(area), uint8_t(0));
    Dice dice(1);
    for (uint32_t n = 0; n < 200; ++n) {
        const uint32_t count = n < 190 ? n : 200 * (n - 189);
        uint8_t *at = area + n % 64, *at_word = area + n % 32 * 2, *at_dword = area + n % 16 * 4;
        MemorySet_Byte(at, dice.next(), count);
        MemorySet_Word(at_word, dice.next(), count / 3);
        MemorySet_DWord(at_dword + 40, dice.next(), count);
        MemoryCopy(at + 5, at, count);
        hash.bytes(area, sizeof area);
        hash.value(MemoryCompare(at, at + 5, count));
        hash.value(MemoryCompare(at, area + dice.below(300), 40));
    }
    void* copy = MemoryDuplicate(area, 777);
    if (!copy) throw std::bad_alloc();
    copy = MemoryReAlloc(copy, 5000);
    if (!copy) throw std::bad_alloc();
    hash.bytes(copy, 777);
    MemoryFree(copy);
    const uint16_t port = 0x1234;
    uint16_t words[9] = {};
    MemoryRead_PIO_Word(words, &port, 7);
    hash.bytes(words, sizeof words);
    uint8_t byte = 5;
    uint32_t dword = 7;
    hash.value(SafeExchange_Byte(&byte, 6));
    hash.value(SafeExchange_DWord(&dword, 8));
    hash.value(byte);
    hash.value(dword);
}

void arithmetic(Hash& hash)
{
    Dice dice(2);
    for (int n = 0; n < 500; ++n) {
        const uint32_t a = dice.next() >> (n % 32), b = (dice.next() >> (n / 16)) | 1, c = dice.next() % b;
        hash.value(Mul_UI32UI32_UI64(a, b));
        hash.value(Div_UI64UI32_UI32(uint64_t(c) << 32 | a, b));
        hash.value(OneBits_QWord(uint64_t(a) << 32 | c));
        hash.value(Log10_F80_I32(static_cast<long double>(a) * a));
    }
    hash.value(Log10_F80_I32(0));
    hash.value(Log10_F80_I32(-1));
    const auto i = noise<int16_t>(1000, 3, 1), q = noise<int16_t>(1000, 4);
    std::vector<int16_t> module(i.size());
    ComputeIQModule_I16(i.data(), q.data(), module.data(), uint32_t(i.size()));
    hash.values(module);
}
} // namespace client::selftest
