// Correlating tone detector: object, table, and one block's road through correlator and low-pass.
#include "core/blocks.h"
#include "core/frame.h"
#include "core/real.h"
#include "decode/tone_detector_corr_kernels.h"
#include "filter/fir.h"
#include <algorithm>
#include <zovek/tone_detector_corr.h>

namespace zv::tone_detector_corr {
// ---- The choice ----
// clang-format off
static constexpr Row<Correlator> plain[] = {
    {otherwise,                             "plain_scalar",  "scalar",       plain_scalar},
};
static constexpr Row<Correlator> groups[] = {
    {on(mmx, amd_f5m6, amd_f5m8, amd_f5m9), "groups_mmx",    "MMX",          groups_mmx},
    {has(mmx | avx512vnni),                 "groups_vnni",   "AVX-512 VNNI", groups_vnni},
    {has(mmx | avx512),                     "groups_avx512", "AVX-512",      groups_avx512},
    {has(mmx | avx2),                       "groups_avx2",   "AVX2",         groups_avx2},
    {has(mmx),                              "groups_mmx",    "MMX",          groups_mmx},
    {otherwise,                             "groups_scalar", "scalar",       groups_scalar},
};
// clang-format on

Rows<Correlator> rows(Layout layout)
{
    if (layout == Layout::plain) return plain;
    return groups;
}

// The first entry of a table side by side is the scale (cos 0), that of a table in groups is 0 (sin 0). Only
// windows above 131067 samples have a scale that rounds to 0, and then all entries are 0.
static Layout layout_of(const int16_t* table) { return table[0] != 0 ? Layout::plain : Layout::groups; }

// ---- Table and buffer ----
static uint32_t positions_of(float tone_length, float sampling_rate)
{
    const int32_t rounded = to_nearest32(extended(tone_length) * sampling_rate + 0.5L);
    return std::max(static_cast<uint32_t>(rounded), 4u);
}

// Makes table and buffer hold these sizes; what stands in them stays. False and no change if they can't.
static bool ensure(ZVToneDetectorCorr* self, uint32_t positions, uint32_t block)
{
    if (positions > self->table_capacity) {
        if (!grow(self->table, 8 * uint64_t(positions))) return false;
        self->table_capacity = positions;
    }
    if (!grow(self->buffer, sizeof(int16_t) * (uint64_t(block) + positions + slack))) return false;
    self->input_write = self->buffer + (self->tone_samples - 1);
    return true;
}

static void resize(ZVToneDetectorCorr* self) { ensure(self, self->tone_samples, self->buffer_size); }

// Positions side by side, zeros up to a whole group.
static void fill(int16_t* table, uint32_t positions, extended step)
{
    const extended scale = 2 * 32767.0L / positions;
    turn_by(step, positions, [=](uint32_t i, extended c, extended s) {
        table[2 * i] = to_nearest16(scale * c);
        table[2 * i + 1] = to_nearest16(scale * s);
    });
    silence(table + 2 * size_t(positions), 2 * (-positions % 4));
}

static void bring_into_groups(int16_t* table, uint32_t positions)
{
    for (int16_t* group = table; group < table + 2 * size_t(positions); group += 8) {
        int16_t pairs[8];
        std::copy_n(group, 8, pairs);
        for (int i = 0; i < 4; ++i) {
            group[i] = pairs[2 * i + 1];
            group[i + 4] = pairs[2 * i];
        }
    }
}

static void rebuild(ZVToneDetectorCorr* self)
{
    const uint32_t positions = positions_of(self->tone_length, self->sampling_rate);
    if (!ensure(self, positions, self->buffer_size)) return;
    const bool new_length = change(self->tone_samples, positions);
    fill(self->table, positions, 2 * pi * self->tone_frequency / self->sampling_rate);
    if (layout_on(*_CPU()) == Layout::groups) bring_into_groups(self->table, positions);
    self->resize(self);
    if (new_length) silence(self->buffer, positions - 1);
}

static void block(ZVToneDetectorCorr* self, int16_t* out, uint32_t count)
{
    count = up_to_block(count, self->buffer_size);
    ZVFIR* const filter = self->filter;
    const Correlator correlate = select(rows(layout_of(self->table))).kernel;
    correlate(self->table, self->tone_samples, self->buffer, static_cast<int16_t*>(filter->history_write),
              count);
    MemoryCopy(self->buffer, self->buffer + count, (self->tone_samples - 1) * uint32_t(sizeof(int16_t)));
    filter->kernel(filter, out, static_cast<int32_t>(count), 1);
}

static bool build(ZVToneDetectorCorr* self)
{
    *self = {.kernel = block,
             .buffer_size = 512,
             .tone_samples = 1, // no window yet
             .sampling_rate = 22050,
             .tone_length = 0.0001f,
             .tone_frequency = 1200,
             .rebuild = rebuild,
             .resize = resize};
    self->filter = ZVFIR1616_Construct(nullptr);
    if (!self->filter) return false;
    ZVFIR_FIRType(self->filter, ZVFIRType_LowPass);
    ZVFIR_SamplingRate(self->filter, self->sampling_rate);
    rebuild(self);
    return self->buffer != nullptr;
}
} // namespace zv::tone_detector_corr

using namespace zv;
using namespace zv::tone_detector_corr;

ZVToneDetectorCorr* ZVToneDetectorCorr16_Construct(ZVToneDetectorCorr* self)
{
    return construct(self, build, ZVToneDetectorCorr_Destruct);
}

void ZVToneDetectorCorr_Destruct(ZVToneDetectorCorr* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->buffer);
    MemoryFree(self->table);
    ZVFIR_Destruct(self->filter, 1);
    dismiss(self, flags);
}

void ZVToneDetectorCorr_BufferSize(ZVToneDetectorCorr* self, uint32_t samples)
{
    if (samples == self->buffer_size || !ensure(self, self->tone_samples, samples)) return;
    if (!fir::reserve(self->filter, self->filter->taps_count, static_cast<int32_t>(samples))) return;
    self->buffer_size = samples;
    self->resize(self);
    ZVFIR_BufferSize(self->filter, static_cast<int32_t>(samples));
}

void ZVToneDetectorCorr_SamplingRate(ZVToneDetectorCorr* self, float hz)
{
    if (same_bits(hz, self->sampling_rate)) return;
    if (!ensure(self, positions_of(self->tone_length, hz), self->buffer_size)) return;
    self->sampling_rate = hz;
    self->rebuild(self);
    ZVFIR_SamplingRate(self->filter, hz);
}

void ZVToneDetectorCorr_ToneLength(ZVToneDetectorCorr* self, float seconds)
{
    if (same_bits(seconds, self->tone_length)) return;
    if (!ensure(self, positions_of(seconds, self->sampling_rate), self->buffer_size)) return;
    self->tone_length = seconds;
    self->rebuild(self);
}

void ZVToneDetectorCorr_ToneFrequency(ZVToneDetectorCorr* self, float hz)
{
    if (same_bits(hz, self->tone_frequency)) return;
    self->tone_frequency = hz;
    self->rebuild(self);
    ZVFIR_CutOffHigh(self->filter, 0.5f * hz);
}

void ZVToneDetectorCorr16_Process_16_16(ZVToneDetectorCorr* self, const int16_t* in, int16_t* out,
                                        uint32_t length, uint32_t step)
{
    for (uint32_t samples = whole_steps(length, step); samples > 0 && self->buffer_size > 0;) {
        const uint32_t count = std::min(samples, self->buffer_size);
        gather(self->input_write, in, static_cast<int32_t>(count), static_cast<int32_t>(step));
        self->kernel(self, out, count);
        if (!out) return;
        out += count;
        in += size_t(count) * step;
        samples -= count;
    }
}
