// What the header of a sound file says of its length, and which containers a pipe can bring.
//
// libsndfile reads what is there and doesn't tell when a header promises more, nor does it read on where a
// recorder that was killed has left a length of 0. So the few containers in which that is common are looked
// at here.
#pragma once
#include "io/tuned.h"
#include "words/time_of_day.h"
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace client {
// Bytes that stand in a header's place when libsndfile reads it.
struct Patch {
    int64_t at;
    std::string bytes;
};

struct SoundHeader {
    const char* container = nullptr;  // its name; null: unknown
    bool by_pipe = false;             // libsndfile reads it without going back
    int64_t begin = -1;               // byte of the first sample; -1: not known, and then nothing else
    int64_t bytes = -1;               // of samples; -1: not told
    bool to_the_end = false;          // it says so by a length that can't be
    bool unfinished = false;          // it tells of none, though there are some
    bool in_blocks = false;           // coded, and libsndfile counts the blocks and their frames in 32 bits
    bool must_fit = false;            // libsndfile takes no file that is shorter than it tells
    bool too_long = false;            // libsndfile takes the length for a negative one
    std::optional<Tuned> tuned;       // what a WAV's chunk of a receiver tells
    std::optional<words::Time> began; // likewise, or that of a broadcast: the first sample's time
    uint64_t since_midnight = 0; // samples up to the first one, as a broadcast's chunk counts; 0: it doesn't
    double rate = 0;             // Hz, where it need not be a whole number; 0: it is one
    // What makes libsndfile read so many bytes of samples, should it be made to.
    std::function<std::vector<Patch>(int64_t bytes)> patches;
};

// So many bytes of the file from a position on, or as many as there are.
using Bytes = std::function<std::string(int64_t position, int64_t count)>;

SoundHeader read_sound_header(const Bytes& bytes);
// When the first sample was taken, at a rate in Hz, if the header tells.
std::optional<words::Time> began(const SoundHeader& header, int rate);
// Of the last bytes of an Ogg file: whether the last of its pages is there, whole.
bool has_last_page(const std::string& tail);
constexpr int64_t longest_page = 27 + 255 + 255 * 255; // bytes, of Ogg
} // namespace client
