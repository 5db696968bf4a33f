// What the commands share: their table's row and their talk.
#pragma once
#include "failure.h"
#include <functional>
#include <string>

namespace client {
class CommandLine;

// Runs a command whose options have been read; the result is the program's exit status.
using Run = std::function<int()>;

struct Command {
    const char* name;
    const char* help;         // one line
    const char* example;      // a whole line of a shell
    Run (*add)(CommandLine&); // adds the command's options, and returns what runs
    bool talks;               // so that it can be quiet
};

Run add_receive(CommandLine& line);
Run add_decode(CommandLine& line);
Run add_resample(CommandLine& line);
Run add_clean(CommandLine& line);
Run add_waterfall(CommandLine& line);
Run add_spectrum(CommandLine& line);
Run add_cpu(CommandLine& line);
Run add_selftest(CommandLine& line);

// One line on standard error: of talk, which --quiet silences, or of what failed.
void say(const std::string& line);
void complain(const std::string& line);
bool quiet(); // no talk is wanted
// Fails if what was printed on standard output didn't get there.
void deliver();
} // namespace client
