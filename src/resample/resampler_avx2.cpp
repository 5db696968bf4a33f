// Resampling on AVX2: one inner product an output; eight outputs of 16-bit samples, or four of 32-bit ones, are
// summed across at once. Loads are unaligned on the samples, up to 15 samples behind a row's taps, times zero.
#include "resample/resampler_kernels.h"
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <immintrin.h>

namespace zv::resampler {
ZV_AVX2 static ZV_INLINE __m256i load(const void* from)
{
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

// Where the spans and rows of the next outputs begin, eight at once as ahead() tells them: samples from the start
// of the samples, and taps from that of a table with rows stride apart. What lies past the end repeats the first.
struct Group {
    alignas(32) int32_t span[8], row[8];

    ZV_AVX2 ZV_INLINE Group(const Tables& t, Position at, int32_t stride, int32_t outputs)
    {
        const __m256i over = _mm256_set1_epi32(t.over);
        const __m256i phase = _mm256_add_epi32(load(t.lane_phase), _mm256_set1_epi32(at.phase));
        const __m256i stays = _mm256_cmpgt_epi32(over, phase); // -1 where there is no wrap
        const __m256i first = _mm256_set1_epi32(at.sample + t.lead + 1);
        const __m256i starts = _mm256_add_epi32(load(t.lane_samples), _mm256_add_epi32(first, stays));
        const __m256i wrapped = _mm256_sub_epi32(phase, _mm256_andnot_si256(stays, over));
        _mm256_store_si256(reinterpret_cast<__m256i*>(span), starts);
        _mm256_store_si256(reinterpret_cast<__m256i*>(row),
                           _mm256_mullo_epi32(wrapped, _mm256_set1_epi32(stride)));
        for (int32_t k = outputs; k < 8; ++k) {
            span[k] = span[0];
            row[k] = row[0];
        }
    }
};

// Lane k of the result is the sum of the lanes of v[k]. Each level adds two halves of two vectors: a blend takes
// one half of each as it lies, another blend and a swap the other two.
ZV_AVX2 static ZV_INLINE __m256i add_neighbours(__m256i a, __m256i b)
{
    return _mm256_add_epi32(_mm256_blend_epi32(a, b, 0xAA),
                            _mm256_shuffle_epi32(_mm256_blend_epi32(a, b, 0x55), 0xB1));
}
ZV_AVX2 static ZV_INLINE __m256i add_halves(__m256i a, __m256i b)
{
    return _mm256_add_epi32(_mm256_blend_epi32(a, b, 0xCC),
                            _mm256_shuffle_epi32(_mm256_blend_epi32(a, b, 0x33), 0x4E));
}
ZV_AVX2 static ZV_INLINE __m256i sum_across(const __m256i (&v)[8])
{
    const __m256i a = add_halves(add_neighbours(v[0], v[1]), add_neighbours(v[2], v[3]));
    const __m256i b = add_halves(add_neighbours(v[4], v[5]), add_neighbours(v[6], v[7]));
    return _mm256_add_epi32(_mm256_blend_epi32(a, b, 0xF0), _mm256_permute2x128_si256(a, b, 0x21));
}

// floor(sum of sums[p] * 2^(p * bits) * over / 2^15), saturated; the exact value has 62 bits or less.
template <int32_t Pieces>
ZV_AVX2 static ZV_INLINE __m256i put_together(const __m256i (&sums)[Pieces], __m128i bits, __m256i over)
{
    __m256i even = _mm256_setzero_si256(), odd = even; // lanes of 64 bits
    for (int32_t p = Pieces - 1; p >= 0; --p) {
        even = _mm256_add_epi64(_mm256_sll_epi64(even, bits), _mm256_mul_epi32(sums[p], over));
        odd = _mm256_add_epi64(_mm256_sll_epi64(odd, bits),
                               _mm256_mul_epi32(_mm256_srli_epi64(sums[p], 32), over));
    }
    const __m256i low = _mm256_blend_epi32(_mm256_srli_epi64(even, 15), _mm256_slli_epi64(odd, 17), 0xAA);
    const __m256i high = _mm256_blend_epi32(_mm256_srli_epi64(even, 32), odd, 0xAA);
    // It fits if bits 46 to 63 are all copies of the sign.
    const __m256i sign = _mm256_srai_epi32(high, 31);
    const __m256i fits = _mm256_cmpeq_epi32(_mm256_srai_epi32(high, 14), sign);
    return _mm256_blendv_epi8(_mm256_xor_si256(sign, _mm256_set1_epi32(INT32_MAX)), low, fits);
}

template <int32_t Pieces>
ZV_AVX2 static ZV_INLINE void narrow_pieces(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    const __m128i bits = _mm_cvtsi32_si128(t.piece_bits);
    const __m256i over = _mm256_set1_epi32(t.over);
    const auto* x = static_cast<const int16_t*>(t.samples);
    for (; outputs > 0; outputs -= 8, out += 8, at = ahead(t, at, 8)) {
        const Group group(t, at, Pieces * t.row_taps, outputs);
        __m256i sums[Pieces];
#pragma GCC unroll 3
        for (int32_t p = 0; p < Pieces; ++p) {
            const int16_t* taps = t.row_pieces + p * t.row_taps;
            __m256i v[8];
            for (int32_t k = 0; k < 8; ++k)
                v[k] = _mm256_madd_epi16(load(x + group.span[k]), load(taps + group.row[k]));
            for (int32_t n = 16; n < t.row_taps; n += 16)
                for (int32_t k = 0; k < 8; ++k)
                    v[k] = _mm256_add_epi32(
                        v[k], _mm256_madd_epi16(load(x + group.span[k] + n), load(taps + group.row[k] + n)));
            sums[p] = sum_across(v);
        }
        const __m256i y = put_together(sums, bits, over);
        if (outputs >= 8)
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), y);
        else
            memcpy(out, &y, size_t(outputs) * sizeof *out);
    }
}

ZV_AVX2 void narrow_avx2(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    if (t.pieces == 2)
        narrow_pieces<2>(t, out, outputs, at);
    else
        narrow_pieces<3>(t, out, outputs, at);
}

// 16 samples a pass. Packing works in halves of a register, so the quarters are put in order afterwards.
ZV_AVX2 bool pack_avx2(int16_t* to, const int32_t* from, int32_t count)
{
    int32_t k = 0;
    __m256i bits = _mm256_setzero_si256();
    for (; k + 16 <= count; k += 16) {
        const __m256i a = load(from + k), b = load(from + k + 8);
        bits = _mm256_or_si256(bits, _mm256_or_si256(a, b));
        const __m256i upper = _mm256_packs_epi32(_mm256_srai_epi32(a, 16), _mm256_srai_epi32(b, 16));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + k), _mm256_permute4x64_epi64(upper, 0xD8));
    }
    const bool exact = _mm256_testz_si256(bits, _mm256_set1_epi32(0xFFFF));
    return pack_scalar(to + k, from + k, count - k) && exact;
}

// Four sums of 64 bits, of which lane k is that of the span and row k of a group, from first on. The multiplication
// takes the even lanes, a shift brings the odd ones there.
ZV_AVX2 static ZV_INLINE __m256i four_sums(const Tables& t, const Group& group, int32_t first)
{
    const auto* samples = static_cast<const int32_t*>(t.samples);
    __m256i v[4] = {};
    for (int32_t n = 0; n < t.row_taps; n += 8)
        for (int32_t k = 0; k < 4; ++k) {
            const __m256i x = load(samples + group.span[first + k] + n);
            const __m256i taps = load(t.rows + group.row[first + k] + n);
            const __m256i odd = _mm256_mul_epi32(_mm256_srli_epi64(x, 32), _mm256_srli_epi64(taps, 32));
            v[k] = _mm256_add_epi64(v[k], _mm256_add_epi64(_mm256_mul_epi32(x, taps), odd));
        }
    const __m256i ab = _mm256_add_epi64(_mm256_unpacklo_epi64(v[0], v[1]), _mm256_unpackhi_epi64(v[0], v[1]));
    const __m256i cd = _mm256_add_epi64(_mm256_unpacklo_epi64(v[2], v[3]), _mm256_unpackhi_epi64(v[2], v[3]));
    return _mm256_add_epi64(_mm256_permute2x128_si256(ab, cd, 0x20), _mm256_permute2x128_si256(ab, cd, 0x31));
}

ZV_AVX2 void wide_avx2(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    for (; outputs > 0; outputs -= 8, out += 8, at = ahead(t, at, 8)) {
        const Group group(t, at, t.row_taps, outputs);
        alignas(32) int64_t sums[8];
        for (int32_t first = 0; first < std::min(outputs, 8); first += 4)
            _mm256_store_si256(reinterpret_cast<__m256i*>(sums + first), four_sums(t, group, first));
        for (int32_t k = 0; k < std::min(outputs, 8); ++k) out[k] = scaled(sums[k], t.over);
    }
}
} // namespace zv::resampler
