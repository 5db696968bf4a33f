// What the command line's own table tells a user elsewhere: pages of the manual, and what shells complete.
#pragma once
#include "commands.h"
#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace client::pages {
// An option, or a word that stands without one, as pages and shells speak of it.
struct Entry {
    std::vector<std::string> names; // -r, --rate; of a word without an option its name alone
    std::string value;              // what help calls its value; empty if it has none
    std::string usual;              // the value of an absent one
    std::string help;
    std::string group;
    std::vector<std::string> choices; // which alone it takes; empty if others too
    std::vector<std::string> fits;    // names of those it needs, and of those it excludes, in words
    bool positional, required, repeats, takes_file;
    char separator; // of several values in one word, or 0
};

// In the order of help.
std::vector<Entry> entries(CLI::App& app);
// What help says behind a command's options, without the example.
std::string notes(const Program::Row& row);

// ---- The manual: zovek(1), and a page a command, in man(7)'s macros ----
std::string manual(const Program& program);
std::string manual(const Program::Row& row);

// ---- Completion ----
std::string bash(const Program& program);
std::string zsh(const Program& program);
std::string fish(const Program& program);
} // namespace client::pages
