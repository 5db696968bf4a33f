// What the command line's reader says: help, and what is wrong with a line, in one. And what users say that
// the library behind it reads otherwise.
#pragma once
#include <CLI/CLI.hpp>
#include <string>

namespace client {
// Help as wide as a terminal.
class Help : public CLI::Formatter {
public:
    Help();
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

// A line's words in the form in which they are read:
//
//     help receive         receive --help
//     receive -f=3 -M=am   receive -f 3 -M am
//     decode -- -x.wav     decode ./-x.wav       behind -- all are names of files;
//                                                before the command it means nothing
std::vector<std::string> arranged(const CLI::App& app, std::vector<std::string> words);

// Why a line, arranged, couldn't be read. Of a word that means nothing, the name that it is nearest to.
std::string explain(const CLI::App& app, const std::vector<std::string>& words, const CLI::ParseError& error);
} // namespace client
