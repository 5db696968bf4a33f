// The modes of zovek decode: a row each, which ties the settings of a decoder to options of the command line.
#pragma once
#include "decoders/decoder.h"
#include "line/options.h"
#include <functional>
#include <string>
#include <vector>

namespace client {
struct DataMode {
    const char* name;
    const char* help; // one line
    // The decoder that the options describe, of audio at a rate in Hz. Throws WrongUsage for options that
    // don't go together, and decoders::NotAtThisRate.
    std::function<decoders::MadeDecoder(double rate, decoders::Emit emit)> make;
    std::vector<Option> options = {}; // that it heeds, beside those of all modes
};

// Adds the options of all modes to the command.
std::vector<DataMode> add_modes(CommandLine& line);

// The rows of these names, in their order; each once. Throws WrongUsage if an option is given that none of
// them heeds.
std::vector<DataMode> chosen(const std::vector<DataMode>& modes, const std::vector<std::string>& names);
} // namespace client
