// Second-order notch: zeros on the unit circle at the centre, poles of radius R just inside.
#pragma once
#include "fixed.h"

namespace reference {
struct NotchFilter {
    float sampling_rate = 11025, frequency = 3000, bandwidth = 200; // Hz
    float x1 = 0, x2 = 0, y1 = 0, y2 = 0;                           // signal state, rounded to float

    void process(std::vector<int16_t>& buffer)
    {
        const real fs = sampling_rate;
        const real R = 1 - 3 * real(bandwidth) / fs;
        const real C = std::cos(2 * pi * frequency / fs);
        const real K = (1 - 2 * R * C + R * R) / (2 - 2 * C); // gain 1 at 0 Hz
        const real a0 = K, a1 = -2 * K * C, a2 = K, b1 = 2 * R * C, b2 = -R * R;
        for (int16_t& sample : buffer) {
            const real y = a2 * x2 + a1 * x1 + a0 * sample + b2 * y2 + b1 * y1;
            x2 = x1, x1 = sample;
            y2 = y1, y1 = to_float(y);
            sample = int16_t(plain<int32_t>(y)); // low half, wraps
        }
    }
};
} // namespace reference
