// Transforms on AVX-512. Real samples of a ZVFFT2Float run in sixteen floats, rounded at each operation as
// on SSE2; I/Q pairs, which other processors run on the floating-point unit, in eight doubles, rounded to
// float once a pass.
#include "core/avx512.h"
#include "spectrum/lanes.h"

#define ZV_SET ZV_AVX512
namespace zv::fft {
namespace {
constexpr int stages_a_pass = 3;
constexpr bool fused = true;
using F = Lanes<float, 16>;
using D = Lanes<double, 8>;

ZV_SET ZV_INLINE F madd(F a, F b, F c) { return _mm512_fmadd_ps(a, b, c); }
ZV_SET ZV_INLINE F nmadd(F a, F b, F c) { return _mm512_fnmadd_ps(a, b, c); }
ZV_SET ZV_INLINE D madd(D a, D b, D c) { return _mm512_fmadd_pd(a, b, c); }
ZV_SET ZV_INLINE D nmadd(D a, D b, D c) { return _mm512_fnmadd_pd(a, b, c); }
ZV_SET ZV_INLINE D msub(D a, D b, D c) { return _mm512_fmsub_pd(a, b, c); }

ZV_SET ZV_INLINE F widen(F v) { return v; }
ZV_SET ZV_INLINE F widen(Lanes<int32_t, 16> v) { return _mm512_cvtepi32_ps((__m512i)v); }
ZV_SET ZV_INLINE F widen(Lanes<int16_t, 16> v)
{
    return widen((Lanes<int32_t, 16>)_mm512_cvtepi16_epi32((__m256i)v));
}
ZV_SET ZV_INLINE D widen(D v) { return v; }
ZV_SET ZV_INLINE D widen(Lanes<float, 8> v) { return _mm512_cvtps_pd(v); }
ZV_SET ZV_INLINE D widen(Lanes<int32_t, 8> v) { return _mm512_cvtepi32_pd((__m256i)v); }
ZV_SET ZV_INLINE D widen(Lanes<int16_t, 8> v)
{
    return widen((Lanes<int32_t, 8>)_mm256_cvtepi16_epi32((__m128i)v));
}
ZV_SET ZV_INLINE void narrow(F v, F& to) { to = v; }
ZV_SET ZV_INLINE void narrow(D v, D& to) { to = v; }
ZV_SET ZV_INLINE void narrow(D v, Lanes<float, 8>& to) { to = _mm512_cvtpd_ps(v); }
} // namespace
} // namespace zv::fft
#include "spectrum/transform.h"

namespace zv::fft {
constinit const Kernel float_avx512 = float_row("avx512");
constinit const Kernel double_avx512 = double_row("avx512");
} // namespace zv::fft
