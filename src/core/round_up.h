// Sizes and addresses brought up to whole units.
#pragma once
#include <cstdint>

namespace zv {
// The smallest multiple of unit, a power of two, that isn't below value; modulo the range of T.
template <uint32_t unit, class T>
constexpr T round_up(T value)
{
    static_assert(unit != 0 && (unit & (unit - 1)) == 0);
    return (value + T(unit - 1)) & ~T(unit - 1);
}

// To 64 bytes, a cache line and the widest vector: where the parts of a block start.
constexpr auto to_line(auto bytes) { return round_up<64>(bytes); }
} // namespace zv
