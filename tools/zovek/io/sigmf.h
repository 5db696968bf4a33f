// SigMF recordings (Signal Metadata Format 1.x): samples without a header in NAME.sigmf-data, and what they
// are as JSON in NAME.sigmf-meta beside it. Either name stands for both.
#pragma once
#include "io/tuned.h"
#include "words/time_of_day.h"
#include <cstdint>
#include <optional>
#include <string>

namespace client {
struct SigMF {
    std::string data; // the file of samples
    const char* type; // name of their raw type
    int32_t rate;     // Hz
    int32_t channels; // of a complex type two: I and Q
    std::optional<Tuned> tuned;
    std::optional<words::Time> started; // when its first sample was taken
};

// Nothing: the name is of another kind. Fails with the reason.
std::optional<SigMF> read_sigmf(const std::string& path);
} // namespace client
