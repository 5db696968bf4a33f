// Samples without a header: signed 16-bit ones, and the I/Q types of receivers, little-endian on every
// machine.
#pragma once
#include "io/input.h"

namespace client {
struct RawType {
    const char* name;
    size_t bytes;     // of a sample
    int32_t channels; // 0: as the options tell, or one
    void (*unpack)(const char* from, int16_t* to, size_t count);
    void (*unpack_wide)(const char* from, int32_t* to, size_t count); // full scale 2^31
};

// Null: none has the name.
const RawType* raw_type(const std::string& name);
// Opens what a path names. The rate and the channels are the caller's to set before the first read.
std::unique_ptr<Input> open_raw(const std::string& path, const RawType& type);
} // namespace client
