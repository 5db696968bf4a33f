// When a station sends: its overs, found between filters and detector by level, or by noise in FM.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace client {
// A time in which a station sends; pauses shorter than the squelch's are part of it.
struct Over {
    double begin, end; // s of the recording
    double level;      // mean power of what is no pause, dB of a sine of full scale
};

class Squelch {
public:
    // Opens at a level of so many dB of a sine of full scale; without one at FM that is 5 dB over the noise
    // in the station's width. It stays open over a pause of so many s.
    Squelch(std::optional<double> threshold, double pause) : threshold_(threshold), pause_(pause) {}

    // The station's I/Q from the recording's start on, at a rate in Hz: interleaved, a sine of full scale has
    // amplitude 1.
    void look(std::span<const float> pairs, double rate);

    // Whether audio of a time, s, is heard; times are asked for in their order, each before decided().
    bool open_at(double time);
    // How many overs open_at has come to, that one counted in which it was true last.
    size_t overs_reached() const { return asked_ + 1; }
    double decided() const { return time_ - pause_ - before_seconds; }
    const std::vector<Over>& overs() const { return overs_; } // so far; the last may go on

private:
    static constexpr double before_seconds = 0.03; // that it opens before a station is sure
    void end_piece();

    const std::optional<double> threshold_;
    const double pause_;
    double time_ = 0;                // s, where the present piece begins
    double seconds_ = 0;             // of a piece: what is judged at once
    size_t piece_ = 0;               // samples of it
    size_t taken_ = 0;               // so far
    double power_ = 0, squares_ = 0; // sums of |z|^2 and |z|^4 so far, a sine of full scale having 1
    double before_power_ = 0, before_squares_ = 0; // of the piece before
    bool open_ = false;
    double quiet_ = 0;  // s since the station was heard
    double sum_ = 0;    // of the over's powers
    int64_t heard_ = 0; // pieces of them
    std::vector<Over> overs_;
    size_t asked_ = 0; // the over that open_at has come to
};
} // namespace client
