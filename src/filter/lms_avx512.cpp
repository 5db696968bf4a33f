// LMS on AVX-512 (F, BW, DQ): 8 coefficients a vector.
#include "core/wide_avx512.h"
#include "filter/lms_kernels.h"
#include <algorithm>
#include <cmath>

namespace zv::lms {
namespace {
using namespace wide;
using Errors = __m256i;

ZV_SET ZV_INLINE QWords samples(const int16_t* p)
{
    return (QWords)_mm512_cvtepu16_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
ZV_SET ZV_INLINE Reals larger(Reals a, Reals b)
{
    constexpr int magnitude_of_larger = 0b1011;
    return _mm512_range_pd(a, b, magnitude_of_larger);
}
ZV_SET ZV_INLINE Reals unless_equal(Reals v, Reals a, Reals b)
{
    return _mm512_maskz_mov_pd(_mm512_cmp_pd_mask(a, b, _CMP_NEQ_UQ), v);
}
ZV_SET ZV_INLINE bool within(Reals v, double limit)
{
    return _mm512_cmp_pd_mask(v, all<Reals>(limit), _CMP_NLT_UQ) == 0;
}

// Upper halves of 64-bit lanes are 0 in sums, so the last step but one leaves the whole sum in every lower
// half.
ZV_SET ZV_INLINE Errors errors(int32_t x, DWords sums)
{
    auto sum = (__m512i)sums;
    sum = _mm512_add_epi32(sum, _mm512_shuffle_i64x2(sum, sum, 0b01'00'11'10));
    sum = _mm512_add_epi32(sum, _mm512_shuffle_i64x2(sum, sum, 0b10'11'00'01));
    sum = _mm512_add_epi32(sum, _mm512_shuffle_epi32(sum, _MM_PERM_BADC));
    sum = _mm512_shuffle_epi32(sum, _MM_PERM_CCAA);
    return _mm256_sub_epi32(_mm256_set1_epi32(x), _mm256_srai_epi32(_mm512_castsi512_si256(sum), 15));
}
ZV_SET ZV_INLINE Reals reals(Errors v) { return _mm512_cvtepi32_pd(v); }
ZV_SET ZV_INLINE int32_t first(Errors v) { return _mm256_cvtsi256_si32(v); }

#include "filter/lms_wide.h"
} // namespace

ZV_SET void lms_avx512(ZVLMS1616* self, int16_t* out, uint32_t count) { adapt_wide(self, out, count); }
} // namespace zv::lms
