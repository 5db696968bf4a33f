// A low-pass in single precision that computes no more results than are asked for.
#pragma once
#include "radio/channel.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace client {
class LowPass {
public:
    // As windowed_sinc.
    LowPass(double rate, double cutoff, int32_t taps) : lag_(size_t(taps / 2))
    {
        const std::vector<double> design = windowed_sinc(rate, cutoff, taps);
        taps_.assign((design.size() + lanes - 1) / lanes * lanes, 0);
        std::copy(design.begin(), design.end(), taps_.end() - ptrdiff_t(design.size()));
    }

    // Samples that a result is made of.
    size_t size() const { return taps_.size(); }
    // A result stands so many samples before the last of these.
    size_t lag() const { return lag_; }
    // The result out of size() samples.
    double operator()(const float* x) const
    {
        float sums[lanes] = {};
        for (size_t t = 0; t < taps_.size(); t += lanes)
            for (size_t lane = 0; lane < lanes; ++lane) sums[lane] += taps_[t + lane] * x[t + lane];
        return std::accumulate(sums, sums + lanes, 0.0);
    }

private:
    static constexpr size_t lanes = 8; // sums that run side by side, in registers
    size_t lag_;
    std::vector<float> taps_; // behind zeros to fill the lanes
};
} // namespace client
