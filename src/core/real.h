// Real arithmetic by name. Between loads and stores a real computation runs in extended precision (80 bits);
// it is rounded where a field or a named argument has float or double width.
#pragma once
#include "core/fixed.h"
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

namespace zv {
using extended = long double;

constexpr extended pi = std::numbers::pi_v<extended>;

// Rounded to the width of a field by way of memory, so that x87 code keeps no spare bits.
inline double as_double(extended x)
{
    auto field = static_cast<double>(x);
    asm("" : "+m"(field));
    return field;
}
inline float as_float(extended x)
{
    auto field = static_cast<float>(x);
    asm("" : "+m"(field));
    return field;
}

// To nearest, ties to even. A value out of the range, or not a number, gives the most negative one.
template <class Int>
inline Int to_nearest(extended x)
{
    const int64_t r = llrintl(x);
    return r == Int(r) ? Int(r) : std::numeric_limits<Int>::min();
}
inline int64_t to_nearest64(extended x) { return llrintl(x); }
inline int32_t to_nearest32(extended x) { return to_nearest<int32_t>(x); }
inline int16_t to_nearest16(extended x) { return to_nearest<int16_t>(x); }

// To nearest through an integer of twice the width, then saturated. A value that the wider integer can't hold
// gives the most negative value there, and so here.
inline int16_t saturated16(extended x) { return sat16(to_nearest32(x)); }
inline int32_t saturated32(extended x) { return sat32(to_nearest64(x)); }

// Calls store(k, cos, sin) for count angles, from 0 on by step: the angle is a running sum, and what is made
// of it shows that sum's drift.
template <class Count, class Store>
void turn_by(extended step, Count count, Store store)
{
    extended angle = 0;
    for (Count k = 0; k < count; ++k, angle += step) store(k, cosl(angle), sinl(angle));
}
} // namespace zv
