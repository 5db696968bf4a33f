// The program's command line: a table of commands, as a parser has it and as it is run.
#pragma once
#include "command.h"
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace client {
// The whole command line. Options live as long as their command's row.
struct Program {
    struct Row {
        const Command* command;
        CLI::App* options; // the program's own
        Run run;
    };
    std::shared_ptr<CLI::App> app;
    std::vector<Row> rows; // in the order in which help tells of them
};
Program program();

// Runs the command of a line's words; the result is the program's exit status. Throws WrongUsage.
int run(const std::vector<std::string>& words);
} // namespace client
