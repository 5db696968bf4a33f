// Bytes of a recording: a file with positions, or a pipe, a device or standard input as they come.
#pragma once
#include "io/system.h"
#include <cstdint>
#include <string>

namespace client {
class Source {
public:
    // - is standard input. Fails with the reason.
    explicit Source(const std::string& path);
    Source(const Source&) = delete;
    ~Source();

    // Has positions and a length, and is at its start.
    bool is_file() const { return length_ >= 0; }
    // Bytes of a file; -1 of anything else.
    int64_t length() const { return length_; }
    void seek(int64_t position) const { system::seek(handle_, position); }

    // Reads on until bytes are there, the source ends, or a stop is asked for.
    int64_t read(char* to, int64_t bytes);
    // Why a read failed; empty if none did.
    const std::string& trouble() const { return trouble_; }

private:
    const system::Handle handle_;
    int64_t length_ = -1;
    std::string trouble_;
};
} // namespace client
