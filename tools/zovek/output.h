// Audio out: a WAV file, raw signed 16-bit little-endian samples, or either into a pipe.
//
// WAV beyond 4 GiB becomes RF64. WAV into a pipe, whose length nobody knows, tells of 0x7ffff000 bytes of samples,
// which players take for "to the end".
#pragma once
#include "destination.h"
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

    // Writes count interleaved samples.
    void write(const int16_t* samples, size_t count);
    // Completes the header and gives the file its name.
    void finish();

    const std::string& name() const { return to_.name(); }

private:
    void put_header(bool complete);

    Destination to_;
    bool wav_;
    int32_t rate_, channels_;
    int64_t data_bytes_ = 0;
};
} // namespace client
