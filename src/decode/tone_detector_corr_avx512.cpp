// Tone correlation on AVX-512 (F, BW), without and with VNNI, 128 results at a time.
#include "core/avx512.h"
#include "decode/tone_detector_corr_kernels.h"

#define ZV_SET ZV_AVX512
#define OP     ZV_SET ZV_INLINE

namespace zv::tone_detector_corr {
namespace {
using Vector = __m512i;
constexpr int lanes = 16, unroll = 4;

OP Vector load(const void* p) { return _mm512_loadu_si512(p); }
OP Vector all(int32_t v) { return _mm512_set1_epi32(v); }
// S^2 + C^2 of lanes 0, 2, 4, ... in 64 bits, and of lanes 1, 3, 5, ...
OP Vector power(Vector s, Vector c)
{
    return _mm512_add_epi64(_mm512_mul_epi32(s, s), _mm512_mul_epi32(c, c));
}
OP Vector power_above(Vector s, Vector c)
{
    return power(_mm512_srli_epi64(s, 32), _mm512_srli_epi64(c, 32));
}

// Bits 45 to 60 of four powers to the four words of each 64 bits.
OP void store(int16_t* to, Vector sine, Vector cosine, Vector odd_sine, Vector odd_cosine)
{
    const Vector first = _mm512_srli_epi64(power(sine, cosine), 45);
    const Vector second = _mm512_srli_epi64(power(odd_sine, odd_cosine), 45 - 16);
    const Vector third = _mm512_srli_epi64(power_above(sine, cosine), 45 - 32);
    const Vector fourth = _mm512_slli_epi64(power_above(odd_sine, odd_cosine), 48 - 45);
    const Vector low = _mm512_mask_blend_epi16(0x22222222, first, second);
    const Vector high = _mm512_mask_blend_epi16(0x88888888, third, fourth);
    _mm512_storeu_si512(to, _mm512_mask_blend_epi16(0xCCCCCCCC, low, high));
}

namespace plain {
using zv::plain::multiply_add;
#include "decode/tone_detector_corr_wide.h"
} // namespace plain

namespace vnni {
using zv::vnni::multiply_add;
#include "decode/tone_detector_corr_wide.h"
} // namespace vnni
} // namespace

ZV_SET void groups_avx512(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                          uint32_t count)
{
    plain::correlate_block(table, positions, x, to, count);
}

ZV_SET void groups_vnni(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                        uint32_t count)
{
    vnni::correlate_block(table, positions, x, to, count);
}
} // namespace zv::tone_detector_corr
