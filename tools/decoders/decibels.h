// Levels in dB.
#pragma once
#include <cmath>

namespace decoders {
inline double decibels(double power) { return 10 * std::log10(power); }
// Of one power over another, where either may be nothing.
inline double decibels_over(double power, double other)
{
    return decibels((power + 1e-15) / (other + 1e-15));
}
// A signal-to-noise ratio in 3 kHz, from one in another bandwidth, Hz.
inline double snr_in_3k(double ratio, double bandwidth) { return decibels(ratio * bandwidth / 3000); }
// To a tenth, as levels are told.
inline double tenth(double value) { return std::round(value * 10) / 10; }
} // namespace decoders
