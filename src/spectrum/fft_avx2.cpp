// Transforms on AVX2 with FMA: as on AVX-512, in eight floats and four doubles.
#include "spectrum/lanes.h"
#include <immintrin.h>

#define ZV_SET ZV_AVX2
namespace zv::fft {
namespace {
constexpr int stages_a_pass = 2;
constexpr bool fused = true;
using F = Lanes<float, 8>;
using D = Lanes<double, 4>;

ZV_SET ZV_INLINE F madd(F a, F b, F c) { return _mm256_fmadd_ps(a, b, c); }
ZV_SET ZV_INLINE F nmadd(F a, F b, F c) { return _mm256_fnmadd_ps(a, b, c); }
ZV_SET ZV_INLINE D madd(D a, D b, D c) { return _mm256_fmadd_pd(a, b, c); }
ZV_SET ZV_INLINE D nmadd(D a, D b, D c) { return _mm256_fnmadd_pd(a, b, c); }
ZV_SET ZV_INLINE D msub(D a, D b, D c) { return _mm256_fmsub_pd(a, b, c); }

ZV_SET ZV_INLINE F widen(F v) { return v; }
ZV_SET ZV_INLINE F widen(Lanes<int32_t, 8> v) { return _mm256_cvtepi32_ps((__m256i)v); }
ZV_SET ZV_INLINE F widen(Lanes<int16_t, 8> v)
{
    return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32((__m128i)v));
}
ZV_SET ZV_INLINE D widen(D v) { return v; }
ZV_SET ZV_INLINE D widen(Lanes<float, 4> v) { return _mm256_cvtps_pd(v); }
ZV_SET ZV_INLINE D widen(Lanes<int32_t, 4> v) { return _mm256_cvtepi32_pd((__m128i)v); }
ZV_SET ZV_INLINE D widen(Lanes<int16_t, 4> v) { return widen(__builtin_convertvector(v, Lanes<int32_t, 4>)); }
ZV_SET ZV_INLINE void narrow(F v, F& to) { to = v; }
ZV_SET ZV_INLINE void narrow(D v, D& to) { to = v; }
ZV_SET ZV_INLINE void narrow(D v, Lanes<float, 4>& to) { to = _mm256_cvtpd_ps(v); }
} // namespace
} // namespace zv::fft
#include "spectrum/transform.h"

namespace zv::fft {
constinit const Kernel float_avx2 = float_row("avx2");
constinit const Kernel double_avx2 = double_row("avx2");
} // namespace zv::fft
