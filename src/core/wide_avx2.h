// The vocabulary of core/wide.h on AVX2 with FMA.
#pragma once
#include "core/lanes.h"
#include "core/simd.h"
#include <immintrin.h>

#define ZV_SET ZV_AVX2

namespace zv::wide {
namespace {
using Words = Lanes<int16_t, 16>;
using DWords = Lanes<uint32_t, 8>;
using QWords = Lanes<uint64_t, 4>;
using Floats = Lanes<float, 8>;
using Reals = Lanes<double, 4>;

ZV_SET ZV_INLINE DWords multiply_add(DWords sum, Words a, Words b)
{
    return sum + (DWords)_mm256_madd_epi16((__m256i)a, (__m256i)b);
}
ZV_SET ZV_INLINE QWords even_products(DWords a, DWords b)
{
    return (QWords)_mm256_mul_epi32((__m256i)a, (__m256i)b);
}

// Packing works in halves of a register, so the quarters are put in order afterwards.
ZV_SET ZV_INLINE Words upper_words(DWords a, DWords b)
{
    const __m256i both =
        _mm256_packs_epi32(_mm256_srai_epi32((__m256i)a, 16), _mm256_srai_epi32((__m256i)b, 16));
    return (Words)_mm256_permute4x64_epi64(both, 0xD8);
}

ZV_SET ZV_INLINE __m256i add_crosswise(DWords a, DWords b)
{
    return _mm256_add_epi32(_mm256_unpacklo_epi32((__m256i)a, (__m256i)b),
                            _mm256_unpackhi_epi32((__m256i)a, (__m256i)b));
}
// Four rows to one: in each half, lane k holds the sum of row k's lanes of that half.
ZV_SET ZV_INLINE __m256i fold(const DWords* rows)
{
    const __m256i a = add_crosswise(rows[0], rows[1]), b = add_crosswise(rows[2], rows[3]);
    return _mm256_add_epi32(_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b));
}
ZV_SET ZV_INLINE DWords totals(const DWords (&rows)[8])
{
    const __m256i a = fold(rows), b = fold(rows + 4);
    return (DWords)_mm256_add_epi32(_mm256_blend_epi32(a, b, 0xF0), _mm256_permute2x128_si256(a, b, 0x21));
}

constexpr bool fused = true;
ZV_SET ZV_INLINE Floats madd(Floats a, Floats b, Floats c) { return _mm256_fmadd_ps(a, b, c); }
ZV_SET ZV_INLINE Floats nmadd(Floats a, Floats b, Floats c) { return _mm256_fnmadd_ps(a, b, c); }
ZV_SET ZV_INLINE Reals madd(Reals a, Reals b, Reals c) { return _mm256_fmadd_pd(a, b, c); }
ZV_SET ZV_INLINE Reals nmadd(Reals a, Reals b, Reals c) { return _mm256_fnmadd_pd(a, b, c); }
ZV_SET ZV_INLINE Reals msub(Reals a, Reals b, Reals c) { return _mm256_fmsub_pd(a, b, c); }

ZV_SET ZV_INLINE Floats widen(Floats v) { return v; }
ZV_SET ZV_INLINE Floats widen(Lanes<int32_t, 8> v) { return _mm256_cvtepi32_ps((__m256i)v); }
ZV_SET ZV_INLINE Floats widen(Lanes<int16_t, 8> v)
{
    return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32((__m128i)v));
}
ZV_SET ZV_INLINE Reals widen(Reals v) { return v; }
ZV_SET ZV_INLINE Reals widen(Lanes<float, 4> v) { return _mm256_cvtps_pd(v); }
ZV_SET ZV_INLINE Reals widen(Lanes<int32_t, 4> v) { return _mm256_cvtepi32_pd((__m128i)v); }
ZV_SET ZV_INLINE Reals widen(Lanes<int16_t, 4> v)
{
    return widen(__builtin_convertvector(v, Lanes<int32_t, 4>));
}
ZV_SET ZV_INLINE void narrow(Floats v, Floats& to) { to = v; }
ZV_SET ZV_INLINE void narrow(Reals v, Reals& to) { to = v; }
ZV_SET ZV_INLINE void narrow(Reals v, Lanes<float, 4>& to) { to = _mm256_cvtpd_ps(v); }
} // namespace
} // namespace zv::wide
#include "core/wide.h"
