// Audio out in pieces: a new file each hour, or whatever the period is.
//
// Pieces begin at whole multiples of the period, by the clock in UTC where the time of day is known, else by
// the recording's seconds. Together they are what one file would be. Each is FILE with its first sample's
// time, or a number, before the ending, and is complete as soon as the next moment belongs to another one.
#pragma once
#include "io/output.h"
#include "io/timeline.h"
#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace client {
using Period = std::optional<std::chrono::seconds>; // nothing: all is one piece

// --rotate.
void add_rotation_option(CommandLine& line, Period& period);

class Pieces {
public:
    // As Output; without a period it is one, by the name that was given. A timeline may be null. Opens no
    // piece before there is audio for it, but fails at once where none could be written.
    Pieces(OutputOptions options, Period period, int32_t rate, int32_t channels,
           std::shared_ptr<const Timeline> timeline);

    // Writes count samples, whole frames without a gap, of which the first stands so many seconds from the
    // recording's start.
    template <class Sample>
    void write(const Sample* samples, size_t count, double seconds)
    {
        if (!period_) return piece_->write(samples, count);
        for (size_t at = 0; at < count && !full();) {
            const size_t frame = at / channels_;
            const double place = seconds + double(frame) / rate_;
            passed(place);
            if (!piece_) open(place);
            const auto left = size_t(std::max<int64_t>(frames_left(place), 1));
            const size_t some = std::min(count - at, left * channels_);
            piece_->write(samples + at, some);
            at += some;
        }
    }
    // So many seconds of the recording are behind what is written: a piece that has ended by then is done.
    void passed(double seconds);
    bool full() const { return piece_ && piece_->full(); }
    void finish();

    const std::string& name() const { return name_; }                // of all
    const std::vector<std::string>& files() const { return files_; } // of a period, those begun
    bool several() const { return period_.has_value(); }
    std::string described() const; // name, or how many files by which names

private:
    words::Time time_at(double seconds) const;
    int64_t frames_left(double seconds) const; // of the piece, from a place on; none: it has ended
    void open(double seconds);
    void close();
    std::string next_name(words::Time begin);

    const OutputOptions options_;
    const Period period_;
    const int32_t rate_;
    const size_t channels_;
    const std::shared_ptr<const Timeline> timeline_;
    std::unique_ptr<Output> piece_;
    words::Time end_; // of it
    std::string name_;
    std::vector<std::string> files_;
    int number_ = 0; // of the last piece, where the time isn't known
};
} // namespace client
