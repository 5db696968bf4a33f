// What a sound file's bytes are made of: the three ways of writing audio, between Output and its Destination.
#pragma once
#include "io/destination.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace client {
// How a sample is written, little-endian: signed integers of 16 or 24 bits, reals of full scale 1.
enum class Coding { s16, s24, f32 };

struct AudioForm {
    int32_t rate;     // Hz
    int32_t channels; // interleaved
    Coding coding;
};

class Writer {
public:
    Writer() = default;
    Writer(const Writer&) = delete;
    virtual ~Writer() = default;

    // Writes count samples of full scale 2^31, whole frames; integers are rounded to nearest. Gives the
    // reason if they can't all be taken, and takes no more then; empty if there is none.
    virtual std::string write(const int32_t* samples, size_t count) = 0;
    // Completes what tells of the length, over the samples that were taken.
    virtual void finish() = 0;
    // Whether anything of the audio was taken.
    virtual bool empty() const = 0;
};

// Samples as they are, and behind a WAV header. Both live no longer than their destination.
std::unique_ptr<Writer> write_raw(Destination& to, const AudioForm& form);
std::unique_ptr<Writer> write_wav(Destination& to, const AudioForm& form);
// FLAC of 16 or 24 bits. Fails if the format doesn't hold such audio.
std::unique_ptr<Writer> write_flac(Destination& to, const AudioForm& form);
} // namespace client
