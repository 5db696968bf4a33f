// Gain control. One rule moves the gain; the five functions differ in how they measure the level: an envelope
// follower (one-pole low-pass of |x|), the magnitude of a pair, or the root mean square of a buffer.
//
// gain and envelope are rounded to double at each update, so a stream gives the same result in any pieces.
#include "core/frame.h"
#include "core/real.h"
#include <zovek/agc.h>
#include <zovek/arithmetic.h>

namespace zv::agc {
// The gain and the rule that moves it, on locals.
struct Gain {
    extended target, rise, fall;
    double gain;

    explicit Gain(const ZVAGC& agc)
        : target(agc.target_level), rise(agc.gain_rise_rate), fall(agc.gain_fall_rate), gain(agc.gain)
    {
    }
    // A fraction of the way to the gain that would bring level (at least 1) to the target.
    void update(extended level)
    {
        const extended wanted = target / level;
        const extended rate = wanted > gain ? rise : fall;
        gain = static_cast<double>(gain + rate * (wanted - gain));
    }
    int16_t apply(int16_t x) const { return saturated16(extended(gain) * x); }
    int32_t apply(int32_t x) const { return saturated32(extended(gain) * x); }
};

// Whether there is a sample: without one no level can be measured, and nothing moves.
bool empty(int32_t length, int32_t step) { return length < 1 || step < 1; }

extended at_least_1(extended level) { return level < 1 ? 1 : level; }

template <class Sample>
ZVAGC* process_mono(ZVAGC* self, Sample* buffer, int32_t length, int32_t step)
{
    if (empty(length, step)) return self;
    const extended a = Exp_Float(static_cast<float>(-2 * pi * self->envelope_cutoff / self->sampling_rate));
    Gain gain(*self);
    double envelope = self->envelope;
    for (int64_t k = 0; k < length; k += step) {
        envelope = static_cast<double>(at_least_1(a * envelope + (1 - a) * fabsl(extended(buffer[k]))));
        gain.update(envelope);
        buffer[k] = gain.apply(buffer[k]);
    }
    self->envelope = envelope;
    self->gain = gain.gain;
    return self;
}

template <class Sample>
ZVAGC* process_stereo(ZVAGC* self, Sample* left, Sample* right, int32_t count)
{
    Gain gain(*self);
    for (int32_t k = 0; k < count; ++k) {
        const extended l = left[k], r = right[k];
        gain.update(at_least_1(sqrtl(l * l + r * r)));
        left[k] = gain.apply(left[k]);
        right[k] = gain.apply(right[k]);
    }
    self->gain = gain.gain;
    return self;
}

ZVAGC* process_buffer(ZVAGC* self, int32_t* buffer, int32_t length, int32_t step)
{
    if (empty(length, step)) return self;
    extended sum = 0;
    for (int64_t k = 0; k < length; k += step) sum += extended(buffer[k]) * buffer[k];
    Gain gain(*self);
    gain.update(at_least_1(sqrtl(sum * step / length)));
    for (int64_t k = 0; k < length; k += step) buffer[k] = gain.apply(buffer[k]);
    self->gain = gain.gain;
    return self;
}

bool build(ZVAGC* self)
{
    *self = {.gain_fall_rate = 0.0001,
             .gain_rise_rate = 0.0001,
             .envelope_cutoff = 200,
             .target_level = 30000,
             .sampling_rate = 44100,
             .gain = 1};
    return true;
}
} // namespace zv::agc

using namespace zv;

ZVAGC* ZVAGC_Construct(ZVAGC* self) { return construct(self, agc::build, ZVAGC_Destruct); }

void ZVAGC_Destruct(ZVAGC* self, uint32_t flags)
{
    if (self) dismiss(self, flags);
}

void ZVAGC_Reset(ZVAGC* self)
{
    self->gain = 1;
    self->envelope = self->target_level;
}

ZVAGC* ZVAGC_Process_Mono16(ZVAGC* self, int16_t* buffer, int32_t length, int32_t step)
{
    return agc::process_mono(self, buffer, length, step);
}
ZVAGC* ZVAGC_Process_Mono32(ZVAGC* self, int32_t* buffer, int32_t length, int32_t step)
{
    return agc::process_mono(self, buffer, length, step);
}
ZVAGC* ZVAGC_Process_Stereo16(ZVAGC* self, int16_t* left, int16_t* right, int32_t count)
{
    return agc::process_stereo(self, left, right, count);
}
ZVAGC* ZVAGC_Process_Stereo32(ZVAGC* self, int32_t* left, int32_t* right, int32_t count)
{
    return agc::process_stereo(self, left, right, count);
}
ZVAGC* ZVAGC_ProcessBuffer_Mono32(ZVAGC* self, int32_t* buffer, int32_t length, int32_t step)
{
    return agc::process_buffer(self, buffer, length, step);
}
