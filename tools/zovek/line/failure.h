// How a command fails.
#pragma once
#include <stdexcept>
#include <string>

namespace client {
// What can't be done, and why: one line on standard error, exit status 1.
struct Failure : std::runtime_error {
    Failure(const std::string& what, const std::string& why) : std::runtime_error(what + ": " + why) {}
};

// Options that don't go together: one line on standard error, exit status 2.
struct WrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What an option can't take. Thrown while the line is read: the option's name comes in front, and it is a
// wrong usage.
struct WrongValue : std::runtime_error {
    using std::runtime_error::runtime_error;
};
} // namespace client
