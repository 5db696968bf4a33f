// The modes of zovek decode: a row each, which ties the settings of a decoder to options of the command line.
#pragma once
#include "decoders/decoder.h"
#include "line/options.h"
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace client {
struct DataMode {
    const char* name;
    const char* help; // one line
    // The decoder that the options describe, of audio at a rate in Hz. Throws WrongUsage for options that
    // don't go together, and decoders::NotAtThisRate.
    std::function<decoders::MadeDecoder(double rate, decoders::Emit emit)> make;
    std::vector<Option> options = {};  // that it heeds, beside those of all modes
    std::optional<Option> needed = {}; // of those, what it can't do without
    bool has_frames = false;           // its messages do
    // What it wants of a station's audio, Hz; nothing: what the station's modulation usually has.
    std::function<std::optional<double>()> audio_cutoff = {};
};

// Adds the options of all modes to the command.
std::vector<DataMode> add_modes(CommandLine& line);

// The name that stands for all rows but those that lack an option they need.
constexpr const char* all_modes = "all";

// The rows of these names, in their order; each once. Throws WrongUsage if an option is given that none of
// them heeds, or one isn't that one of them needs.
std::vector<DataMode> chosen(const std::vector<DataMode>& modes, const std::vector<std::string>& names);
} // namespace client
