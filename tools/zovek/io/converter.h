// A channel at another sampling rate, by the library's resampler: exact ratio, in time with what goes in.
#pragma once
#include "io/passage.h"
#include <cstdint>
#include <vector>
#include <zovek.hpp>

namespace client {
// The largest factor that reaches the resampler unchanged: whole numbers that a float holds.
constexpr int64_t most_factor = 1 << 24;

class Converter : public Channel {
public:
    // over / under in lowest terms, both at most most_factor; taps are the input samples that an output is
    // made of. Fails if memory can't be had.
    Converter(int64_t over, int64_t under, int64_t taps);

    // Outputs before the one on the first sample.
    int64_t delay() const { return ahead() / resampler_->under; }
    // Input samples that the output lags.
    double lag() const { return double(ahead()) / resampler_->over; }

    void run(const int32_t* in, size_t count, size_t step, std::vector<int32_t>& out) override;

private:
    int64_t ahead() const; // the lag in 1/over of an input sample

    const zovek::Resampler resampler_{ZVResampler32_Construct};
};
} // namespace client
