// What takes off the treble that an FM sender has put on: a low-pass of first order, 1 / (1 + j 2 pi f T),
// with gain 1 at 1 kHz (bilinear transform with its corner where it belongs: A. V. Oppenheim, R. W. Schafer,
// Discrete-Time Signal Processing, ch. 7).
#pragma once
#include <cmath>

namespace client {
class Deemphasis {
public:
    // Time constant T in s, audio at a rate in Hz.
    Deemphasis(double seconds, double rate)
    {
        const double corner = 1 / (2 * M_PI * seconds),
                     k = std::tan(M_PI * std::fmin(corner, 0.45 * rate) / rate);
        share_ = k / (1 + k);
        past_ = (1 - k) / (1 + k);
        share_ *= std::hypot(1.0, 1000 / corner);
    }

    float push(float sample)
    {
        out_ = share_ * (double(sample) + before_) + past_ * out_;
        before_ = double(sample);
        return float(out_);
    }

private:
    double share_, past_;
    double before_ = 0, out_ = 0;
};
} // namespace client
