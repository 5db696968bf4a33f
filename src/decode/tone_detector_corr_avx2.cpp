// Tone correlation on AVX2, 32 results at a time.
#include "decode/tone_detector_corr_kernels.h"
#include <immintrin.h>

#define ZV_SET ZV_AVX2
#define OP     ZV_SET ZV_INLINE

namespace zv::tone_detector_corr {
namespace {
using Vector = __m256i;
constexpr int lanes = 8, unroll = 2;

OP Vector load(const void* p) { return _mm256_loadu_si256(static_cast<const Vector*>(p)); }
OP Vector all(int32_t v) { return _mm256_set1_epi32(v); }
OP Vector multiply_add(Vector sum, Vector a, Vector b)
{
    return _mm256_add_epi32(sum, _mm256_madd_epi16(a, b));
}

// S^2 + C^2 of lanes 0, 2, 4, ... in 64 bits, and of lanes 1, 3, 5, ...
OP Vector power(Vector s, Vector c)
{
    return _mm256_add_epi64(_mm256_mul_epi32(s, s), _mm256_mul_epi32(c, c));
}
OP Vector power_above(Vector s, Vector c)
{
    return power(_mm256_srli_epi64(s, 32), _mm256_srli_epi64(c, 32));
}

// Bits 45 to 60 of four powers to the four words of each 64 bits.
OP void store(int16_t* to, Vector sine, Vector cosine, Vector odd_sine, Vector odd_cosine)
{
    const Vector first = _mm256_srli_epi64(power(sine, cosine), 45);
    const Vector second = _mm256_srli_epi64(power(odd_sine, odd_cosine), 45 - 16);
    const Vector third = _mm256_srli_epi64(power_above(sine, cosine), 45 - 32);
    const Vector fourth = _mm256_slli_epi64(power_above(odd_sine, odd_cosine), 48 - 45);
    const Vector low = _mm256_blend_epi16(first, second, 0x22);
    const Vector high = _mm256_blend_epi16(third, fourth, 0x88);
    _mm256_storeu_si256(reinterpret_cast<Vector*>(to), _mm256_blend_epi16(low, high, 0xCC));
}

#include "decode/tone_detector_corr_wide.h"
} // namespace

ZV_SET void groups_avx2(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                        uint32_t count)
{
    correlate_block(table, positions, x, to, count);
}
} // namespace zv::tone_detector_corr
