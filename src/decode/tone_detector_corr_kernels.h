// The correlators of the tone detector: the power of each window, low 16 bits of (S^2 + C^2) >> 45. All give the
// same bits, since the sums wrap at 32 bits and the positions past L are zeros.
#pragma once
#include "core/cpu.h"
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

// The choice for a table and the processor record as it stands.
Correlator correlator_for(Layout layout);

// All of them, with what each needs: feature bits of the record and wider sets.
struct NamedCorrelator {
    const char* name;
    Layout layout;
    Correlator run;
    uint32_t features = 0, sets = 0;
};
inline constexpr NamedCorrelator all_correlators[] = {
    {"plain_scalar",  Layout::plain,  plain_scalar},
    {"groups_scalar", Layout::groups, groups_scalar},
    {"groups_mmx",    Layout::groups, groups_mmx,    mmx},
    {"groups_avx2",   Layout::groups, groups_avx2,   mmx, avx2},
    {"groups_avx512", Layout::groups, groups_avx512, mmx, avx512},
    {"groups_vnni",   Layout::groups, groups_vnni,   mmx, avx512vnni},
};
// clang-format on
} // namespace zv::tone_detector_corr
