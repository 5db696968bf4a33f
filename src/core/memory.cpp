// Memory primitives: plain operations on bytes, words and double words.
#include "core/memory_kernels.h"
#include <cstring>
#include <zovek/memory.h>

namespace zv::memory {
static uint64_t load64(const uint8_t* bytes)
{
    uint64_t word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

// clang-format off
static constexpr Row<FillDWord> fills[] = {
    {on(mmx_ext, amd_f6, amd_f15), "past_caches", "extended MMX, past the caches", fill_past_caches},
    {otherwise,                    "words",       "plain",                         fill_words},
};
// clang-format on
constinit const Rows<FillDWord> fill_rows = fills;
} // namespace zv::memory

using namespace zv;

int32_t MemoryCompare(const void* first, const void* second, uint32_t bytes)
{
    const auto *a = static_cast<const uint8_t*>(first), *b = static_cast<const uint8_t*>(second);
    uint32_t n = 0;
    while (bytes - n >= 8 && memory::load64(a + n) == memory::load64(b + n)) n += 8;
    for (; n < bytes; n++)
        if (a[n] != b[n]) return a[n] - b[n];
    return 0;
}

void* MemoryCopy(void* destination, const void* source, uint32_t bytes)
{
    return bytes != 0 ? memmove(destination, source, bytes) : destination;
}

void* MemoryDuplicate(const void* source, uint32_t bytes)
{
    void* copy = MemoryAlloc(bytes);
    return copy ? MemoryCopy(copy, source, bytes) : nullptr;
}

void MemoryRead_PIO_Word(uint16_t* destination, const volatile uint16_t* source, uint32_t count)
{
    for (; count >= 4; count -= 4, destination += 4) {
        const uint16_t first = *source, second = *source, third = *source, fourth = *source;
        destination[0] = first;
        destination[1] = second;
        destination[2] = third;
        destination[3] = fourth;
    }
    for (; count != 0; count--) *destination++ = *source;
}

void* MemorySet_Byte(void* destination, uint32_t value, uint32_t count)
{
    return count != 0 ? memset(destination, static_cast<uint8_t>(value), count) : destination;
}

void* MemorySet_Word(void* destination, uint32_t value, uint32_t count)
{
    auto* out = static_cast<memory::Word*>(destination);
    for (uint32_t n = 0; n < count; n++) out[n] = static_cast<memory::Word>(value);
    return destination;
}

void* MemorySet_DWord(void* destination, uint32_t value, uint32_t count)
{
    select(memory::fill_rows).kernel(destination, value, count);
    return destination;
}

uint8_t SafeExchange_Byte(volatile uint8_t* target, uint8_t value)
{
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

uint32_t SafeExchange_DWord(volatile uint32_t* target, uint32_t value)
{
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
