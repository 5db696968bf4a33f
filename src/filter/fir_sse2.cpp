// FIR convolution on SSE2, 16 taps a pass. Sums wrap at 32 bits as the scalar kernels' do, so the results
// agree to the bit whatever the order of adding.
#include "filter/fir_kernels.h"
#include <emmintrin.h>

namespace zv::fir {
// Sum of taps[t] * x[t], t = 0 .. count - 1, modulo 2^32.
// taps: Q15, 64-byte aligned, zeros up to a multiple of 32, so no tail is left.
// x: 16-bit samples, unaligned; up to 15 past the span are read, times zero.
ZV_SSE2 static inline uint32_t dot_sse2(const int16_t* taps, const int16_t* x, int32_t count)
{
    const auto product = [&](int32_t t) ZV_SSE2 {
        return _mm_madd_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(taps + t)),
                              _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + t)));
    };
    __m128i even = _mm_setzero_si128(), odd = even;
    for (int32_t t = 0; t < count; t += 16) {
        even = _mm_add_epi32(even, product(t));
        odd = _mm_add_epi32(odd, product(t + 8));
    }
    const __m128i pairs = _mm_add_epi32(even, odd);
    const __m128i halves = _mm_add_epi32(pairs, _mm_unpackhi_epi64(pairs, pairs));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_add_epi32(halves, _mm_shuffle_epi32(halves, 1))));
}

ZV_SSE2 void fir1616_sse2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto* taps = static_cast<const int16_t*>(self->taps);
    convolve<int16_t, int16_t>(self, out, count, decimation,
                               [=, n = self->taps_count](const int16_t* x)
                                   ZV_SSE2 { return q30_to_q15(dot_sse2(taps, x, n)); });
}

ZV_SSE2 void fir1632_sse2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto* taps = static_cast<const int16_t*>(self->taps);
    convolve<int16_t, int32_t>(self, out, count, decimation,
                               [=, n = self->taps_count](const int16_t* x)
                                   ZV_SSE2 { return q30_to_q31(dot_sse2(taps, x, n)); });
}
} // namespace zv::fir
