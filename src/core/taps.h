// The taps of FIR filter and resampler: how many, and what becomes of a designed one.
#pragma once
#include "core/real.h"
#include <algorithm>

namespace zv {
// So many as a filter gets that is asked for taps: an odd count, with a middle, of at least 3.
constexpr int32_t odd_taps(int32_t taps) { return std::max(taps, 3) | 1; }

// The largest tap for v >= 1, the most negative for v < -1 and what is no number, else v * (2^15 - 1) or
// v * (2^31 - 1) to nearest.
template <class Tap>
Tap quantised(double v)
{
    using Range = std::numeric_limits<Tap>;
    return v >= 1 ? Range::max() : v < -1 ? Range::min() : to_nearest<Tap>(extended(v) * Range::max());
}
} // namespace zv
