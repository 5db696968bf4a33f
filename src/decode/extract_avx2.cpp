// Autocorrelation, envelope and frequency on AVX2.
#include "decode/extract_kernels.h"
#include "decode/extract_loops.h"
#include <immintrin.h>

#define ZV_SET ZV_AVX2

namespace zv::extract {
namespace {
using Vector = __m256d;
constexpr int32_t lanes = 4;
ZV_SET ZV_INLINE Vector widen(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
#include "decode/extract_wide.h"
} // namespace

ZV_SET void correlate_avx2(const float* in, float* out, int32_t length, int32_t lags)
{
    correlate(in, out, length, lags);
}

ZV_SET long double amplitude_avx2(const int16_t* in, float* out, uint32_t count)
{
    return amplitude_of(in, out, count);
}

ZV_SET void frequencies_avx2(const int16_t* in, float* out, uint32_t count, double scale)
{
    frequencies_of(in, out, count, scale);
}
} // namespace zv::extract
