// Resampling of 16-bit samples on AVX-512 with VNNI: lanes are sixteen consecutive outputs, so nothing is summed
// across. Their spans lie in one window of 32 samples, and the same permutation spreads the window to the lanes
// for every pair of taps, the window moving on by two samples.
#if defined(__x86_64__) || defined(__i386__)
#include "resample/resampler_kernels.h"
#include <algorithm>
#include <cstddef>
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized" // GCC 12 in its own header, of _mm512_undefined_epi32
#include <immintrin.h>
#pragma GCC diagnostic pop

#define ZV_VNNI ZV_TARGET("avx2,avx512f,avx512bw,avx512dq,avx512vl,avx512vnni")

namespace zv::resampler {
// floor(sum of the pieces * over / 2^15) of eight outputs, saturated.
template <int32_t Pieces>
ZV_VNNI static ZV_INLINE __m256i put_together(const __m256i (&sums)[Pieces], __m128i bits, __m512i over)
{
    __m512i sum = _mm512_setzero_si512();
    for (int32_t p = Pieces - 1; p >= 0; --p)
        sum = _mm512_add_epi64(_mm512_sll_epi64(sum, bits),
                               _mm512_mul_epi32(_mm512_cvtepi32_epi64(sums[p]), over));
    return _mm512_cvtsepi64_epi32(_mm512_srai_epi64(sum, 15));
}

// Reads up to 31 samples behind a span, and begins up to 15 outputs early where that puts the table's loads on
// whole lines; what comes of it is masked.
template <int32_t Pieces>
ZV_VNNI static ZV_INLINE void narrow_lanes(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    const __m128i bits = _mm_cvtsi32_si128(t.piece_bits);
    const __m512i over32 = _mm512_set1_epi32(t.over), over64 = _mm512_set1_epi64(t.over);
    const __m512i lane_samples = _mm512_load_si512(t.lane_samples);
    const __m512i lane_phase = _mm512_load_si512(t.lane_phase);
    const int32_t pairs = (t.taps + 1) / 2, stride = 2 * t.lane_stride, piece_stride = pairs * stride;
    const int64_t pace = int64_t(lanes) * (int64_t(t.step_samples) * t.over + t.step_phase);
    const auto pace_samples = static_cast<int32_t>(pace / t.over),
               pace_phase = static_cast<int32_t>(pace % t.over);
    const int32_t pace_entry = lanes % t.over;

    auto entry = static_cast<int32_t>(int64_t(at.phase) * t.inverse % t.over);
    int32_t early = t.over % lanes == 0 ? entry % lanes : 0;
    entry -= early;
    at.sample -= t.lane_samples[early];
    at.phase -= t.lane_phase[early];
    if (at.phase < 0) {
        at.phase += t.over;
        --at.sample;
    }

    const auto* samples = static_cast<const int16_t*>(t.samples) + t.lead;
    for (int32_t done = -early; done < outputs; done += lanes) {
        const __mmask16 wraps =
            _mm512_cmpge_epi32_mask(_mm512_add_epi32(lane_phase, _mm512_set1_epi32(at.phase)), over32);
        const __m512i first = _mm512_mask_add_epi32(lane_samples, wraps, lane_samples, _mm512_set1_epi32(1));
        // Words first and first + 1 of the window to each lane.
        const __m512i spread = _mm512_add_epi32(_mm512_or_si512(first, _mm512_slli_epi32(first, 16)),
                                                _mm512_set1_epi32(0x10000));
        const int16_t *x = samples + at.sample, *taps = t.lane_pieces + 2 * ptrdiff_t(entry);
        __m512i sums[Pieces];
        for (__m512i& sum : sums) sum = _mm512_setzero_si512();
        for (int32_t j = 0; j < pairs; ++j, x += 2, taps += stride) {
            const __m512i pair = _mm512_permutexvar_epi16(spread, _mm512_loadu_si512(x));
            for (int32_t p = 0; p < Pieces; ++p)
                sums[p] = _mm512_dpwssd_epi32(sums[p], pair,
                                              _mm512_loadu_si512(taps + p * ptrdiff_t(piece_stride)));
        }

        __m256i low[Pieces], high[Pieces];
        for (int32_t p = 0; p < Pieces; ++p) {
            low[p] = _mm512_castsi512_si256(sums[p]);
            high[p] = _mm512_extracti64x4_epi64(sums[p], 1);
        }
        const __m512i y = _mm512_inserti64x4(_mm512_castsi256_si512(put_together(low, bits, over64)),
                                             put_together(high, bits, over64), 1);
        const uint32_t until = (1u << std::min(outputs - done, lanes)) - 1,
                       from = done < 0 ? ~0u << early : ~0u;
        _mm512_mask_storeu_epi32(out + done, static_cast<__mmask16>(until & from), y);

        at.sample += pace_samples;
        at.phase += pace_phase;
        if (at.phase >= t.over) {
            at.phase -= t.over;
            ++at.sample;
        }
        entry += pace_entry;
        if (entry >= t.over) entry -= t.over;
    }
}

ZV_VNNI void narrow_lanes_avx512(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    if (t.pieces == 2)
        narrow_lanes<2>(t, out, outputs, at);
    else
        narrow_lanes<3>(t, out, outputs, at);
}
} // namespace zv::resampler
#endif
