// Audio out: a sound file or raw samples, into a file or a pipe. The forms are a table in output.cpp.
//
// A file that takes no more, on a full disk or at a limit of its size, keeps what it took and is finished
// like any other; finish then fails with the reason.
#pragma once
#include "io/writer.h"
#include <cstdint>
#include <string>
#include <vector>

namespace client {
class CommandLine;

struct OutputOptions {
    std::string path = "-"; // - is standard output
    std::string type;       // name of a form; empty: by the name's ending, else wav
};

// -o and --output-type.
void add_output_options(CommandLine& line, OutputOptions& options);
// Whether samples of more than 16 bits are asked for.
bool wants_wide(const OutputOptions& options);

class Output {
public:
    // Opens the output for audio at a rate in Hz. Fails with the reason.
    // What was written to a file is gone again unless finish is reached.
    Output(const OutputOptions& options, int32_t rate, int32_t channels);

    // Writes count interleaved samples of full scale 2^31, whole frames; nothing more once it is full.
    void write(const int32_t* samples, size_t count);
    bool full() const { return !trouble_.empty(); }
    // Completes the header and gives the file its name.
    void finish();

    const std::string& name() const { return to_.name(); }

private:
    Destination to_;
    std::unique_ptr<Writer> writer_;
    std::string trouble_; // why it takes no more
};
} // namespace client
