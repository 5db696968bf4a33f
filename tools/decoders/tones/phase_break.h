// Where the phase of a steady tone breaks: another transmitter, with the same tone, has taken over.
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
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
    // Of what came before a sample no more is asked than span seconds.
    void forget(int64_t sample);
    // Looks at a sample and its time, s, one after the other, for a tone whose frequency is known to a part
    // of it. Gives the time of a break when none that is greater can come of it any more.
    std::optional<double> look(int64_t sample, double time, double frequency, double range);
    // There is no tone, or another: nothing is known of its phase.
    void drop() { sign_.reset(); }

private:
    struct Fit {
        double share = 0; // of the power of a clipped tone alone in two sines: greatest where the break is
        double loss = 0;  // of theirs, what one misses: 0 for a tone that goes on, 0.2 to 0.8 near a break
    };
    // Two sines, one up to a sample and one from there on, against one.
    Fit fit(int64_t sample, double frequency, double range) const;

    struct Sign {
        double seen;                // s, first
        double time = 0, share = 0; // s, of the greatest share since; that share
    };
    const double rate_; // Hz
    std::deque<int32_t> samples_;
    int64_t gone_ = 0; // samples forgotten
    std::optional<Sign> sign_;
};
} // namespace decoders::tones
