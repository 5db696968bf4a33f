// What the parts of the demodulator share. One block travels in chain.cpp; detectors.cpp holds the five
// modes.
#pragma once
#include "core/real.h"
#include "core/round_up.h"
#include "receiver/oscillator.h"
#include <zovek/arithmetic.h>
#include <zovek/demodulator.h>

namespace zv::demodulator {
// The oscillator's private table, at a whole 64 bytes behind the recorded capacity of the public one.
inline oscillator::Run* oscillator_run(const ZVDemodulator* self)
{
    return reinterpret_cast<oscillator::Run*>(reinterpret_cast<char*>(self->oscillator_table) +
                                              to_line(uint64_t(self->oscillator_bytes)));
}

// One-pole coefficient exp(-2 pi corner / rate) at the detector's rate.
inline extended one_pole(const ZVDemodulator& self, extended corner)
{
    return Exp_Float(static_cast<float>(-2 * pi * corner * self.iq_decimation / self.sampling_rate));
}

// One-pole high-pass y = a y + b (x - x'), which takes out the carrier's level. The previous input x' passes
// through its 32-bit field at each sample; y is real within a call.
struct DcBlocker {
    extended a, b, y;
    int32_t previous;

    DcBlocker(const ZVDemodulator& self, int32_t input, int32_t output) : y(output), previous(input)
    {
        const extended r = one_pole(self, self.dc_cutoff);
        a = static_cast<float>(r);
        b = static_cast<float>((1 + r) / 2);
    }
    // The output as a 16-bit sample.
    int16_t step(extended x, int32_t stored)
    {
        y = a * y + b * (x - previous);
        previous = stored;
        return to_nearest16(y / 65536);
    }
    int16_t step(int32_t x) { return step(x, x); }
};

// The filtered I and Q of one block and where the detector's samples go; count of each.
struct Detection {
    const int32_t *i, *q;
    int32_t* out;
    int32_t count;
};

// Each writes the block's detector samples and moves its own state in self.
void detect_envelope(const Detection& block);
void detect_synchronous(ZVDemodulator* self, const Detection& block);
void detect_weaver(ZVDemodulator* self, const Detection& block);
void detect_frequency(ZVDemodulator* self, const Detection& block);
// Smoothed magnitude of what the discriminator gives above the audio band.
void measure_noise(ZVDemodulator* self, const Detection& block);
// Independent sidebands: writes the inputs of both audio filters, zeros between the samples included.
void detect_sidebands(ZVDemodulator* self, const Detection& block);
} // namespace zv::demodulator
