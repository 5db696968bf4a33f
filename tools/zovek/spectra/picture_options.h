// What the commands that draw have in common: what they look at, where the picture goes and how it looks.
#pragma once
#include "spectra/analysis.h"
#include "spectra/marks.h"
#include <optional>
#include <string>

namespace client::spectra {
struct PictureOptions {
    AnalysisOptions analysis;
    std::string output; // empty: none; - is standard output
    std::vector<Mark> marks;
    std::optional<double> floor, ceiling; // dBFS
    std::string title;                    // empty: the file's name
    int width, height;                    // pixels, at most, without the margins
    int depth = 8;                        // bits
    bool json = false;
};

// All but --json.
void add_picture_options(CommandLine& line, PictureOptions& options);
// Fails if they don't go together, or if one is given that tells of a picture and none is asked for; more
// names more of these.
void check_picture_options(const CommandLine& line, const PictureOptions& options,
                           std::vector<std::string> more = {});
} // namespace client::spectra
