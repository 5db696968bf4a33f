// Resampling of 16-bit samples on SSE2: one inner product an output, four outputs summed across at once.
#include "core/wide_sse2.h"
#include "resample/resampler_kernels.h"
#include <algorithm>
#include <cstddef>

namespace zv::resampler {
using namespace wide;

// Loads are unaligned on the samples, up to 15 samples behind a row's taps, times zero.
ZV_SET void narrow_sse2(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    const auto* samples = static_cast<const int16_t*>(t.samples) + t.lead;
    for (; outputs > 0; outputs -= 4, out += 4) {
        const int32_t whole = std::min(outputs, 4);
        const int16_t *x[4], *row[4];
        for (int32_t k = 0; k < 4; ++k) {
            const Position lane = ahead(t, at, k < whole ? k : 0); // what lies past the end repeats the first
            x[k] = samples + lane.sample;
            row[k] = t.row_pieces + ptrdiff_t(lane.phase) * t.pieces * t.row_taps;
        }
        at = ahead(t, at, 4);
        int64_t sums[4] = {};
        for (int32_t p = t.pieces - 1; p >= 0; --p) {
            DWords sum[4] = {};
            for (int32_t n = 0; n < t.row_taps; n += 8)
                for (int32_t k = 0; k < 4; ++k)
                    sum[k] =
                        multiply_add(sum[k], load<Words>(row[k] + p * t.row_taps + n), load<Words>(x[k] + n));
            int32_t piece[4];
            store(piece, totals(sum));
            for (int32_t k = 0; k < 4; ++k) sums[k] = sums[k] * (1 << t.piece_bits) + piece[k];
        }
        for (int32_t k = 0; k < whole; ++k) out[k] = sat32((sums[k] * t.over) >> 15); // Q15 x Q31 to Q31
    }
}
} // namespace zv::resampler
