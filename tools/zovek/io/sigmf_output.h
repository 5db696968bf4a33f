// A station's I/Q as a SigMF recording: NAME.sigmf-data, complex reals of 32 bits (cf32_le), and
// NAME.sigmf-meta. Both are written as .part and take their names when they are complete.
#pragma once
#include "io/destination.h"
#include "words/time_of_day.h"
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace client {
class SigMFOutput {
public:
    // The name of either file. Fails with the reason.
    explicit SigMFOutput(const std::string& path);

    // Interleaved, full scale 1.
    void write(std::span<const float> pairs);

    struct Description {
        double rate;                        // Hz
        double centre;                      // Hz
        std::optional<words::Time> started; // nothing: not known
        std::string description;            // for people
    };
    void finish(const Description& about);

    const std::string& name() const { return data_.name(); }

private:
    Destination data_, meta_;
};
} // namespace client
