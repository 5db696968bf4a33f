// The demodulator's object: its members, its buffers, and how a setting travels to the members.
#include "receiver/demodulator.h"
#include "core/frame.h"
#include "filter/delay_line.h"
#include "filter/fir.h"
#include <algorithm>
#include <span>

namespace zv::demodulator {
// The rates at which members run: Fs, Fs / D, Fs * U / D.
enum Stage { input, detector, audio, stages };

// The filters: where they lie, what they are, and the stage that gives their block size and their rate. The
// Hilbert transformer's design knows no rate.
struct Filter {
    ZVFIR* ZVDemodulator::*pointer;
    ZVFIR ZVDemodulator::*object;
    ZVFIR* (*construct)(ZVFIR*);
    ZVFIRType type;
    Stage stage;
    bool rated;
};
// clang-format off
constexpr Filter filters[] = {
    {&ZVDemodulator::post_mixer_filter_i, &ZVDemodulator::post_mixer_filter_i_object, ZVFIR1632_Construct, ZVFIRType_LowPass,  input,    true},
    {&ZVDemodulator::post_mixer_filter_q, &ZVDemodulator::post_mixer_filter_q_object, ZVFIR1632_Construct, ZVFIRType_LowPass,  input,    true},
    {&ZVDemodulator::isb_filter,          &ZVDemodulator::isb_filter_object,          ZVFIR1632_Construct, ZVFIRType_Hilbert,  detector, false},
    {&ZVDemodulator::noise_filter,        &ZVDemodulator::noise_filter_object,        ZVFIR1616_Construct, ZVFIRType_HighPass, detector, true},
    {&ZVDemodulator::audio_filter_1,      &ZVDemodulator::audio_filter_1_object,      ZVFIR1632_Construct, ZVFIRType_LowPass,  audio,    true},
    {&ZVDemodulator::audio_filter_2,      &ZVDemodulator::audio_filter_2_object,      ZVFIR1632_Construct, ZVFIRType_LowPass,  audio,    true},
};
// clang-format on
using Pair = std::span<const Filter, 2>;
constexpr Pair post_mixer_filters(filters, 2), audio_filters(filters + 4, 2);

// The input copy, then the detector's samples at a whole 64 bytes.
static uint64_t detector_offset(int32_t size) { return to_line(2 * uint64_t(std::max(size, 0))); }

static void place(ZVDemodulator* self)
{
    self->detector_output = reinterpret_cast<int32_t*>(static_cast<char*>(self->work_buffer) +
                                                       detector_offset(self->buffer_size));
}

// Sizes everything for blocks of size input samples. All memory is had before anything changes; false if not.
static bool resize(ZVDemodulator* self, int32_t size, uint32_t decimation, uint32_t upsample)
{
    const int64_t n = size / int64_t(decimation), frames = n * upsample;
    if (frames > INT32_MAX) return false;
    const int32_t block[stages] = {std::max(size, 1), static_cast<int32_t>(std::max<int64_t>(n, 1)),
                                   static_cast<int32_t>(std::max<int64_t>(frames, 1))};
    const uint64_t bytes = detector_offset(size) + sizeof(int32_t) * uint64_t(std::max<int64_t>(n, 0));
    if (!grow(self->work_buffer, self->work_bytes, bytes)) return false;
    place(self);
    for (const Filter& f : filters) {
        ZVFIR* const filter = self->*f.pointer;
        if (!fir::reserve(filter, filter->taps_count, block[f.stage])) return false;
    }
    if (!delay_line::reserve(self->isb_delay, block[detector], self->isb_delay->delay)) return false;

    self->buffer_size = size;
    self->iq_decimation = decimation;
    self->audio_upsample = upsample;
    place(self);
    for (const Filter& f : filters) ZVFIR_BufferSize(self->*f.pointer, block[f.stage]);
    ZVDelayLine_BufferSize(self->isb_delay, block[detector]);
    return true;
}

// Tells the private table the frequency that the mixer goes on with.
static void tune(ZVDemodulator* self)
{
    const oscillator::Phase phase(self->oscillator_phase, self->local_frequency, self->sampling_rate);
    oscillator_run(self)->build(reinterpret_cast<const oscillator::Turn*>(self->oscillator_table), phase);
}

// Builds the oscillator and tells the members their rates.
static bool set_rate(ZVDemodulator* self, int32_t rate)
{
    const uint64_t bytes = sizeof(oscillator::Turn) * uint64_t(rate);
    if (!grow(self->oscillator_table, self->oscillator_bytes, bytes, sizeof(oscillator::Run) + 64))
        return false;
    self->sampling_rate = rate;
    oscillator::fill(reinterpret_cast<oscillator::Turn*>(self->oscillator_table), rate, oscillator::scale);
    self->oscillator_phase = 0;
    tune(self);

    const auto detector_rate = static_cast<float>(extended(rate) / self->iq_decimation);
    const auto audio_rate = static_cast<float>(extended(detector_rate) * self->audio_upsample);
    const float rates[stages] = {static_cast<float>(rate), detector_rate, audio_rate};
    self->iq_agc->sampling_rate = detector_rate;
    self->audio_agc_1->sampling_rate = self->audio_agc_2->sampling_rate = audio_rate;
    for (const Filter& f : filters)
        if (f.rated) ZVFIR_SamplingRate(self->*f.pointer, rates[f.stage]);
    return true;
}

static bool set_isb_length(ZVDemodulator* self, int32_t taps)
{
    ZVFIR* const filter = self->isb_filter;
    ZVDelayLine* const line = self->isb_delay;
    if (!fir::reserve(filter, taps, filter->buffer_size) ||
        !delay_line::reserve(line, line->buffer_size, std::max(taps, 3) >> 1))
        return false;
    ZVFIR_TapsNum(filter, taps);
    ZVDelayLine_Delay(line, filter->taps_count >> 1);
    return true;
}

// One length for a pair of filters: both get it or neither.
static void set_lengths(ZVDemodulator* self, Pair pair, int32_t taps)
{
    for (const Filter& f : pair)
        if (!fir::reserve(self->*f.pointer, taps, (self->*f.pointer)->buffer_size)) return;
    for (const Filter& f : pair) ZVFIR_TapsNum(self->*f.pointer, taps);
}

static void set_cut_offs(ZVDemodulator* self, Pair pair, float hz)
{
    for (const Filter& f : pair) ZVFIR_CutOffHigh(self->*f.pointer, hz);
}

static bool build(ZVDemodulator* self)
{
    *self = {.buffer_size = 1024,
             .sampling_rate = 44100,
             .local_frequency = 11025,
             .post_mixer_cutoff = 3000,
             .iq_decimation = 2,
             .iq_agc_level = -10,
             .sideband_sign = 1,
             .sideband_offset = 800,
             .audio_upsample = 2,
             .dc_cutoff = 5,
             .audio_gain = 1,
             .volume = 0.5f};
    self->iq_agc = ZVAGC_Construct(&self->iq_agc_object);
    self->audio_agc_1 = ZVAGC_Construct(&self->audio_agc_1_object);
    self->audio_agc_2 = ZVAGC_Construct(&self->audio_agc_2_object);
    for (ZVAGC* agc : {self->audio_agc_1, self->audio_agc_2}) {
        ZVAGC_Reset(agc);
        agc->target_level = 600000000;
    }
    self->isb_delay = ZVDelayLine32_Construct(&self->isb_delay_object);
    if (!self->isb_delay) return false;
    for (const Filter& f : filters) {
        self->*f.pointer = f.construct(&(self->*f.object));
        if (!(self->*f.pointer)) return false;
        ZVFIR_FIRType(self->*f.pointer, f.type);
    }

    ZVFIR_CutOffLow(self->noise_filter, 5000);
    ZVDemodulator_AudioFilterCutOff(self, 3000);
    if (!resize(self, self->buffer_size, self->iq_decimation, self->audio_upsample)) return false;
    if (!set_isb_length(self, 31)) return false;
    ZVDemodulator_Mode(self, ZVDemodMode_AM);
    return set_rate(self, self->sampling_rate);
}
} // namespace zv::demodulator

using namespace zv;
using namespace zv::demodulator;

ZVDemodulator* ZVDemodulator16_Construct(ZVDemodulator* self)
{
    return construct(self, build, ZVDemodulator_Destruct);
}

void ZVDemodulator_Destruct(ZVDemodulator* self, uint32_t flags)
{
    if (!self) return;
    for (const Filter& f : filters) ZVFIR_Destruct(self->*f.pointer, 0);
    ZVDelayLine_Destruct(self->isb_delay, 0);
    for (ZVAGC* agc : {self->iq_agc, self->audio_agc_1, self->audio_agc_2}) ZVAGC_Destruct(agc, 0);
    MemoryFree(self->work_buffer);
    MemoryFree(self->oscillator_table);
    dismiss(self, flags);
}

void ZVDemodulator_BufferSize(ZVDemodulator* self, int32_t samples, int32_t force)
{
    if (samples != self->buffer_size || force)
        resize(self, samples, self->iq_decimation, self->audio_upsample);
}

void ZVDemodulator_SamplingRate(ZVDemodulator* self, int32_t rate, int32_t force)
{
    if (rate != self->sampling_rate || force) set_rate(self, rate);
}

void ZVDemodulator_IQDecimation(ZVDemodulator* self, uint32_t factor)
{
    factor = std::max(factor, 1u);
    if (factor != self->iq_decimation) resize(self, self->buffer_size, factor, self->audio_upsample);
}

void ZVDemodulator_AudioUpsample(ZVDemodulator* self, uint32_t factor)
{
    factor = std::max(factor, 1u);
    if (factor != self->audio_upsample) resize(self, self->buffer_size, self->iq_decimation, factor);
}

void ZVDemodulator_LocalFrequency(ZVDemodulator* self, int32_t hz)
{
    self->local_frequency = hz;
    tune(self);
    ZVDemodulator_DemodFiltersUpdate(self);
}

void ZVDemodulator_Mode(ZVDemodulator* self, uint8_t mode)
{
    self->mode = mode;
    ZVDemodulator_DemodFiltersUpdate(self);
}

void ZVDemodulator_DemodFiltersUpdate(ZVDemodulator* self)
{
    set_cut_offs(self, post_mixer_filters, self->post_mixer_cutoff);
}

void ZVDemodulator_PostMixerCutOff(ZVDemodulator* self, float hz)
{
    self->post_mixer_cutoff = hz;
    if (self->mode == ZVDemodMode_SSB)
        ZVDemodulator_AudioFilterCutOff(self, static_cast<float>(2 * extended(self->sideband_offset)));
    else if (self->mode != ZVDemodMode_FM)
        ZVDemodulator_AudioFilterCutOff(self, hz);
    ZVDemodulator_DemodFiltersUpdate(self);
}

void ZVDemodulator_PostMixerLength(ZVDemodulator* self, int32_t taps)
{
    set_lengths(self, post_mixer_filters, taps);
}

void ZVDemodulator_AudioFilterCutOff(ZVDemodulator* self, float hz) { set_cut_offs(self, audio_filters, hz); }

void ZVDemodulator_AudioFilterLength(ZVDemodulator* self, int32_t taps)
{
    set_lengths(self, audio_filters, taps);
}

void ZVDemodulator_ISBFilterLength(ZVDemodulator* self, int32_t taps) { set_isb_length(self, taps); }
