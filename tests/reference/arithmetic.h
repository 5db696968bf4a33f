// Exponential, decimal logarithm, magnitude and population count.
#pragma once
#include "fixed.h"

namespace reference {
// a + b rounded toward zero, for a positive sum: the error of the nearest sum (Knuth's
// two-sum) tells whether it lies too high.
inline real add_toward_zero(real a, real b)
{
    const real sum = a + b, part = sum - a;
    const real error = (a - (sum - part)) + (b - part);
    return error < 0 ? std::nextafter(sum, real(0)) : sum;
}

// e^x = 2^n 2^f with t = x log2(e), n = t toward zero, f = t - n. Past the range: infinity or 0.
inline real exp_double(double x)
{
    const real t = x * std::numbers::log2e_v<real>;
    if (std::fabs(t) > 20000) return t > 0 ? std::numeric_limits<real>::infinity() : 0;
    const real n = std::trunc(t), f = t - n;
    const real less_one = std::expm1(f * std::numbers::ln2_v<real>); // 2^f - 1, exact near f = 0
    return std::isnan(t) ? t : std::ldexp(add_toward_zero(less_one, 1), int(n));
}
inline real exp_float(float x) { return exp_double(x); }

// log10(x) = log10(2) log2(x)
inline real log10(real x) { return std::log2(x) * (std::numbers::ln2_v<real> / std::numbers::ln10_v<real>); }

// sqrt(i^2 + q^2), no saturation: above 32767 comes -32768
inline int16_t magnitude(int16_t i, int16_t q)
{
    return plain<int16_t>(std::sqrt(real(i) * i + real(q) * q));
}

inline int32_t one_bits(uint64_t value)
{
    int32_t count = 0;
    for (; value; value >>= 1) count += int32_t(value & 1);
    return count;
}
} // namespace reference
