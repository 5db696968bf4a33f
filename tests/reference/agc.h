// Automatic gain control: the gain goes a fraction of the way to target / level at each update.
#pragma once
#include "arithmetic.h"
#include <algorithm>

namespace reference {
// exp(-2 pi f / rate), the exponent rounded to float: one-pole coefficient of corner f
inline real one_pole(real f, real rate) { return exp_float(to_float(-2 * pi * f / rate)); }

struct Agc {
    double gain_fall_rate = 0.0001, gain_rise_rate = 0.0001;
    double envelope_cutoff = 200;                       // Hz
    double target_level = 30000, sampling_rate = 44100; // sample units, Hz
    double gain = 1, envelope = 0;

    void reset()
    {
        gain = 1;
        envelope = target_level;
    }

    // Level from an envelope follower: env = a env + (1 - a) |x|, at least 1.
    template <class Sample>
    void mono(std::vector<Sample>& buffer, size_t step = 1)
    {
        const real a = one_pole(envelope_cutoff, sampling_rate);
        for (size_t k = 0; k < buffer.size(); k += step) {
            envelope = to_double(std::max(a * envelope + (1 - a) * std::fabs(real(buffer[k])), real(1)));
            update(envelope);
            apply(buffer[k]);
        }
    }
    void mono16(std::vector<int16_t>& buffer, size_t step = 1) { mono(buffer, step); }
    void mono32(std::vector<int32_t>& buffer, size_t step = 1) { mono(buffer, step); }

    // Level sqrt(l^2 + r^2) of each pair.
    template <class Sample>
    void stereo(std::vector<Sample>& left, std::vector<Sample>& right)
    {
        for (size_t k = 0; k < left.size(); ++k) {
            update(std::sqrt(real(left[k]) * left[k] + real(right[k]) * right[k]));
            apply(left[k]);
            apply(right[k]);
        }
    }
    void stereo16(std::vector<int16_t>& left, std::vector<int16_t>& right) { stereo(left, right); }
    void stereo32(std::vector<int32_t>& left, std::vector<int32_t>& right) { stereo(left, right); }

    // Level sqrt(sum x^2 step / length) of the buffer, one update for all.
    void buffer_mono32(std::vector<int32_t>& buffer, size_t step = 1)
    {
        real sum = 0;
        for (size_t k = 0; k < buffer.size(); k += step) sum += real(buffer[k]) * buffer[k];
        update(std::sqrt(sum * real(step) / real(buffer.size())));
        for (size_t k = 0; k < buffer.size(); k += step) apply(buffer[k]);
    }

private:
    // gain += r (target / max(level, 1) - gain), stored as double
    void update(real level)
    {
        const real wanted = target_level / std::max(level, real(1));
        const real rate = wanted > gain ? gain_rise_rate : gain_fall_rate;
        gain = to_double(gain + rate * (wanted - gain));
    }
    template <class Sample>
    void apply(Sample& x) const
    {
        x = saturate<Sample>(real(gain) * x);
    }
};
} // namespace reference
