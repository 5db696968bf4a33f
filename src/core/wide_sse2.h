// The vocabulary of core/wide.h on SSE2.
#pragma once
#include "core/lanes.h"
#include "core/simd.h"
#include <emmintrin.h>

#define ZV_SET ZV_SSE2

namespace zv::wide {
namespace {
using Words = Lanes<int16_t, 8>;
using DWords = Lanes<uint32_t, 4>;
using QWords = Lanes<uint64_t, 2>;
using Floats = Lanes<float, 4>;
using Reals = Lanes<double, 2>;

ZV_SET ZV_INLINE DWords multiply_add(DWords sum, Words a, Words b)
{
    return sum + (DWords)_mm_madd_epi16((__m128i)a, (__m128i)b);
}

ZV_SET ZV_INLINE __m128i add_crosswise(DWords a, DWords b)
{
    return _mm_add_epi32(_mm_unpacklo_epi32((__m128i)a, (__m128i)b),
                         _mm_unpackhi_epi32((__m128i)a, (__m128i)b));
}
ZV_SET ZV_INLINE DWords totals(const DWords (&rows)[4])
{
    const __m128i a = add_crosswise(rows[0], rows[1]), b = add_crosswise(rows[2], rows[3]);
    return (DWords)_mm_add_epi32(_mm_unpacklo_epi64(a, b), _mm_unpackhi_epi64(a, b));
}

constexpr bool fused = false;
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

ZV_SET ZV_INLINE Floats widen(Floats v) { return v; }
ZV_SET ZV_INLINE Floats widen(Lanes<int32_t, 4> v) { return _mm_cvtepi32_ps((__m128i)v); }
ZV_SET ZV_INLINE Floats widen(Lanes<int16_t, 4> v)
{
    return widen(Lanes<int32_t, 4>{v[0], v[1], v[2], v[3]});
}
ZV_SET ZV_INLINE Reals widen(Reals v) { return v; }
ZV_SET ZV_INLINE Reals widen(Lanes<float, 2> v) { return Reals{v[0], v[1]}; }
ZV_SET ZV_INLINE Reals widen(Lanes<int32_t, 2> v) { return Reals{double(v[0]), double(v[1])}; }
ZV_SET ZV_INLINE Reals widen(Lanes<int16_t, 2> v) { return Reals{double(v[0]), double(v[1])}; }
ZV_SET ZV_INLINE void narrow(Floats v, Floats& to) { to = v; }
ZV_SET ZV_INLINE void narrow(Reals v, Reals& to) { to = v; }
ZV_SET ZV_INLINE void narrow(Reals v, Lanes<float, 2>& to) { to = Lanes<float, 2>{float(v[0]), float(v[1])}; }
} // namespace
} // namespace zv::wide
#include "core/wide.h"
