// Letters as strokes of a pen, drawn smooth at any size.
#pragma once
#include <functional>
#include <string>

namespace client::spectra {
constexpr double cap_height = 8, x_height = 6; // in units; a unit is a pixel at scale 1

// Units that a line of text is wide.
double text_width(const std::string& text);

// Calls dot for each pixel that the line of text covers, with how much of it, 0 to 1. x and y are the pixel
// in which the first letter's lower left corner lies. Bytes outside printable ASCII show as a box.
using Dot = std::function<void(int x, int y, double cover)>;
void draw_text(const std::string& text, double x, double y, double scale, const Dot& dot);
} // namespace client::spectra
