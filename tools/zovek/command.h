// A command: its row of the table, and what adds it to the command line.
#pragma once
#include <functional>

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
} // namespace client
