// LMS on AVX2 and FMA: 4 coefficients a vector.
#include "core/wide_avx2.h"
#include "filter/lms_kernels.h"
#include <algorithm>
#include <cmath>

namespace zv::lms {
namespace {
using namespace wide;
using Errors = __m128i;

ZV_SET ZV_INLINE QWords samples(const int16_t* p)
{
    return (QWords)_mm256_cvtepu16_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
ZV_SET ZV_INLINE Reals larger(Reals a, Reals b)
{
    return _mm256_max_pd(a, _mm256_andnot_pd(all<Reals>(-0.0), b));
}
ZV_SET ZV_INLINE Reals unless_equal(Reals v, Reals a, Reals b)
{
    return _mm256_and_pd(_mm256_cmp_pd(a, b, _CMP_NEQ_UQ), v);
}
ZV_SET ZV_INLINE bool within(Reals v, double limit)
{
    return _mm256_movemask_pd(_mm256_cmp_pd(v, all<Reals>(limit), _CMP_NLT_UQ)) == 0;
}

// Upper halves of 64-bit lanes are 0 in sums, so one step brings the whole sum to every lower half.
ZV_SET ZV_INLINE Errors errors(int32_t x, DWords sums)
{
    auto sum = (__m256i)sums;
    sum = _mm256_add_epi32(sum, _mm256_permute4x64_epi64(sum, 0b01'00'11'10));
    sum = _mm256_add_epi32(sum, _mm256_shuffle_epi32(sum, 0b01'00'11'10));
    sum = _mm256_shuffle_epi32(sum, 0b10'10'00'00);
    return _mm_sub_epi32(_mm_set1_epi32(x), _mm_srai_epi32(_mm256_castsi256_si128(sum), 15));
}
ZV_SET ZV_INLINE Reals reals(Errors v) { return _mm256_cvtepi32_pd(v); }
ZV_SET ZV_INLINE int32_t first(Errors v) { return _mm_cvtsi128_si32(v); }

#include "filter/lms_wide.h"
} // namespace

ZV_SET void lms_avx2(ZVLMS1616* self, int16_t* out, uint32_t count) { adapt_wide(self, out, count); }
} // namespace zv::lms
