// Broadcast FM between the library's parts: its discriminator made straight, and its audio filter replaced by
// one that keeps what a 32-bit detector gives and computes no more than is kept.
#pragma once
#include "radio/deemphasis.h"
#include "radio/low_pass.h"
#include <complex>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace client {
// The library's discriminator gives arctan(sin v) of a turn by v, and broadcast FM turns by a quarter cycle a
// sample and more. So it is shown a phasor that turns by w with tan(v / 4) = sin w: it gives v / 4, exactly,
// for every v from -pi to pi.
class Straightener {
public:
    static constexpr double share = 4; // turns are larger than what the discriminator says of them

    // The next of a station's samples, of magnitude 1 or 0, as the discriminator is to see it: of magnitude
    // 1.
    std::complex<double> push(std::complex<double> station);
    // The sample pushed last.
    std::complex<double> before() const { return before_; }

private:
    std::complex<double> before_ = 1, shown_ = 1;
};

// Low-pass of the detector's 32-bit samples, one result for each that is asked for.
class WideAudio {
public:
    // As windowed_sinc.
    WideAudio(double rate, double cutoff, int32_t taps);

    // The next block of detector samples, with its treble taken off where there is a de-emphasis.
    void take(std::span<const int32_t> detector, std::optional<Deemphasis>& deemphasis);
    // The filtered sample as of that one of the block; it comes taps / 2 samples late.
    double at(size_t place) const;

private:
    LowPass filter_;
    std::vector<float> history_;
};
} // namespace client
