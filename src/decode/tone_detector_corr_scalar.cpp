// Tone correlation in plain C++, for either layout of the table.
#include "decode/tone_detector_corr_kernels.h"
#include <cstddef>

namespace zv::tone_detector_corr {
// sine_at(i) and cosine_at(i) say where the entries of position i stand.
template <class SineAt, class CosineAt>
static ZV_INLINE void correlate(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                                uint32_t count, SineAt sine_at, CosineAt cosine_at)
{
    for (uint32_t r = 0; r < count; ++r, ++x) {
        uint32_t sine = 0, cosine = 0;
        for (uint32_t i = 0; i < positions; ++i) {
            cosine += uint32_t(x[i] * table[cosine_at(i)]);
            sine += uint32_t(x[i] * table[sine_at(i)]);
        }
        to[r] = power_of(sine, cosine);
    }
}

void plain_scalar(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to, uint32_t count)
{
    correlate(
        table, positions, x, to, count, [](size_t i) { return 2 * i + 1; }, [](size_t i) { return 2 * i; });
}

void groups_scalar(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to, uint32_t count)
{
    const auto sine_at = [](size_t i) { return i / 4 * 8 + i % 4; };
    correlate(table, positions, x, to, count, sine_at, [=](size_t i) { return sine_at(i) + 4; });
}
} // namespace zv::tone_detector_corr
