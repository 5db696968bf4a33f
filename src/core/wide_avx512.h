// The vocabulary of core/wide.h on AVX-512 (F, BW, DQ, VL), with VNNI's multiply-add beside the other. GCC 12
// takes the undefined operands inside its own header for mistakes.
#pragma once
#include "core/lanes.h"
#include "core/simd.h"
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif

#define ZV_SET ZV_AVX512

namespace zv::wide {
namespace {
using Words = Lanes<int16_t, 32>;
using DWords = Lanes<uint32_t, 16>;
using QWords = Lanes<uint64_t, 8>;
using Floats = Lanes<float, 16>;
using Reals = Lanes<double, 8>;

ZV_SET ZV_INLINE DWords multiply_add(DWords sum, Words a, Words b)
{
    return sum + (DWords)_mm512_madd_epi16((__m512i)a, (__m512i)b);
}
// In assembler, since GCC copies the sums around the intrinsic.
namespace vnni {
ZV_SET ZV_INLINE DWords multiply_add(DWords sum, Words a, Words b)
{
    asm("vpdpwssd %2, %1, %0" : "+v"(sum) : "v"(a), "v"(b));
    return sum;
}
} // namespace vnni
ZV_SET ZV_INLINE QWords even_products(DWords a, DWords b)
{
    return (QWords)_mm512_mul_epi32((__m512i)a, (__m512i)b);
}

ZV_SET ZV_INLINE __m256i upper_words(DWords v)
{
    return _mm512_cvtepi32_epi16(_mm512_srli_epi32((__m512i)v, 16));
}
ZV_SET ZV_INLINE Words upper_words(DWords a, DWords b)
{
    return (Words)_mm512_inserti64x4(_mm512_castsi256_si512(upper_words(a)), upper_words(b), 1);
}

ZV_SET ZV_INLINE __m512i add_crosswise(DWords a, DWords b)
{
    return _mm512_add_epi32(_mm512_unpacklo_epi32((__m512i)a, (__m512i)b),
                            _mm512_unpackhi_epi32((__m512i)a, (__m512i)b));
}
// Four rows to one: in each quarter, lane k holds the sum of row k's lanes of that quarter.
ZV_SET ZV_INLINE __m512i fold(const DWords* rows)
{
    const __m512i a = add_crosswise(rows[0], rows[1]), b = add_crosswise(rows[2], rows[3]);
    return _mm512_add_epi32(_mm512_unpacklo_epi64(a, b), _mm512_unpackhi_epi64(a, b));
}
// Quarters 0 and 1, 2 and 3 of a, then those of b, added up.
ZV_SET ZV_INLINE __m512i add_quarters(__m512i a, __m512i b)
{
    return _mm512_add_epi32(_mm512_shuffle_i32x4(a, b, 0x88), _mm512_shuffle_i32x4(a, b, 0xDD));
}
ZV_SET ZV_INLINE DWords totals(const DWords (&rows)[16])
{
    return (DWords)add_quarters(add_quarters(fold(rows), fold(rows + 4)),
                                add_quarters(fold(rows + 8), fold(rows + 12)));
}

constexpr bool fused = true;
ZV_SET ZV_INLINE Floats madd(Floats a, Floats b, Floats c) { return _mm512_fmadd_ps(a, b, c); }
ZV_SET ZV_INLINE Floats nmadd(Floats a, Floats b, Floats c) { return _mm512_fnmadd_ps(a, b, c); }
ZV_SET ZV_INLINE Reals madd(Reals a, Reals b, Reals c) { return _mm512_fmadd_pd(a, b, c); }
ZV_SET ZV_INLINE Reals nmadd(Reals a, Reals b, Reals c) { return _mm512_fnmadd_pd(a, b, c); }
ZV_SET ZV_INLINE Reals msub(Reals a, Reals b, Reals c) { return _mm512_fmsub_pd(a, b, c); }

ZV_SET ZV_INLINE Floats widen(Floats v) { return v; }
ZV_SET ZV_INLINE Floats widen(Lanes<int32_t, 16> v) { return _mm512_cvtepi32_ps((__m512i)v); }
ZV_SET ZV_INLINE Floats widen(Lanes<int16_t, 16> v)
{
    return widen((Lanes<int32_t, 16>)_mm512_cvtepi16_epi32((__m256i)v));
}
ZV_SET ZV_INLINE Reals widen(Reals v) { return v; }
ZV_SET ZV_INLINE Reals widen(Lanes<float, 8> v) { return _mm512_cvtps_pd(v); }
ZV_SET ZV_INLINE Reals widen(Lanes<int32_t, 8> v) { return _mm512_cvtepi32_pd((__m256i)v); }
ZV_SET ZV_INLINE Reals widen(Lanes<int16_t, 8> v)
{
    return widen((Lanes<int32_t, 8>)_mm256_cvtepi16_epi32((__m128i)v));
}
ZV_SET ZV_INLINE void narrow(Floats v, Floats& to) { to = v; }
ZV_SET ZV_INLINE void narrow(Reals v, Reals& to) { to = v; }
ZV_SET ZV_INLINE void narrow(Reals v, Lanes<float, 8>& to) { to = _mm512_cvtpd_ps(v); }
} // namespace
} // namespace zv::wide
#include "core/wide.h"
