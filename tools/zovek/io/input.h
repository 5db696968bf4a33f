// Recordings and live streams as samples of 16 or 32 bits: the one way by which signals come into the client.
//
// Files are what libsndfile knows, from a file or a pipe (sound_file.h), or samples without a header
// (raw_input.h). Other sample formats become one of the two at this door, as the reader likes: wider integers
// are rounded to nearest, reals are scaled to full scale, and both saturate.
#pragma once
#include "io/timeline.h"
#include "io/tuned.h"
#include "words/words.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace client {
class CommandLine;

struct InputOptions {
    std::string path = "-";               // - is standard input
    std::string type = "auto";            // auto: told by the content; raw, cs16, cs8, cu8, cf32
    int32_t rate = 0;                     // Hz; of raw input
    int32_t channels = 0;                 // of raw input; 0: one, of complex types two
    int32_t channel = 0;                  // 1 is the first; 0: not chosen, the first is taken
    bool all_channels = false;            // none is chosen: --channel isn't offered
    bool maybe_iq = false;                // --iq is offered and not given: two channels may be meant for it
    std::string rate_names = "-r,--rate"; // the options that tell the rate of raw input
    std::optional<words::Time> start;     // when the recording began; nothing: it, or the clock tells
};

// INPUT, -t, -r, --channels and --channel.
void add_input_options(CommandLine& line, InputOptions& options);
// The same without INPUT.
void add_format_options(CommandLine& line, InputOptions& options);
// --start, a time of day.
void add_time_option(CommandLine& line, InputOptions& options);

// What a command makes of a recording, in the sentences about its end.
struct Product {
    std::string ends;    // of a truncated recording: "the audio ends" where it does
    std::string stopped; // "the audio up to here is kept"; empty: a stop is passed over
};
inline const Product of_audio = {"the audio ends", "the audio up to here is kept"};

class Input {
public:
    // Opens and reads as far as the header. Fails with the reason.
    static std::unique_ptr<Input> open(const InputOptions& options);
    virtual ~Input() = default;

    // Reads interleaved samples; waits until all frames are there. Fewer come at the end only: of the signal,
    // or because a stop was asked for.
    virtual size_t read(int16_t* samples, size_t frames) = 0;

    // The same left-justified in 32 bits, with all that the recording knows.
    virtual size_t read(int32_t* samples, size_t frames) = 0;

    std::string name; // for messages
    int32_t rate = 0; // Hz
    int32_t channels = 1;
    int32_t channel = 0;        // offset of the chosen channel in a frame
    int32_t per_frame = 1;      // frames here that one of the recording became
    int32_t recorded_rate = 0;  // Hz of the recording; 0: rate / per_frame
    int32_t centre = 0;         // Hz here that the recording's frequencies count from
    std::optional<Tuned> tuned; // where the recording's middle stands; unknown: frequencies are its own
    int64_t origin = 0;         // Hz of what counts as 0 then
    int64_t announced = -1;     // frames that are to come; -1: nobody knows
    int64_t taken = 0;          // frames read so far
    std::shared_ptr<Timeline> timeline; // the time of day of its samples; null: not known
    int64_t recorded = -1; // frames of the recording; known at its end, where those here don't tell it
    int64_t overloads = 0; // pieces with a sample near full scale, where those here don't show it

    // The name, times and frequencies of the input that this one is made of.
    void take_after(const Input& source);

    // What was wrong with the recording; known when its end has been read.
    struct Faults {
        bool truncated = false;         // it stops short of its header's length, or within a frame
        bool damaged = false;           // parts of it couldn't be read, and are left out
        bool unfinished = false;        // its header tells of no samples, though there are some
        words::JsonObject json() const; // the three as members, and whether a stop was asked for
    } faults;
    // After the end: says the same to people.
    void tell_end(const std::string& command, const Product& product) const;

protected:
    // So many more frames have come from outside.
    void count(size_t frames);
};

// Adds a member with the time of day at so many seconds from the start, if it is known.
void add_time(words::JsonObject& to, const Input& input, double seconds = 0);
} // namespace client
