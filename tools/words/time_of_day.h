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
// In UTC, to the millisecond.
std::string iso_time(Time time);
// The same for names of files: 20261123T180507Z, to the second.
std::string compact_time(Time time);
} // namespace words
