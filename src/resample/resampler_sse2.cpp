// Resampling of 16-bit samples on SSE2: one inner product an output, four outputs summed across at once.
#include "resample/resampler_kernels.h"
#include <algorithm>
#include <cstddef>
#include <emmintrin.h>

namespace zv::resampler {
// Lane k of the result is the sum of the lanes of v[k].
ZV_SSE2 static ZV_INLINE __m128i sum_across(const __m128i (&v)[4])
{
    const __m128i ab = _mm_add_epi32(_mm_unpacklo_epi32(v[0], v[1]), _mm_unpackhi_epi32(v[0], v[1]));
    const __m128i cd = _mm_add_epi32(_mm_unpacklo_epi32(v[2], v[3]), _mm_unpackhi_epi32(v[2], v[3]));
    return _mm_add_epi32(_mm_unpacklo_epi64(ab, cd), _mm_unpackhi_epi64(ab, cd));
}

// Loads are unaligned on the samples, up to 15 samples behind a row's taps, times zero.
ZV_SSE2 void narrow_sse2(const Tables& t, int32_t* out, int32_t outputs, Position at)
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
            __m128i sum[4] = {};
            for (int32_t n = 0; n < t.row_taps; n += 8)
                for (int32_t k = 0; k < 4; ++k) {
                    const auto* taps = reinterpret_cast<const __m128i*>(row[k] + p * t.row_taps + n);
                    const auto* span = reinterpret_cast<const __m128i*>(x[k] + n);
                    sum[k] =
                        _mm_add_epi32(sum[k], _mm_madd_epi16(_mm_load_si128(taps), _mm_loadu_si128(span)));
                }
            alignas(16) int32_t piece[4];
            _mm_store_si128(reinterpret_cast<__m128i*>(piece), sum_across(sum));
            for (int32_t k = 0; k < 4; ++k) sums[k] = sums[k] * (1 << t.piece_bits) + piece[k];
        }
        for (int32_t k = 0; k < whole; ++k) out[k] = sat32((sums[k] * t.over) >> 15); // Q15 x Q31 to Q31
    }
}
} // namespace zv::resampler
