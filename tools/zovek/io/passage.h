// A recording on its way through processors, one a channel: read, processed, written, all in bounded memory.
//
// What comes out stands where it stood in the recording: the processors' delay is dropped at the start, and
// silence behind the end brings out what still is in them.
#pragma once
#include "io/input.h"
#include "io/output.h"
#include "io/progress.h"
#include "words/words.h"
#include <functional>
#include <memory>
#include <vector>

namespace client {
class Channel {
public:
    virtual ~Channel() = default;
    // Takes in[0], in[step], ..., count of them, of full scale 2^31, and appends what they bring to out. All
    // channels bring as many.
    virtual void run(const int32_t* in, size_t count, size_t step, std::vector<int32_t>& out) = 0;
};

struct Passage {
    std::vector<std::unique_ptr<Channel>> channels; // one for each of the input's
    int64_t delay = 0;                              // frames that come out before the recording's first
    // Frames that so many of the recording become.
    std::function<int64_t(int64_t)> frames_of = [](int64_t frames) { return frames; };
};

struct Passed {
    int64_t read = 0, written = 0; // frames
    Pace pace;
    Input::Faults faults;

    // The ends of both forms of a summary: "480000 samples, 10.0 s, ..." and the same as members.
    std::string text() const;
    words::JsonObject json() const;
};

// Sends all of the input through and finishes the output, or what there is of it when a stop is asked for.
// Shows progress on a terminal; says if the recording is incomplete, unless quiet.
Passed pass(const char* command, Input& input, Output& output, const Passage& passage, bool quiet);
} // namespace client
