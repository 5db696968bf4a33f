// Audio behind a squelch: silence between a station's overs, or nothing.
#pragma once
#include "radio/squelch.h"
#include <cstddef>
#include <cstdint>
#include <vector>

namespace client {
class Gate {
public:
    // Of audio at a rate in Hz; with overs_only what is between them is left out.
    Gate(Squelch& squelch, double rate, size_t channels, bool overs_only);

    // The next audio, interleaved. Gives what is decided of it, until the next call.
    const std::vector<int32_t>& pass(const std::vector<int32_t>& audio);
    // What is left at the recording's end.
    const std::vector<int32_t>& finish();

    int64_t frames() const { return given_; } // so far
    // Audio that came out in one piece: its first sample in it, and where in the recording that stands, s.
    struct Stretch {
        size_t first;
        double seconds;
    };
    const std::vector<Stretch>& stretches() const { return stretches_; } // of what was given last
    double decided() const { return double(taken_) / rate_; }            // s of the recording
    // Where in the audio that came out each over begins, s.
    const std::vector<double>& begins() const { return begins_; }

private:
    const std::vector<int32_t>& give(double until);

    Squelch& squelch_;
    const double rate_;
    const size_t channels_;
    const bool overs_only_;
    const float step_;                // of the gain, a frame
    std::vector<int32_t> held_, out_; // from frame `taken_` of the recording on
    int64_t taken_ = 0, given_ = 0;   // frames
    float gain_ = 0;
    std::vector<Stretch> stretches_;
    std::vector<double> begins_;
};
} // namespace client
