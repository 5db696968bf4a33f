// Double-word fill on extended MMX (movntq, sfence), as AMD families 6 and 15 have it.
#include "core/memory_kernels.h"
#include "core/mmx.h"

namespace zv::memory {
using mmx_ops::DWords;

ZV_MMX ZV_INLINE void store_past_caches(DWord* out, DWords pair)
{
    asm volatile("movntq %1, %0" : "=m"(*reinterpret_cast<DWords*>(out)) : "y"(pair));
}

// Runs of 64, 32, 16 and 8 bytes, then the odd element.
ZV_MMX void fill_past_caches(void* to, uint32_t value, uint32_t count)
{
    auto* out = static_cast<DWord*>(to);
    const DWords pair = {static_cast<int>(value), static_cast<int>(value)};
    const auto store = [&](uint32_t pairs) ZV_MMX {
        for (uint32_t n = 0; n < pairs; n++, out += 2) store_past_caches(out, pair);
    };
    for (uint32_t left = count; left >= 16; left -= 16) store(8);
    if (count & 8) store(4);
    if (count & 4) store(2);
    if (count & 2) store(1);
    if (count & 1) *out = value;
    asm volatile("sfence\n\temms" ::: "memory");
}
} // namespace zv::memory
