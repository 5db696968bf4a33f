// LMS on AVX-512 (F, BW, DQ): 8 coefficients a vector.
#include "core/avx512.h"
#include "filter/lms_kernels.h"
#include <algorithm>
#include <cmath>

#define ZV_SET ZV_AVX512
#define OP     ZV_SET ZV_INLINE

namespace zv::lms {
namespace {
using Reals = __m512d;
using Words = __m512i;
using Errors = __m256i;
constexpr int lanes = 8;

OP Reals load(const double* p) { return _mm512_loadu_pd(p); }
OP void store(double* p, Reals v) { _mm512_storeu_pd(p, v); }
OP Words samples(const int16_t* p)
{
    return _mm512_cvtepu16_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
OP Reals all(double x) { return _mm512_set1_pd(x); }
OP Reals multiply_add(Reals a, Reals b, Reals c) { return _mm512_fmadd_pd(a, b, c); }
OP Reals larger(Reals a, Reals b)
{
    constexpr int magnitude_of_larger = 0b1011;
    return _mm512_range_pd(a, b, magnitude_of_larger);
}
OP Reals unless_equal(Reals v, Reals a, Reals b)
{
    return _mm512_maskz_mov_pd(_mm512_cmp_pd_mask(a, b, _CMP_NEQ_UQ), v);
}
OP bool within(Reals v, double limit) { return _mm512_cmp_pd_mask(v, all(limit), _CMP_NLT_UQ) == 0; }

OP Words products(Words a, Words b) { return _mm512_madd_epi16(a, b); }
OP Words add(Words a, Words b) { return _mm512_add_epi32(a, b); }

// Upper halves of 64-bit lanes are 0 in sum, so the last step but one leaves the whole sum in every lower
// half.
OP Errors errors(int32_t x, Words sum)
{
    sum = add(sum, _mm512_shuffle_i64x2(sum, sum, 0b01'00'11'10));
    sum = add(sum, _mm512_shuffle_i64x2(sum, sum, 0b10'11'00'01));
    sum = add(sum, _mm512_shuffle_epi32(sum, _MM_PERM_BADC));
    sum = _mm512_shuffle_epi32(sum, _MM_PERM_CCAA);
    return _mm256_sub_epi32(_mm256_set1_epi32(x), _mm256_srai_epi32(_mm512_castsi512_si256(sum), 15));
}
OP Reals reals(Errors v) { return _mm512_cvtepi32_pd(v); }
OP int32_t first(Errors v) { return _mm256_cvtsi256_si32(v); }

#include "filter/lms_wide.h"
} // namespace

ZV_SET void lms_avx512(ZVLMS1616* self, int16_t* out, uint32_t count) { adapt_wide(self, out, count); }
} // namespace zv::lms
