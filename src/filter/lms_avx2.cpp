// LMS on AVX2 and FMA: 4 coefficients a vector.
#include "filter/lms_kernels.h"
#include <algorithm>
#include <cmath>
#include <immintrin.h>

#define ZV_SET ZV_AVX2
#define OP     ZV_SET ZV_INLINE

namespace zv::lms {
namespace {
using Reals = __m256d;
using Words = __m256i;
using Errors = __m128i;
constexpr int lanes = 4;

OP Reals load(const double* p) { return _mm256_loadu_pd(p); }
OP void store(double* p, Reals v) { _mm256_storeu_pd(p, v); }
OP Words samples(const int16_t* p)
{
    return _mm256_cvtepu16_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
OP Reals all(double x) { return _mm256_set1_pd(x); }
OP Reals multiply_add(Reals a, Reals b, Reals c) { return _mm256_fmadd_pd(a, b, c); }
OP Reals larger(Reals a, Reals b) { return _mm256_max_pd(a, _mm256_andnot_pd(all(-0.0), b)); }
OP Reals unless_equal(Reals v, Reals a, Reals b)
{
    return _mm256_and_pd(_mm256_cmp_pd(a, b, _CMP_NEQ_UQ), v);
}
OP bool within(Reals v, double limit)
{
    return _mm256_movemask_pd(_mm256_cmp_pd(v, all(limit), _CMP_NLT_UQ)) == 0;
}

OP Words products(Words a, Words b) { return _mm256_madd_epi16(a, b); }
OP Words add(Words a, Words b) { return _mm256_add_epi32(a, b); }

// Upper halves of 64-bit lanes are 0 in sum, so one step brings the whole sum to every lower half.
OP Errors errors(int32_t x, Words sum)
{
    sum = add(sum, _mm256_permute4x64_epi64(sum, 0b01'00'11'10));
    sum = add(sum, _mm256_shuffle_epi32(sum, 0b01'00'11'10));
    sum = _mm256_shuffle_epi32(sum, 0b10'10'00'00);
    return _mm_sub_epi32(_mm_set1_epi32(x), _mm_srai_epi32(_mm256_castsi256_si128(sum), 15));
}
OP Reals reals(Errors v) { return _mm256_cvtepi32_pd(v); }
OP int32_t first(Errors v) { return _mm_cvtsi128_si32(v); }

#include "filter/lms_wide.h"
} // namespace

ZV_SET void lms_avx2(ZVLMS1616* self, int16_t* out, uint32_t count) { adapt_wide(self, out, count); }
} // namespace zv::lms
