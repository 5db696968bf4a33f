// Tone correlation on AVX2, 32 results at a time.
#include "core/wide_avx2.h"
#include "decode/tone_detector_corr_kernels.h"

namespace zv::tone_detector_corr {
namespace {
using namespace wide;
constexpr int unroll = 2;
#include "decode/tone_detector_corr_wide.h"
} // namespace

ZV_SET void groups_avx2(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                        uint32_t count)
{
    correlate_block(table, positions, x, to, count);
}
} // namespace zv::tone_detector_corr
