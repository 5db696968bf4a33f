// How long work on a signal takes, and how it is told: on a terminal while it goes on, and in the summary.
#pragma once
#include "words/words.h"
#include <chrono>
#include <string>

namespace client {
// So many seconds of a signal in so many seconds of work.
struct Pace {
    double duration = 0, work = 0;                                  // s
    double speed() const { return work > 0 ? duration / work : 0; } // times real time
    // "10.0 s, 33.3 x real time", and the same as members.
    std::string text() const;
    words::JsonObject json() const;
};

class Clock {
public:
    double seconds() const // since it was made
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Times the work, and shows it while it goes on if a person looks.
class Progress {
public:
    Progress() = default;
    Progress(const Progress&) = delete;
    ~Progress();

    // So many seconds of the signal are done.
    void show(double duration);
    // Takes the line off; the pace of all the work.
    Pace end(double duration);

private:
    Clock clock_;
    double next_ = 0.5; // s: nothing is shown of what is done at once
};
} // namespace client
