// Audio out: a WAV file, raw signed 16-bit little-endian samples, or either into a pipe.
//
// A file is written under a temporary name beside its target and takes its name when it is complete. WAV beyond
// 4 GiB becomes RF64. WAV into a pipe, whose length nobody knows, tells of 0x7ffff000 bytes of samples, which
// players take for "to the end".
#pragma once
#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace client {
struct OutputOptions {
    std::string path = "-"; // - is standard output
    std::string type;       // wav or raw; empty: raw if the name ends in .raw, else wav
};

// -o and --output-type.
void add_output_options(CLI::App& app, OutputOptions& options);

class Output {
public:
    // Opens the output for audio at a rate in Hz. Fails with the reason.
    // What was written to a file is gone again unless finish is reached.
    Output(const OutputOptions& options, int32_t rate, int32_t channels);

    // Writes count interleaved samples.
    void write(const int16_t* samples, size_t count);
    // Completes the header and gives the file its name.
    void finish();

    const std::string& name() const { return name_; }

private:
    void put(const void* data, size_t bytes);
    void put_header(bool complete);
    [[noreturn]] void fail(int error);

    // Closes the descriptor and removes the temporary file.
    struct Place {
        int fd = -1;
        std::string temporary; // name of the file; empty when there is nothing to remove
        ~Place();
    };
    std::string name_;   // for messages
    std::string target_; // the file that the temporary one becomes; empty for pipes and devices
    Place place_;
    bool wav_;
    int32_t rate_, channels_;
    int64_t data_bytes_ = 0;
};
} // namespace client
