// A low-pass filter on 32-bit samples in single precision, for the channel behind the decimation. The
// library's own filters keep 16 bits of a 32-bit sample, which a weak station beside a strong one can't spare
// there.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace client {
// Windowed sinc under a Blackman window 0.42/0.5/0.08, gain 1 at 0 Hz; taps is odd, rate and cut-off in Hz.
std::vector<double> windowed_sinc(double rate, double cutoff, int32_t taps);

class ChannelFilter {
public:
    // As windowed_sinc.
    ChannelFilter(double rate, double cutoff, int32_t taps);

    // Filters count samples in place; each comes taps / 2 samples late. The history is kept from call to
    // call.
    void process(int32_t* samples, size_t count);

private:
    std::vector<float> taps_;
    std::vector<float> history_; // taps - 1 samples of the calls before, then this call's
    std::vector<float> sums_;
};
} // namespace client
