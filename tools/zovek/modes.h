// The modes of zovek decode: the decoders' table with an option for each setting.
#pragma once
#include "decoders/modes.h"
#include "line/options.h"
#include <string>
#include <vector>

namespace client {
struct DataMode : decoders::Mode {
    std::vector<Option> options = {}; // by settings; modes share those of one name
};

// Adds the options of all modes to the command.
std::vector<DataMode> add_modes(CommandLine& line);

// A text of the table as this command says it: settings are options.
std::string spelled(const std::string& text);

// The name that stands for all rows but those that lack an option they need.
constexpr const char* all_modes = "all";

// The rows of these names, in their order; each once. Throws WrongUsage if an option is given that none of
// them heeds, or one isn't that one of them needs.
std::vector<DataMode> chosen(const std::vector<DataMode>& modes, const std::vector<std::string>& names);
} // namespace client
