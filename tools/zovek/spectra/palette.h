// The colours of a picture: a ramp for levels, even to the eye, and a few inks in shades for all else.
//
// The ramp is a path through OKLab (Ottosson, A perceptual color space for image processing, 2020), in polar
// form: with t from 0 to 1, lightness 0.16 + 0.81 t, hue 270 to 465 degrees (blue, violet, red, orange,
// yellow), and chroma 0.22 sin(pi (0.08 + 0.84 t)), less where sRGB ends. Its stops are equally far apart
// along the path, and ColorInterpolate fills in between them: equal steps of level look equally large, also
// to eyes that see no hue.
#pragma once
#include <array>
#include <cstdint>

namespace client::spectra {
constexpr int ramp_colours = 160, ink_shades = 16;

enum class Ink { text, dim, grid, mark, trace, hold };
constexpr int inks = 6;

// An ink in shades: 0 is the paper, 15 the ink.
constexpr uint8_t shade(Ink ink, int cover) { return uint8_t(ramp_colours + int(ink) * ink_shades + cover); }
constexpr uint8_t paper = shade(Ink::text, 0);
// A part of the ramp, 0 to 1; others are cut.
uint8_t level_colour(double part);

// 0xRRGGBB of each index: the ramp, then the inks.
using Palette = std::array<uint32_t, ramp_colours + inks * ink_shades>;
static_assert(std::tuple_size_v<Palette> == 256);
Palette make_palette();
} // namespace client::spectra
