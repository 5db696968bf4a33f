// Autocorrelation, envelope and frequency on AVX2.
#include "core/wide_avx2.h"
#include "decode/extract_kernels.h"
#include "decode/extract_wide.h"

namespace zv::extract {
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
