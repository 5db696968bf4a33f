// Cosine windows as functions of the phase from their peak, in radians over one period of the window (F. J.
// Harris, "On the use of windows for harmonic analysis with the discrete Fourier transform", 1978). The
// peak is 1; the mean is the first coefficient. Written in whole numbers, so that the ends come out exact.
#pragma once
#include "core/real.h"

namespace zv::window {
inline extended hann(extended phase) { return (1 + cosl(phase)) / 2; }
inline extended hamming(extended phase) { return (27 + 23 * cosl(phase)) / 50; } // 0.54, 0.46
inline extended blackman(extended phase)
{
    return (21 + 25 * cosl(phase) + 4 * cosl(2 * phase)) / 50;
} // 0.42, 0.5, 0.08
} // namespace zv::window
