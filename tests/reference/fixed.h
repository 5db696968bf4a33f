// Conversions between reals and integers, and the 16- and 32-bit sample formats.
// Reals are extended (long double) between loads and stores. Integer casts wrap.
#pragma once
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>
#include <vector>

namespace reference {
using real = long double;
inline constexpr real pi = std::numbers::pi_v<real>;

// A real rounded to a narrower field; through memory, so that x87 keeps no spare bits.
inline float to_float(real v)
{
    volatile float field = static_cast<float>(v);
    return field;
}
inline double to_double(real v)
{
    volatile double field = static_cast<double>(v);
    return field;
}

// To nearest, ties to even; out of range or not a number gives the most negative value.
template <class Int>
Int plain(real v)
{
    using Limits = std::numeric_limits<Int>;
    v = std::nearbyint(v);
    return v >= real(Limits::min()) && v <= real(Limits::max()) ? Int(v) : Limits::min();
}

// Plain conversion to twice the width, then the nearer end of the range.
template <class Int>
Int saturate(real v)
{
    using Wide = std::conditional_t<sizeof(Int) == 2, int32_t, int64_t>;
    using Limits = std::numeric_limits<Int>;
    const Wide wide = plain<Wide>(v);
    return wide > Limits::max() ? Limits::max() : wide < Limits::min() ? Limits::min() : Int(wide);
}

// A 32-bit sample carries the 16-bit one in its upper half.
inline int32_t left_justified(int16_t v) { return int32_t(v) * 65536; }
inline int16_t top16(int32_t v) { return int16_t(v >> 16); }

// Sample k of a stream; k < 0 lies in the past, and before that is silence.
template <class Sample>
Sample sample_at(const std::vector<Sample>& x, const std::vector<Sample>& past, ptrdiff_t k)
{
    if (k >= 0) return x[size_t(k)];
    k += ptrdiff_t(past.size());
    return k >= 0 ? past[size_t(k)] : Sample(0);
}
} // namespace reference
