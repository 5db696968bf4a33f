// The notch, and the second-order section that runs it or what it takes away.
#pragma once
#include "core/real.h"

namespace zv {
// Zeros on the unit circle at the frequency, poles just inside it: R, C and K of zovek/notch_filter.h.
struct Notch {
    extended radius, cosine, gain;

    Notch(extended fs, extended frequency, extended bandwidth)
        : radius(1 - 3 * bandwidth / fs),
          cosine(cosl(2 * pi * frequency / fs)),
          gain((1 - 2 * radius * cosine + radius * radius) / (2 - 2 * cosine))
    {
    }
    extended b1() const { return 2 * radius * cosine; }
    extended b2() const { return -radius * radius; }
};

// y = a0 x + a1 x' + a2 x'' + b1 y' + b2 y'', summed in extended precision; y' is rounded to the width of
// State.
template <class Factor, class State>
struct Section {
    Factor a0, a1, a2, b1, b2;
    State x1, x2, y1, y2;

    // The recurrence is as fast as one product, one sum and one rounding follow each other: the product with
    // y1 is taken last.
    extended step(State x)
    {
        const extended y =
            extended(a2) * x2 + extended(a1) * x1 + extended(a0) * x + extended(b2) * y2 + extended(b1) * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        if constexpr (sizeof(State) == sizeof(double)) // on x86-64 the faster way, for float the slower
            y1 = as_double(y);
        else
            y1 = static_cast<State>(y);
        return y;
    }
    template <class Record>
    void store(Record& record) const
    {
        record.x1 = x1;
        record.x2 = x2;
        record.y1 = y1;
        record.y2 = y2;
    }
};
} // namespace zv
