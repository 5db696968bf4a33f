#include "output.h"
#include "command.h"
#include <CLI/CLI.hpp>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace client {
namespace {
constexpr uint32_t to_the_end = 0x7ffff000; // bytes of samples, told where the true number isn't known
constexpr uint32_t header_bytes = 80;       // RIFF 12, JUNK or ds64 36, fmt 24, data 8

bool ends_with(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

void little(std::string& to, uint64_t value, int bytes)
{
    for (int k = 0; k < bytes; ++k) to += static_cast<char>(value >> (8 * k));
}
} // namespace

void add_output_options(CLI::App& app, OutputOptions& options)
{
    app.add_option("-o,--output", options.path, "audio file; - is standard output")->capture_default_str();
    app.add_option("--output-type", options.type, "wav or raw; raw if the name ends in .raw, else wav")
        ->check(CLI::IsMember({"wav", "raw"}));
}

Output::Output(const OutputOptions& options, int32_t rate, int32_t channels)
    : name_(options.path),
      wav_(options.type.empty() ? !ends_with(options.path, ".raw") : options.type == "wav"),
      rate_(rate),
      channels_(channels)
{
    struct stat info;
    const bool exists = options.path != "-" && stat(options.path.c_str(), &info) == 0;
    if (options.path == "-") {
        name_ = "standard output";
        place_.fd = STDOUT_FILENO;
        if (isatty(place_.fd)) throw WrongUsage("standard output is a terminal: name a file with -o");
    } else if (exists && !S_ISREG(info.st_mode)) { // a device or a named pipe
        place_.fd = open(options.path.c_str(), O_WRONLY);
        if (place_.fd < 0) fail(errno);
    } else {
        target_ = options.path;
        if (exists) { // a link stays a link, and what may not be written is not replaced
            if (access(target_.c_str(), W_OK) != 0) fail(errno);
            char* real = realpath(target_.c_str(), nullptr);
            if (!real) fail(errno);
            target_ = real;
            std::free(real);
        }
        std::string temporary = target_ + ".XXXXXX";
        place_.fd = mkstemp(temporary.data());
        if (place_.fd < 0) fail(errno);
        place_.temporary = temporary;
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(place_.fd, exists ? info.st_mode & 0777 : 0666 & ~mask);
    }
    if (wav_) put_header(false);
}

Output::Place::~Place()
{
    if (fd >= 0 && fd != STDOUT_FILENO) close(fd);
    if (!temporary.empty()) unlink(temporary.c_str());
}

void Output::fail(int error) { throw Failure(name_, std::strerror(error)); }

void Output::put(const void* data, size_t bytes)
{
    const char* from = static_cast<const char*>(data);
    while (bytes > 0) {
        const ssize_t written = ::write(place_.fd, from, bytes);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) fail(errno);
        from += written;
        bytes -= size_t(written);
    }
}

// The header of a file leaves room for 64-bit lengths in a JUNK chunk; a pipe gets the plain 44 bytes.
void Output::put_header(bool complete)
{
    const bool file = !target_.empty();
    const uint32_t around = (file ? header_bytes : 44) - 8; // bytes of RIFF that aren't samples
    const uint64_t data = complete ? uint64_t(data_bytes_) : to_the_end;
    const bool large = complete && data + around > UINT32_MAX;
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
    put(header.data(), header.size());
}

void Output::write(const int16_t* samples, size_t count)
{
    data_bytes_ += 2 * int64_t(count);
    if constexpr (std::endian::native == std::endian::little) return put(samples, 2 * count);
    std::string swapped;
    for (size_t k = 0; k < count; ++k) little(swapped, uint16_t(samples[k]), 2);
    put(swapped.data(), swapped.size());
}

void Output::finish()
{
    if (!target_.empty() && wav_) {
        if (lseek(place_.fd, 0, SEEK_SET) < 0) fail(errno);
        put_header(true);
    }
    if (place_.fd != STDOUT_FILENO) {
        const int fd = place_.fd;
        place_.fd = -1;
        if (close(fd) != 0) fail(errno);
    }
    if (target_.empty()) return;
    if (rename(place_.temporary.c_str(), target_.c_str()) != 0) fail(errno);
    place_.temporary.clear();
}
} // namespace client
