// FIR convolution on AVX2: 64 results at a time at full rate, 8 when decimating.
#include "core/wide_avx2.h"
#include "filter/fir.h"
#include "filter/fir_kernels.h"
#include <algorithm>

namespace zv::fir {
namespace {
using namespace wide;
constexpr int unroll = 4;
#include "filter/fir_wide.h"
} // namespace

ZV_SET void fir1616_avx2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_16<int16_t>(self, out, count, decimation);
}

ZV_SET void fir1632_avx2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_16<int32_t>(self, out, count, decimation);
}

ZV_SET void fir3232_high_avx2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_high(self, out, count, decimation);
}
} // namespace zv::fir
