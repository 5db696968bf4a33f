// A waterfall in the terminal, as the signal comes.
#pragma once
#include "spectra/analysis.h"

namespace client::spectra {
// Draws until the signal ends or a stop is asked for, at most 20 rows a second. Levels in dBFS; those left
// open follow the signal. Returns the exit status.
int draw_live(const AnalysisOptions& options, std::optional<double> floor, std::optional<double> ceiling);
} // namespace client::spectra
