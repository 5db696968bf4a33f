// The correlators of the tone detector: the power of each window, low 16 bits of (S^2 + C^2) >> 45. All give
// the same bits, since the sums wrap at 32 bits and the positions past L are zeros.
#pragma once
#include "core/select.h"
#include "core/simd.h"
#include <cstdint>

namespace zv::tone_detector_corr {
// table: positions entries of cosine and sine, zeros up to a whole group of four.
// x: positions + count - 1 samples; up to slack samples more are read, whose products are dropped or zero.
// to: count results.
using Correlator = void (*)(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                            uint32_t count);
constexpr uint32_t slack = 64; // samples

// How the table stands: cosine and sine side by side, or four sines and then four cosines.
enum class Layout { plain, groups };
constexpr Layout layout_on(const ZVCPUInfo& cpu)
{
    return cpu.features & mmx ? Layout::groups : Layout::plain;
}
// The correlators for a table. One in groups stays so when the record changes.
Rows<Correlator> rows(Layout layout);

// Q30 sums, 60 fraction bits squared, down to Q15.
constexpr int16_t power_of(uint32_t s, uint32_t c)
{
    const int64_t sine = int32_t(s), cosine = int32_t(c);
    return static_cast<int16_t>((uint64_t(sine * sine) + uint64_t(cosine * cosine)) >> 45);
}

// clang-format off
void plain_scalar(const int16_t*, uint32_t, const int16_t*, int16_t*, uint32_t);
void groups_scalar(const int16_t*, uint32_t, const int16_t*, int16_t*, uint32_t);
void groups_mmx(const int16_t*, uint32_t, const int16_t*, int16_t*, uint32_t);
void groups_avx2(const int16_t*, uint32_t, const int16_t*, int16_t*, uint32_t);
void groups_avx512(const int16_t*, uint32_t, const int16_t*, int16_t*, uint32_t);
void groups_vnni(const int16_t*, uint32_t, const int16_t*, int16_t*, uint32_t);
// clang-format on
} // namespace zv::tone_detector_corr
