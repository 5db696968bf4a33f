// Tone correlation on MMX: one multiply-add each takes four samples to the sines and the cosines of a group.
// Reads up to 3 samples past a window, times zero.
#include "core/mmx.h"
#include "decode/tone_detector_corr_kernels.h"

namespace zv::tone_detector_corr {
using namespace mmx_ops;

ZV_MMX ZV_NOINLINE static void correlate(const int16_t* table, uint32_t groups, const int16_t* x,
                                         uint32_t (&sums)[2])
{
    DWords sine = {}, cosine = {};
    for (uint32_t g = 0; g < groups; ++g, table += 8, x += 4) {
        const Words samples = load4(x);
        sine = add(sine, multiply_add(load4(table), samples));
        cosine = add(cosine, multiply_add(load4(table + 4), samples));
    }
    sums[0] = sum(sine);
    sums[1] = sum(cosine);
}

void groups_mmx(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to, uint32_t count)
{
    const MmxScope mmx;
    for (uint32_t r = 0; r < count; ++r) {
        uint32_t sums[2];
        correlate(table, (positions + 3) / 4, x + r, sums);
        to[r] = power_of(sums[0], sums[1]);
    }
}
} // namespace zv::tone_detector_corr
