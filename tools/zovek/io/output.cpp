#include "io/output.h"
#include "line/failure.h"
#include "line/options.h"
#include "words/words.h"
#include <bit>

namespace client {
using namespace words;
namespace {
// Bytes of samples, told where the true number isn't known: up to so many, and beyond.
constexpr int64_t to_the_end = 0x7ffff000, to_a_far_end = int64_t(1) << 50;

// Names that say what the file wouldn't be.
void check_name(const std::string& path)
{
    for (const char* end : {".flac", ".mp3", ".ogg", ".opus", ".m4a", ".au", ".aiff", ".png"})
        if (ends_with_word(path, end))
            throw WrongUsage(path + ": audio is written as WAV or raw (--output-type, whatever the name)");
}

void little(std::string& to, uint64_t value, int bytes)
{
    for (int k = 0; k < bytes; ++k) to += static_cast<char>(value >> (8 * k));
}
} // namespace

void add_output_options(CommandLine& line, OutputOptions& options)
{
    line.text("-o,--output", options.path, "audio file; - is standard output; FILE.part while it is written")
        .unit("FILE")
        .usually(options.path);
    line.text("--output-type", options.type, "wav or raw; raw if the name ends in .raw, else wav")
        .one_of({"wav", "raw"})
        .unit("TYPE");
}

Output::Output(const OutputOptions& options, int32_t rate, int32_t channels)
    : to_(options.path),
      wav_(options.type.empty() ? !ends_with_word(options.path, ".raw") : options.type == "wav"),
      rate_(rate),
      channels_(channels)
{
    if (options.type.empty()) check_name(options.path);
    if (wav_) put_header(to_the_end);
}

// The header of a file leaves room for 64-bit lengths in a JUNK chunk; a pipe gets the plain 44 bytes.
uint32_t Output::header_bytes() const
{
    return !wav_ ? 0 : to_.is_file() ? 80 : 44; // RIFF 12, JUNK or ds64 36, fmt 24, data 8
}

// Of so many bytes of samples.
void Output::put_header(uint64_t data)
{
    const bool file = to_.is_file();
    const uint32_t around = header_bytes() - 8; // bytes of RIFF that aren't samples
    const bool large = data + around > UINT32_MAX;
    std::string header = large ? "RF64" : "RIFF";
    little(header, large ? UINT32_MAX : data + around, 4);
    header += "WAVE";
    if (file) {
        header += large ? "ds64" : "JUNK";
        little(header, 28, 4);
        little(header, large ? data + around : 0, 8);
        little(header, large ? data : 0, 8);
        little(header, large ? data / (2 * uint64_t(channels_)) : 0, 8);
        little(header, 0, 4);
    }
    header += "fmt ";
    little(header, 16, 4);
    little(header, 1, 2); // PCM
    little(header, uint32_t(channels_), 2);
    little(header, uint32_t(rate_), 4);
    little(header, uint64_t(rate_) * 2 * uint32_t(channels_), 4);
    little(header, 2 * uint32_t(channels_), 2);
    little(header, 16, 2);
    header += "data";
    little(header, large ? UINT32_MAX : data, 4);
    to_.put(header.data(), header.size());
}

void Output::write(const int16_t* samples, size_t count)
{
    if (full()) return;
    const void* bytes = samples;
    std::string swapped;
    if constexpr (std::endian::native != std::endian::little) {
        for (size_t k = 0; k < count; ++k) little(swapped, uint16_t(samples[k]), 2);
        bytes = swapped.data();
    }
    trouble_ = to_.offer(bytes, 2 * count);
    if (full()) {
        if (!to_.is_file() || data_bytes_ == 0) throw Failure(name(), trouble_);
        return;
    }
    data_bytes_ += 2 * int64_t(count);
    if (!to_.is_file() || !wav_ || large_ || data_bytes_ <= to_the_end) return;
    large_ = true;
    to_.seek(0);
    put_header(to_a_far_end);
    to_.seek(header_bytes() + data_bytes_);
}

void Output::finish()
{
    if (full()) to_.cut(header_bytes() + data_bytes_); // it may have taken a part of a frame
    if (to_.is_file() && wav_) {
        to_.seek(0);
        put_header(uint64_t(data_bytes_));
    }
    to_.finish();
    if (full()) throw Failure(name(), trouble_ + ": the audio up to there is kept");
}
} // namespace client
