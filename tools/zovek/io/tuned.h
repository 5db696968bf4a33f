// Where a receiver was tuned to that recorded a band, as the recording tells it.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace client {
constexpr double highest_tuned = 1e12; // Hz, beyond any receiver

struct Tuned {
    int64_t centre = 0;           // Hz
    const char* source = nullptr; // "its name"; null: the options
};

// What the name of a file tells as a number with a unit, as recorders write it: band_100600000Hz_2.wav,
// 20260401 100.6MHz.wav, x-100600kHz.iq. The first one counts that isn't the sampling rate, which stands in
// names, too.
std::optional<Tuned> tuned_by_name(const std::string& path, int32_t rate);
} // namespace client
