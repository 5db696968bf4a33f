// Pictures as PNG.
#pragma once
#include "io/destination.h"
#include "spectra/canvas.h"

namespace client::spectra {
// The picture's own rows at its depth: with a palette, as RGB or as RGBA. Fails with the reason.
void write_png(const Canvas& canvas, Destination& to);
} // namespace client::spectra
