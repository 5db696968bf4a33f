// Resampling of 16-bit samples on AVX-512 with VNNI: lanes are sixteen consecutive outputs, so nothing is
// summed across. Their spans begin in one window of 32 samples, or in up to four when decimating, and the
// same permutation spreads the window to the lanes for every pair of taps, the window moving on by two
// samples.
//
// Before each step, with q, r the position `at` of the output `done`:
//
//   lane k       is the output done + k; its span begins at q + lead + first[k], first[k] = lane_samples[k],
//                and one more where r + lane_phase[k] reaches over (it wraps)
//   entry        is that of r, entry * under = r modulo over, so lane k meets entry + k of lane_pieces, all
//                sixteen in one load
//
// and before its pass j lane k of sums[p] is the taps 0 to 2j - 1 of its row, piece p, times their samples; x
// is at q + lead + 2j, so that words first[k] and first[k] + 1 from there are the next two of lane k; taps is
// at the pair 2j, 2j + 1. The step leaves done, at and entry sixteen outputs on.
//
// 32 to 48 kHz, over : under = 3 : 2. Output k lies at 2k / 3: phases go 0, 2, 1, 0, ..., and so do the
// entries 0, 1, 2 of the table (inverse = 2: the entry of r is 2r modulo 3). From the start of a stream:
//
//   lane         0  1  2  3  4  5  6  7  8  9 10 11 12 13 14 15
//   lane_phase   0  2  1  0  2  1  0  2  1  0  2  1  0  2  1  0
//   outputs 0 to 15:  q = 0, r = 0, entry 0, no wraps
//   first        0  0  1  2  2  3  4  4  5  6  6  7  8  8  9 10
//   outputs 16 to 31: q = 10, r = 2 (32 / 3), entry 1 (16 modulo 3); lanes of phase 2 and 1 wrap
//   first        0  1  2  2  3  4  4  5  6  6  7  8  8  9 10 10
//
// Lane 4 of the first step is output 4, at 8 / 3: phase 2, whose taps the entry 4, the same as 1, has; its
// pass j takes the samples 2 + 2j and 3 + 2j (behind lead). One window does, as first[15] + 1 is below 32.
#include "core/wide_avx512.h"
#include "resample/resampler_kernels.h"
#include <algorithm>
#include <cstddef>

namespace zv::resampler {
using namespace wide;

// floor(sum of the pieces * over / 2^15) of eight outputs, saturated.
template <int32_t Pieces>
ZV_SET static ZV_INLINE __m256i put_together(const __m256i (&sums)[Pieces], __m128i bits, __m512i over)
{
    __m512i sum = _mm512_setzero_si512();
    for (int32_t p = Pieces - 1; p >= 0; --p)
        sum = _mm512_add_epi64(_mm512_sll_epi64(sum, bits),
                               _mm512_mul_epi32(_mm512_cvtepi32_epi64(sums[p]), over));
    return _mm512_cvtsepi64_epi32(_mm512_srai_epi64(sum, 15));
}

// Windows that the first pair of all lanes can lie in: the last lane begins lane_samples[15] or one more
// behind the first.
constexpr int32_t max_windows = (lane_reach * (lanes - 1) + 2 + 31) / 32;
ZV_INLINE int32_t windows_of(const Tables& t)
{
    return (t.lane_samples[lanes - 1] + (t.over > 1) + 1) / 32 + 1;
}

// The pair of samples of each lane. Word k of spread is the place of a sample from x on; the permutation
// takes it modulo 32, and masks[i] has the words in the window i.
template <bool OneWindow>
ZV_SET static ZV_INLINE __m512i pairs_of(const int16_t* x, __m512i spread, const __mmask32* masks,
                                         int32_t windows)
{
    __m512i pair = _mm512_permutexvar_epi16(spread, _mm512_loadu_si512(x));
    if constexpr (!OneWindow)
        for (int32_t i = 1; i < windows; ++i)
            pair = _mm512_mask_permutexvar_epi16(pair, masks[i], spread, _mm512_loadu_si512(x + 32 * i));
    return pair;
}

// Reads up to four windows behind a span, and begins up to 15 outputs early where that puts the table's loads
// on whole lines; what comes of it is masked.
template <int32_t Pieces, bool OneWindow>
ZV_SET static void narrow_lanes(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    const __m128i bits = _mm_cvtsi32_si128(t.piece_bits);
    const __m512i over32 = _mm512_set1_epi32(t.over), over64 = _mm512_set1_epi64(t.over);
    const __m512i lane_samples = _mm512_load_si512(t.lane_samples);
    const __m512i lane_phase = _mm512_load_si512(t.lane_phase);
    const int32_t pairs = (t.taps + 1) / 2, stride = 2 * t.lane_stride, piece_stride = pairs * stride;
    const int32_t pace_entry = lanes % t.over;
    const int32_t windows = windows_of(t);

    auto entry = static_cast<int32_t>(int64_t(at.phase) * t.inverse % t.over);
    // Where the cycle of entries is whole lines of sixteen, steps begin with one: that many outputs early.
    const int32_t early = t.over % lanes == 0 ? entry % lanes : 0;
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
        __mmask32 masks[max_windows];
        if constexpr (!OneWindow)
            for (int32_t i = 1; i < windows; ++i)
                masks[i] =
                    _mm512_cmpeq_epi16_mask(_mm512_srli_epi16(spread, 5), _mm512_set1_epi16(int16_t(i)));
        DWords sums[Pieces] = {};
        for (int32_t j = 0; j < pairs; ++j, x += 2, taps += stride) {
            const auto pair = Words(pairs_of<OneWindow>(x, spread, masks, windows));
            for (int32_t p = 0; p < Pieces; ++p)
                sums[p] = vnni::multiply_add(sums[p], pair, load<Words>(taps + p * ptrdiff_t(piece_stride)));
        }

        __m256i low[Pieces], high[Pieces];
        for (int32_t p = 0; p < Pieces; ++p) {
            low[p] = _mm512_castsi512_si256((__m512i)sums[p]);
            high[p] = _mm512_extracti64x4_epi64((__m512i)sums[p], 1);
        }
        const __m512i y = _mm512_inserti64x4(_mm512_castsi256_si512(put_together(low, bits, over64)),
                                             put_together(high, bits, over64), 1);
        const uint32_t until = (1u << std::min(outputs - done, lanes)) - 1;
        const uint32_t from = done < 0 ? ~0u << early : ~0u;
        _mm512_mask_storeu_epi32(out + done, static_cast<__mmask16>(until & from), y);

        at = ahead(t, ahead(t, at, lanes / 2), lanes / 2);
        entry += pace_entry;
        if (entry >= t.over) entry -= t.over;
    }
}

ZV_SET void narrow_lanes_avx512(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    constexpr Kernel kernels[2][2] = {{narrow_lanes<2, false>, narrow_lanes<2, true>},
                                      {narrow_lanes<3, false>, narrow_lanes<3, true>}};
    kernels[t.pieces - 2][windows_of(t) == 1](t, out, outputs, at);
}
} // namespace zv::resampler
