// The intrinsics of AVX and AVX-512, and the step that all inner products of 16-bit pairs make of them. GCC 12 takes
// the undefined operands inside its own header for mistakes.
#pragma once
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

// sum + a b, summed over the two 16-bit values of each lane.
namespace zv::plain {
ZV_AVX512 ZV_INLINE __m512i multiply_add(__m512i sum, __m512i a, __m512i b)
{
    return _mm512_add_epi32(sum, _mm512_madd_epi16(a, b));
}
} // namespace zv::plain

// In assembler, since GCC copies the sums around the intrinsic.
namespace zv::vnni {
ZV_AVX512 ZV_INLINE __m512i multiply_add(__m512i sum, __m512i a, __m512i b)
{
    asm("vpdpwssd %2, %1, %0" : "+v"(sum) : "v"(a), "v"(b));
    return sum;
}
} // namespace zv::vnni
