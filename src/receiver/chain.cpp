// One block's road through the demodulator, from the caller's samples to the caller's frames. The data of
// each stage lie where the next one reads them: the mixer writes into the histories of the post-mixer
// filters, the DC blocker into that of the audio filter.
#include "core/blocks.h"
#include "core/frame.h"
#include "receiver/demodulator_kernels.h"
#include <iterator>

namespace zv::demodulator {
// The input copy. True if a sample came near full scale.
static bool take(ZVDemodulator* self, const int16_t* in, int32_t count, int32_t step)
{
    auto* copy = static_cast<int16_t*>(self->work_buffer);
    gather(copy, in, count, step);
    bool near_full_scale = false;
    for (int32_t k = 0; k < count; ++k) near_full_scale |= copy[k] >= 32000 || copy[k] <= -32000;
    return near_full_scale;
}

// I + jQ = x exp(-j 2 pi local_frequency t), Q31 products rounded toward minus infinity.
static void mix(ZVDemodulator* self, int32_t count)
{
    const auto* x = static_cast<const int16_t*>(self->work_buffer);
    auto* i = static_cast<int16_t*>(self->post_mixer_filter_i->history_write);
    auto* q = static_cast<int16_t*>(self->post_mixer_filter_q->history_write);
    const auto* table = reinterpret_cast<const oscillator::Turn*>(self->oscillator_table);
    const oscillator::Phase phase(self->oscillator_phase, self->local_frequency, self->sampling_rate);
    const Kernels& kernel = kernels();
    if (oscillator::Run* const run = oscillator_run(self); run->continues(phase))
        run->walk(count, [&](const oscillator::Halves& turns, int32_t first, int32_t n) {
            kernel.mix(turns, x + first, i + first, q + first, n);
        });
    else
        kernel.turn(table, phase, x, i, q, count);
    self->oscillator_phase = phase.after(count).place();
}

static void run(ZVFIR* filter, int32_t count, int32_t decimation)
{
    filter->kernel(filter, filter->out_buffer, count, decimation);
}

static void control_gain(ZVDemodulator* self, int32_t* i, int32_t* q, int32_t count)
{
    // 10^(level / 10) of full scale; the constant is ln(10) / 10
    const auto exponent = static_cast<float>(self->iq_agc_level * extended(0.23025850929940456));
    self->iq_agc->target_level = static_cast<double>(2147483647 * Exp_Float(exponent));
    ZVAGC_Process_Stereo32(self->iq_agc, i, q, count);
}

// Detector samples without their DC into the history of audio_filter_1, upsample - 1 zeros behind each.
static void block_dc(ZVDemodulator* self, int32_t count)
{
    const int32_t upsample = static_cast<int32_t>(self->audio_upsample);
    auto* out = static_cast<int16_t*>(self->audio_filter_1->history_write);
    silence(out, size_t(count) * self->audio_upsample);
    DcBlocker blocker(*self, self->dc_input_1, self->dc_output_1);
    for (int32_t k = 0; k < count; ++k, out += upsample) *out = blocker.step(self->detector_output[k]);
    self->dc_input_1 = blocker.previous;
    self->dc_output_1 = to_nearest32(blocker.y);
}

// From Q31 to 16 bits: gain, volume, and U for the power that zero insertion loses.
static extended output_gain(const ZVDemodulator* self, extended gain)
{
    return gain * self->volume * self->audio_upsample / 65536;
}

// Takes the samples of the input copy, at most buffer_size, and returns the frames that it writes to out.
static int32_t process(ZVDemodulator* self, int16_t* out, int32_t samples)
{
    const auto n = static_cast<int32_t>(uint32_t(samples) / self->iq_decimation);
    const auto frames = static_cast<int32_t>(uint32_t(n) * self->audio_upsample);
    ZVFIR *const filter_i = self->post_mixer_filter_i, *const filter_q = self->post_mixer_filter_q;

    mix(self, samples);
    if (self->mixed_callback)
        self->mixed_callback(self->mixed_context, self, samples, filter_i->history_write,
                             filter_q->history_write);
    if (n == 0) return 0; // all of it a remainder; and a count of 0 would ask the filters for a whole block

    run(filter_i, samples, static_cast<int32_t>(self->iq_decimation));
    run(filter_q, samples, static_cast<int32_t>(self->iq_decimation));
    auto* i = static_cast<int32_t*>(filter_i->out_buffer);
    auto* q = static_cast<int32_t*>(filter_q->out_buffer);
    if (self->filtered_callback) self->filtered_callback(self->filtered_context, self, n, i, q);
    if (self->iq_agc_enabled && self->mode != ZVDemodMode_FM) control_gain(self, i, q, n);

    const Detection block = {i, q, self->detector_output, n};
    auto* audio = static_cast<int32_t*>(self->audio_filter_1->out_buffer);
    extended gain = 1;
    switch (self->mode) {
    case ZVDemodMode_AM:
        detect_envelope(block);
        gain = 2;
        break;
    case ZVDemodMode_SyncAM:
        detect_synchronous(self, block);
        break;
    case ZVDemodMode_ISB:
        detect_sidebands(self, block);
        run(self->audio_filter_1, frames, 1);
        run(self->audio_filter_2, frames, 1);
        kernels().frames(out, audio, static_cast<int32_t*>(self->audio_filter_2->out_buffer), frames,
                         output_gain(self, self->audio_gain));
        return frames;
    case ZVDemodMode_SSB:
        detect_weaver(self, block);
        break;
    case ZVDemodMode_FM:
        detect_frequency(self, block);
        if (self->noise_measure_enabled) measure_noise(self, block);
        break;
    }
    block_dc(self, n);
    run(self->audio_filter_1, frames, 1);
    if (self->audio_agc_enabled) ZVAGC_Process_Mono32(self->audio_agc_1, audio, frames, 1);
    kernels().frames(out, audio, audio, frames,
                     output_gain(self, self->audio_agc_enabled ? 1 : gain * self->audio_gain));
    return frames;
}

// Samples of a piece of a call that doesn't fit a block: whole decimations, so that no piece but the last has
// a remainder to lose.
static uint32_t piece_of(uint32_t block, uint32_t decimation)
{
    const uint32_t whole = block / decimation * decimation;
    return whole != 0 ? whole : block;
}
} // namespace zv::demodulator

using namespace zv;

void ZVDemodulator16_Process_StereoOut_16_16(ZVDemodulator* self, const int16_t* in, int16_t* out,
                                             uint32_t length, uint32_t step)
{
    const auto block = static_cast<uint32_t>(std::max(self->buffer_size, 0));
    self->overload = 0;
    for (uint32_t samples = whole_steps(length, step), count; samples > 0 && block > 0; samples -= count) {
        count = samples <= block ? samples : demodulator::piece_of(block, self->iq_decimation);
        const auto taken = static_cast<int32_t>(count);
        if (demodulator::take(self, in, taken, static_cast<int32_t>(step))) self->overload = 1;
        out += 2 * size_t(demodulator::process(self, out, taken));
        in += size_t(count) * step;
    }
}

void* ZVDemodulator16_TestPoint(ZVDemodulator* self, int32_t index)
{
    void* const stages[] = {self->work_buffer,
                            self->post_mixer_filter_i->history_write,
                            self->post_mixer_filter_q->history_write,
                            self->post_mixer_filter_i->out_buffer,
                            self->post_mixer_filter_q->out_buffer,
                            self->isb_filter->out_buffer,
                            self->isb_delay->output_area,
                            self->audio_filter_1->history_write,
                            self->audio_filter_1->out_buffer};
    return index >= 0 && index < int32_t(std::size(stages)) ? stages[index] : nullptr;
}
