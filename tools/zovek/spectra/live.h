// A waterfall in the terminal, as the signal comes.
#pragma once
#include "spectra/picture_options.h"

namespace client::spectra {
// Draws until the signal ends or a stop is asked for, at most 20 rows a second. Levels in dBFS; those left
// open follow the signal. Returns the exit status.
int draw_live(const PictureOptions& options);
} // namespace client::spectra
