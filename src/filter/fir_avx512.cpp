// FIR convolution on AVX-512 (F, BW), without and with VNNI: 256 results at a time at full rate, 16 when
// decimating. VNNI's multiply-add has a latency of 5, two a cycle: 16 sums in flight keep it busy.
#include "core/wide_avx512.h"
#include "filter/fir.h"
#include "filter/fir_kernels.h"
#include <algorithm>

namespace zv::fir {
namespace {
using namespace wide;
constexpr int unroll = 8;

namespace plain {
#include "filter/fir_wide.h"
} // namespace plain

namespace vnni {
using wide::vnni::multiply_add;
#include "filter/fir_wide.h"
} // namespace vnni
} // namespace

ZV_SET void fir1616_avx512(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    plain::convolve_16<int16_t>(self, out, count, decimation);
}

ZV_SET void fir1632_avx512(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    plain::convolve_16<int32_t>(self, out, count, decimation);
}

ZV_SET void fir3232_high_avx512(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    plain::convolve_high(self, out, count, decimation);
}

ZV_SET void fir1616_vnni(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    vnni::convolve_16<int16_t>(self, out, count, decimation);
}

ZV_SET void fir1632_vnni(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    vnni::convolve_16<int32_t>(self, out, count, decimation);
}

ZV_SET void fir3232_high_vnni(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    vnni::convolve_high(self, out, count, decimation);
}
} // namespace zv::fir
