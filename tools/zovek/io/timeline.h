// The time of day of a recording's samples.
#pragma once
#include "words/time_of_day.h"
#include <deque>
#include <mutex>
#include <optional>

namespace client {
class Timeline {
public:
    // Of a recording that began at a time: from there samples are counted.
    explicit Timeline(words::Time start);
    // Of a source that goes on while it is read: the clock tells, through came().
    Timeline() = default;

    // So many seconds of the signal have come by now. Of a live source alone it has an effect. What it counts
    // follows the clock by 0.2 ms a second at most, more than any sound card is off, so that it neither runs
    // away in days nor moves with each delay of a read. What comes more than a second late, as behind a pause
    // of the source, has the time at which it came; what comes early, as a file does, is counted.
    void came(double seconds, words::Time now);

    // When a place in the signal was, in seconds from its start. Nothing: nothing has come yet. From any
    // thread.
    std::optional<words::Time> at(double seconds) const;
    // When the signal would have begun if the count of the place were that of the whole.
    std::optional<words::Time> start_by(double seconds) const;

private:
    struct Anchor {
        double from;       // s of the signal
        words::Time start; // of the count from there on
    };
    const bool live_ = true;
    mutable std::mutex mutex_;
    std::deque<Anchor> anchors_; // the first, and the last ones
    double came_ = 0;            // s
    double counted_ = 0;         // s of the clock at which the signal began, by the count
};
} // namespace client
