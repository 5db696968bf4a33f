// What the command line's reader says: help, and what is wrong with a line, in one.
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

// Why a line couldn't be read. Of a word that means nothing, the name that it is nearest to.
std::string explain(const CLI::App& app, const CLI::ParseError& error);
} // namespace client
