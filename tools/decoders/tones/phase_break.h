// Where the phase of a steady tone breaks: another transmitter, with the same tone, has taken over.
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace decoders::tones {
class PhaseBreak {
public:
    static constexpr double span = 2; // s that are compared on each side

    // Samples are clipped hard: all of one magnitude.
    explicit PhaseBreak(double rate) : rate_(rate) {}

    void push(const std::vector<int32_t>& samples)
    {
        samples_.insert(samples_.end(), samples.begin(), samples.end());
    }
    struct Fit {
        double loss = 0; // what one sine misses of that: 0 for a tone that goes on, 0.2 to 0.8 near a break
        double share =
            0; // two sines' power against that of a clipped tone alone: greatest where the break is
    };
    // Of what came before a sample no more is asked than span seconds.
    void forget(int64_t sample);
    // One sine about a frequency, to a part of it, against two, one up to a sample and one from there on.
    Fit fit(int64_t sample, double frequency, double range) const;

private:
    const double rate_; // Hz
    std::deque<int32_t> samples_;
    int64_t gone_ = 0; // samples forgotten
};
} // namespace decoders::tones
