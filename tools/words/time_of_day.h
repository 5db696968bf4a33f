// Times of day as ISO 8601 writes them: 2026-11-23T18:05:07.250Z.
#pragma once
#include <chrono>
#include <optional>
#include <string>

namespace words {
using Time = std::chrono::sys_time<std::chrono::microseconds>; // UTC, without leap seconds

// A date and a time, with T or a blank between, seconds and their decimals if they are there, and a zone: Z
// or +hh:mm. Else nothing.
std::optional<Time> parse_time(const std::string& text);
// In UTC, to the millisecond; what is less is cut off.
std::string iso_time(Time time);
// The same to the microsecond: 2026-11-23T18:05:07.250000Z.
std::string exact_time(Time time);
// For names of files, to the second: 20261123T180507Z.
std::string compact_time(Time time);

// Whole seconds, minutes, hours or days, above 0 and up to 1000 days: 30s, 15m, 1h, 1d. Else nothing.
std::optional<std::chrono::seconds> parse_duration(const std::string& text);
} // namespace words
