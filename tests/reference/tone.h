// The tone detectors: a band-pass beside two sums of magnitudes, and the power of a window's correlation with
// a stored cosine and sine.
#pragma once
#include "fir.h"

namespace reference {
struct ToneDetector {
    double sampling_rate = 44100, frequency = 1000, bandwidth = 10; // Hz
    double input_level = 0, tone_level = 0;                         // sums of |x| and |y|
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0; // at rest after each change of a parameter

    template <class Sample>
    void process(const std::vector<Sample>& x)
    {
        const real R = 1 - 3 * real(bandwidth) / sampling_rate;
        const real C = std::cos(2 * pi * frequency / sampling_rate);
        const real K = (1 - 2 * R * C + R * R) / (2 - 2 * C); // gain 1 at the centre
        const double a0 = to_double(1 - K), a1 = to_double(2 * (K - R) * C), a2 = to_double(R * R - K);
        const double b1 = to_double(2 * R * C), b2 = to_double(-R * R);
        real in = input_level, tone = tone_level;
        for (const Sample v : x) {
            const real y = real(a2) * x2 + real(a1) * x1 + real(a0) * v + real(b2) * y2 + real(b1) * y1;
            x2 = x1, x1 = v, y2 = y1, y1 = to_double(y);
            in += std::fabs(real(v)), tone += std::fabs(y);
        }
        input_level = to_double(in), tone_level = to_double(tone);
    }
};

struct ToneTable {
    Samples16 cosine, sine; // 2 * 32767 / L full scale
    ToneTable(float tone_length, float sampling_rate, float frequency)
    {
        const long rounded = std::lrint(real(tone_length) * sampling_rate + 0.5L);
        const size_t positions = rounded < 4 ? 4 : size_t(rounded);
        real phase = 0;
        for (size_t i = 0; i < positions; ++i, phase += 2 * pi * frequency / sampling_rate) {
            cosine.push_back(plain<int16_t>(2 * 32767.0L / real(positions) * std::cos(phase)));
            sine.push_back(plain<int16_t>(2 * 32767.0L / real(positions) * std::sin(phase)));
        }
    }
};

// Power of the window that ends at each sample of x; past holds the samples before.
inline Samples16 tone_power(const ToneTable& table, const Samples16& x, const Samples16& past = {})
{
    const auto all_bits = [](uint32_t sum) { return int32_t(sum); };
    const Samples32 s = convolve(table.sine, x, 1, past, product16, all_bits);
    const Samples32 c = convolve(table.cosine, x, 1, past, product16, all_bits);
    Samples16 power(x.size());
    for (size_t k = 0; k < x.size(); ++k)
        power[k] = int16_t((uint64_t(int64_t(s[k]) * s[k]) + uint64_t(int64_t(c[k]) * c[k])) >> 45);
    return power;
}
} // namespace reference
