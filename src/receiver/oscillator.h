// The local oscillator: one cycle as a table of Fs pairs, so an index step of 1 is 1 Hz and any whole frequency
// is exact for ever.
#pragma once
#include "core/real.h"
#include <cstdint>

namespace zv::oscillator {
// A unit vector turned clockwise, exp(-j 2 pi k / Fs), scaled by 2147483600 (below 2^31, so that no product
// with a sample leaves its width).
struct Turn {
    int32_t c, s;
};
inline constexpr extended scale = 2147483600;

// The angle is a running sum in extended precision.
inline void fill(Turn* table, int32_t rate)
{
    const extended step = 2 * pi / rate;
    extended angle = 0;
    for (int32_t k = 0; k < rate; ++k, angle += step)
        table[k] = {to_nearest32(scale * cosl(angle)), to_nearest32(-scale * sinl(angle))};
}

// A place in the table that moves on by a fixed frequency.
class Phase {
    int32_t place_, step_, cycle_;

public:
    // hz may be anything; a place past the cycle, left from a longer table, is read once as it is.
    Phase(int32_t place, int64_t hz, int32_t cycle) : place_(place), cycle_(cycle)
    {
        step_ = static_cast<int32_t>(hz % cycle);
        if (step_ < 0) step_ += cycle;
    }
    int32_t place() const { return place_; }
    void advance()
    {
        const int64_t next = int64_t(place_) + step_;
        place_ = static_cast<int32_t>(next < cycle_ ? next : next % cycle_);
    }
};
} // namespace zv::oscillator
