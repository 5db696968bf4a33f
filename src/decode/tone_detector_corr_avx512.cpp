// Tone correlation on AVX-512 (F, BW), without and with VNNI, 128 results at a time.
#include "core/wide_avx512.h"
#include "decode/tone_detector_corr_kernels.h"

namespace zv::tone_detector_corr {
namespace {
using namespace wide;
constexpr int unroll = 4;

namespace plain {
#include "decode/tone_detector_corr_wide.h"
} // namespace plain

namespace vnni {
using wide::vnni::multiply_add;
#include "decode/tone_detector_corr_wide.h"
} // namespace vnni
} // namespace

ZV_SET void groups_avx512(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                          uint32_t count)
{
    plain::correlate_block(table, positions, x, to, count);
}

ZV_SET void groups_vnni(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                        uint32_t count)
{
    vnni::correlate_block(table, positions, x, to, count);
}
} // namespace zv::tone_detector_corr
