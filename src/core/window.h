// Cosine windows as functions of a phase in radians over one period of the window (F. J. Harris, "On the use
// of windows for harmonic analysis with the discrete Fourier transform", 1978). The peak is 1; the mean is
// the first coefficient.
#pragma once
#include "core/real.h"

namespace zv::window {
// Of spectra, by the phase from the peak. Written in whole numbers, so that the ends come out exact.
inline extended hann(extended phase) { return (1 + cosl(phase)) / 2; }
inline extended hamming(extended phase) { return (27 + 23 * cosl(phase)) / 50; } // 0.54, 0.46
inline extended blackman(extended phase)
{
    return (21 + 25 * cosl(phase) + 4 * cosl(2 * phase)) / 50;
} // 0.42, 0.5, 0.08

// Of filters, with the coefficients in decimals, and the Blackman window by the phase from its end. Its last
// bits differ from those above, and show in a design's taps: neither can stand in for the other.
inline extended hamming_of_taps(extended from_peak) { return 0.54L + 0.46L * cosl(from_peak); }
inline extended blackman_of_taps(extended from_end)
{
    return 0.42L - 0.5L * cosl(from_end) + 0.08L * cosl(2 * from_end);
}
} // namespace zv::window
