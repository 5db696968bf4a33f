// Transforms on SSE2. Real samples of a ZVFFT2Float are converted to float and run in four floats, rounded
// at each operation; its unpacking is done in doubles, and I/Q pairs stay on the floating-point unit.
#include "spectrum/lanes.h"
#include <emmintrin.h>

#define ZV_SET ZV_SSE2
namespace zv::fft {
namespace {
constexpr int stages_a_pass = 2;
constexpr bool fused = false;
using F = Lanes<float, 4>;
using D = Lanes<double, 2>;

template <class V>
ZV_SET ZV_INLINE V madd(V a, V b, V c)
{
    return a * b + c;
}
template <class V>
ZV_SET ZV_INLINE V nmadd(V a, V b, V c)
{
    return c - a * b;
}

ZV_SET ZV_INLINE F widen(F v) { return v; }
ZV_SET ZV_INLINE F widen(Lanes<int32_t, 4> v) { return _mm_cvtepi32_ps((__m128i)v); }
ZV_SET ZV_INLINE F widen(Lanes<int16_t, 4> v) { return widen(Lanes<int32_t, 4>{v[0], v[1], v[2], v[3]}); }
ZV_SET ZV_INLINE D widen(D v) { return v; }
ZV_SET ZV_INLINE D widen(Lanes<float, 2> v) { return D{v[0], v[1]}; }
ZV_SET ZV_INLINE D widen(Lanes<int32_t, 2> v) { return D{double(v[0]), double(v[1])}; }
ZV_SET ZV_INLINE D widen(Lanes<int16_t, 2> v) { return D{double(v[0]), double(v[1])}; }
ZV_SET ZV_INLINE void narrow(F v, F& to) { to = v; }
ZV_SET ZV_INLINE void narrow(D v, D& to) { to = v; }
ZV_SET ZV_INLINE void narrow(D v, Lanes<float, 2>& to) { to = Lanes<float, 2>{float(v[0]), float(v[1])}; }
} // namespace
} // namespace zv::fft
#include "spectrum/transform.h"

namespace zv::fft {
constinit const Kernel float_sse2 = float_row("sse2");
constinit const Kernel double_sse2 = double_row("sse2");
} // namespace zv::fft
