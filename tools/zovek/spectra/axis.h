// Scales: values to pixels, and ticks at round numbers.
#pragma once
#include <cmath>
#include <string>
#include <vector>

namespace client::spectra {
// pixels pixels from first on share the values from low to high equally.
struct Axis {
    double low, high;
    int first, pixels;

    double position(double value) const { return (value - low) / (high - low) * pixels; }
    int place(double value) const { return first + int(std::floor(position(value))); }
    bool holds(double value) const { return value >= low && value < high; }
};

struct Tick {
    double value;
    std::string label; // empty between the labelled ones
};

// 1, 2 or 5 times a power of ten, so that at most that many steps make the range.
double round_step(double range, double most);

struct Ticks {
    std::vector<Tick> ticks;
    std::string unit;
};
// Labelled ticks about so many pixels apart, with four or five steps between them.
Ticks plain_ticks(const Axis& axis, double apart, const char* unit = ""); // the values themselves
Ticks frequency_ticks(const Axis& axis, double apart);                    // Hz, in Hz, kHz or MHz
Ticks time_ticks(const Axis& axis, double apart); // s; from two minutes on as 1:30 or 1:01:30

// A frequency in the unit that suits it: "14.25 kHz".
std::string frequency_text(double hz);
} // namespace client::spectra
