#include "spectra/palette.h"
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>
#include <zovek/color.h>

namespace client::spectra {
namespace {
struct Lab {
    double l, a, b;
};
struct Rgb {
    double r, g, b; // linear, 0 to 1 inside sRGB
    bool inside() const { return std::min({r, g, b}) >= 0 && std::max({r, g, b}) <= 1; }
};

Rgb to_linear(const Lab& lab)
{
    const auto cone = [&](double a, double b) { return std::pow(lab.l + a * lab.a + b * lab.b, 3); };
    const double l = cone(0.3963377774, 0.2158037573), m = cone(-0.1055613458, -0.0638541728),
                 s = cone(-0.0894841775, -1.2914855480);
    return {4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
            -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
            -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s};
}

uint32_t pack(const Rgb& colour)
{
    const auto byte = [](double v) { // the transfer curve of sRGB, IEC 61966-2-1
        v = std::clamp(v, 0.0, 1.0);
        return uint32_t(
            std::lround(255 * (v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055)));
    };
    return byte(colour.r) << 16 | byte(colour.g) << 8 | byte(colour.b);
}

Lab on_path(double t)
{
    const double l = 0.16 + 0.81 * t, hue = (270 + 195 * t) * std::numbers::pi / 180;
    double chroma = 0.22 * std::sin(std::numbers::pi * (0.08 + 0.84 * t));
    const auto at = [&](double c) { return Lab{l, c * std::cos(hue), c * std::sin(hue)}; };
    while (!to_linear(at(chroma)).inside()) chroma -= 0.0005;
    return at(chroma);
}

// Colours equally far apart along the path.
std::vector<uint32_t> stops(size_t count)
{
    constexpr int fine = 1000;
    std::vector<double> length(fine + 1);
    Lab last = on_path(0);
    for (int k = 1; k <= fine; ++k) {
        const Lab here = on_path(k / double(fine));
        length[size_t(k)] =
            length[size_t(k - 1)] + std::hypot(here.l - last.l, here.a - last.a, here.b - last.b);
        last = here;
    }
    std::vector<uint32_t> colours;
    for (size_t k = 0; k < count; ++k) {
        const double wanted = length.back() * double(k) / double(count - 1);
        const auto place = std::lower_bound(length.begin(), length.end(), wanted) - length.begin();
        colours.push_back(pack(to_linear(on_path(double(place) / fine))));
    }
    return colours;
}

constexpr uint32_t paper_colour = 0x0e1217;
constexpr uint32_t ink_colours[inks] = {0xe8ecf0, 0x98a4b0, 0x9fb2c4, 0x7fe0d0, 0xffc861, 0x5f88c8};
} // namespace

uint8_t level_colour(double part)
{
    if (!(part > 0)) return 0; // what is no number neither
    return uint8_t(std::min(std::min(part, 1.0) * ramp_colours, ramp_colours - 1.0));
}

Palette make_palette()
{
    Palette palette;
    constexpr int between = 10;
    const auto colours = stops((ramp_colours - 1) / between + 2);
    for (int k = 0; k < ramp_colours; ++k)
        palette[size_t(k)] = ColorInterpolate(colours[size_t(k / between)], colours[size_t(k / between) + 1],
                                              between, k % between);
    for (int ink = 0; ink < inks; ++ink)
        for (int cover = 0; cover < ink_shades; ++cover)
            palette[shade(Ink(ink), cover)] =
                ColorInterpolate(paper_colour, ink_colours[ink], ink_shades - 1, cover);
    return palette;
}
} // namespace client::spectra
