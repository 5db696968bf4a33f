// What the commands share: their table's row, and how they fail.
#pragma once
#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace client {
// Runs a command whose options have been read; the result is the program's exit status.
using Run = std::function<int()>;

struct Command {
    const char* name;
    const char* help;      // one line
    Run (*add)(CLI::App&); // adds the command's options, and returns what runs
};

Run add_receive(CLI::App& options);
Run add_cpu(CLI::App& options);

// What can't be done, and why: one line on standard error, exit status 1.
struct Failure : std::runtime_error {
    Failure(const std::string& what, const std::string& why) : std::runtime_error(what + ": " + why) {}
};

// Options that don't go together: one line on standard error, exit status 2.
struct WrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One line of talk on standard error.
void say(const std::string& line);
} // namespace client
