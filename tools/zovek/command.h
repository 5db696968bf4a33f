// What the commands share: their table's row and their talk.
#pragma once
#include "failure.h"
#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace client {
// Runs a command whose options have been read; the result is the program's exit status.
using Run = std::function<int()>;

struct Command {
    const char* name;
    const char* help;      // one line
    const char* example;   // a whole line of a shell
    Run (*add)(CLI::App&); // adds the command's options, and returns what runs
};

Run add_receive(CLI::App& options);
Run add_decode(CLI::App& options);
Run add_resample(CLI::App& options);
Run add_clean(CLI::App& options);
Run add_waterfall(CLI::App& app);
Run add_spectrum(CLI::App& app);
Run add_cpu(CLI::App& options);
Run add_selftest(CLI::App& options);

// One line of talk on standard error.
void say(const std::string& line);
// Fails if what was printed on standard output didn't get there.
void deliver();
} // namespace client
