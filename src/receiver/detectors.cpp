// The five detectors: filtered I and Q (Q31) to detector samples (Q31) at the rate Fs / D.
#include "core/frame.h"
#include "receiver/demodulator_kernels.h"
#include <algorithm>

namespace zv::demodulator {
// Envelope: d = sqrt(I^2 + Q^2) / sqrt(2), so that a full-scale pair fits.
void detect_envelope(const Detection& block) { kernels().envelope(block); }

// Synchronous AM. The step limit is 15 cycles a detector sample, in radians a second.
void detect_synchronous(ZVDemodulator* self, const Detection& block)
{
    CarrierLoop loop = {self->carrier_phase, self->carrier_frequency, self->carrier_error,
                        30 * pi * self->sampling_rate / self->iq_decimation};
    kernels().synchronous(loop, block);
    self->carrier_phase = loop.phase;
    self->carrier_frequency = loop.frequency;
    self->carrier_error = loop.error;
}

// Single sideband by Weaver's method (D. K. Weaver, A Third Method of Generation and Detection of Single-
// Sideband Signals, 1956): the real part of (I + j sign Q) turned by a second oscillator of sideband_offset
// Hz.
void detect_weaver(ZVDemodulator* self, const Detection& block)
{
    const auto* table = reinterpret_cast<const oscillator::Turn*>(self->oscillator_table);
    const int32_t sign = self->sideband_sign;
    oscillator::Phase phase(self->sideband_phase, int64_t(self->sideband_offset) * self->iq_decimation,
                            self->sampling_rate);
    for (int32_t k = 0; k < block.count; ++k, phase.advance()) {
        const oscillator::Turn turn = table[phase.place()];
        block.out[k] = wrap_add(q31_mul(block.i[k], turn.c), q31_mul(wrap_mul(sign, block.q[k]), turn.s));
    }
    self->sideband_phase = phase.place();
}

// Frequency discriminator: with I', Q' the sample before,
//
//   y = I Q' - Q I'    p = I^2 + Q^2    d = atan2(y, p) * -2^31 / (2 pi)
//
// p is this sample's power and not the dot product, so a turn by v gives arctan(sin v), v to first order.
void detect_frequency(ZVDemodulator* self, const Detection& block)
{
    kernels().frequency(block, self->previous_i, self->previous_q);
    self->previous_i = block.i[block.count - 1];
    self->previous_q = block.q[block.count - 1];
}

void measure_noise(ZVDemodulator* self, const Detection& block)
{
    auto* noise = static_cast<int16_t*>(self->noise_filter->out_buffer);
    const auto* upper_halves = reinterpret_cast<const int16_t*>(block.out) + 1;
    ZVFIR1616_Process_16_16(self->noise_filter, noise, upper_halves, 2 * block.count, 2, 1);
    const extended a = one_pole(*self, 1);
    extended level = self->noise_level;
    for (int32_t k = 0; k < block.count; ++k) level = a * level + (1 - a) * std::abs(int32_t(noise[k]));
    self->noise_level = to_nearest32(level);
}

// Independent sidebands by the phasing method: H is the Hilbert transform of I, P is Q delayed alike. P + H
// holds what lies below the local frequency, P - H what lies above.
void detect_sidebands(ZVDemodulator* self, const Detection& block)
{
    const int32_t n = block.count, upsample = static_cast<int32_t>(self->audio_upsample);
    auto* h = static_cast<int32_t*>(self->isb_filter->out_buffer);
    auto* p = static_cast<int32_t*>(self->isb_delay->output_area);
    ZVFIR1632_Process_32_32(self->isb_filter, h, block.i, n, 1, 1);
    MemoryCopy(self->isb_delay->input_position, block.q, static_cast<uint32_t>(n) * sizeof(int32_t));
    ZVDelayLine32_Process(self->isb_delay, p, static_cast<uint32_t>(n));

    auto* left = static_cast<int16_t*>(self->audio_filter_1->history_write);
    auto* right = static_cast<int16_t*>(self->audio_filter_2->history_write);
    silence(left, size_t(n) * self->audio_upsample);
    silence(right, size_t(n) * self->audio_upsample);
    DcBlocker lower(*self, self->dc_input_1, self->dc_output_2);
    DcBlocker upper(*self, self->dc_input_2, self->dc_output_1);
    for (int32_t k = 0; k < n; ++k, left += upsample, right += upsample) {
        const int64_t sum = int64_t(p[k]) + h[k], difference = int64_t(p[k]) - h[k];
        *left = lower.step(sum, to_nearest32(sum));
        *right = upper.step(difference, to_nearest32(difference));
    }
    self->dc_input_1 = lower.previous;
    self->dc_input_2 = upper.previous;
    self->dc_output_1 = to_nearest32(upper.y);
    self->dc_output_2 = to_nearest32(lower.y);
}
} // namespace zv::demodulator
