#include "radio/channel.h"
#include "decoders/blocks.h"
#include <algorithm>
#include <cmath>
#include <numeric>

namespace client {
std::vector<double> windowed_sinc(double rate, double cutoff, int32_t taps)
{
    std::vector<double> design(static_cast<size_t>(taps));
    const int32_t middle = taps / 2;
    for (int32_t t = 0; t < taps; ++t) {
        const double n = t - middle;
        const double sinc = n == 0 ? 2 * cutoff / rate : std::sin(2 * M_PI * cutoff * n / rate) / (M_PI * n);
        design[size_t(t)] = sinc * decoders::blackman(2 * M_PI * (t + 1) / (taps + 1));
    }
    const double sum = std::accumulate(design.begin(), design.end(), 0.0);
    for (double& tap : design) tap /= sum;
    return design;
}

ChannelFilter::ChannelFilter(double rate, double cutoff, int32_t taps) : history_(size_t(taps - 1))
{
    const std::vector<double> design = windowed_sinc(rate, cutoff, taps);
    taps_.assign(design.begin(), design.end());
}

void ChannelFilter::process(int32_t* samples, size_t count)
{
    const size_t past = taps_.size() - 1;
    history_.resize(past + count);
    std::copy_n(samples, count, history_.begin() + ptrdiff_t(past));
    sums_.assign(count, 0);
    // Tap by tap over all results: the compiler puts several results into one register.
    for (size_t t = 0; t < taps_.size(); ++t) {
        const float tap = taps_[t], *x = &history_[t];
        for (size_t k = 0; k < count; ++k) sums_[k] += tap * x[k];
    }
    constexpr float limit = 2147483520; // the largest float below 2^31
    for (size_t k = 0; k < count; ++k) samples[k] = int32_t(std::clamp(sums_[k], -limit, limit));
    std::copy(history_.end() - ptrdiff_t(past), history_.end(), history_.begin());
}
} // namespace client
