// Audio out: a WAV file, raw signed 16-bit little-endian samples, or either into a pipe.
//
// WAV beyond 4 GiB becomes RF64. WAV into a pipe, whose length nobody knows, tells of 0x7ffff000 bytes of
// samples, which players take for "to the end". So does a file while it is written, and beyond that length as
// RF64 of 2^50 bytes: it can be played meanwhile, and if the program is killed.
//
// A file that takes no more, on a full disk or at a limit of its size, keeps what it took and is finished
// like any other; finish then fails with the reason.
#pragma once
#include "io/destination.h"
#include <cstdint>
#include <string>

namespace client {
class CommandLine;

struct OutputOptions {
    std::string path = "-"; // - is standard output
    std::string type;       // wav or raw; empty: raw if the name ends in .raw, else wav
};

// -o and --output-type.
void add_output_options(CommandLine& line, OutputOptions& options);

class Output {
public:
    // Opens the output for audio at a rate in Hz. Fails with the reason.
    // What was written to a file is gone again unless finish is reached.
    Output(const OutputOptions& options, int32_t rate, int32_t channels);

    // Writes count interleaved samples, whole frames; nothing more once it is full.
    void write(const int16_t* samples, size_t count);
    bool full() const { return !trouble_.empty(); }
    // Completes the header and gives the file its name.
    void finish();

    const std::string& name() const { return to_.name(); }

private:
    uint32_t header_bytes() const;
    void put_header(uint64_t data);

    Destination to_;
    bool wav_;
    int32_t rate_, channels_;
    int64_t data_bytes_ = 0;
    bool large_ = false;  // the header of a file that isn't complete tells of more than 2 GiB
    std::string trouble_; // why it takes no more
};
} // namespace client
