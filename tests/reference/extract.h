// Autocorrelation, envelope and frequency of a whole stretch, in extended precision but for the stored
// floats.
#pragma once
#include "fixed.h"
#include <algorithm>

namespace reference {
using Floats = std::vector<float>;

// Lags first_lag, first_lag + 1, ... with as many terms as lags, or as the stretch allows beyond lag j + 1.
inline Floats correlate(const Floats& x, size_t lags, size_t first_lag = 0)
{
    Floats out(lags);
    for (size_t j = 0; j < lags; ++j) {
        real sum = 0;
        for (size_t k = 0; k < std::min(lags, x.size() - j - 1); ++k)
            sum += real(x[k]) * x[k + j + first_lag];
        out[j] = to_float(std::fabs(sum));
    }
    const float largest = *std::max_element(out.begin(), out.end());
    for (float& v : out) v = largest == 0 ? 0 : to_float(real(v) / largest);
    return out;
}

inline Floats amplitude(const std::vector<int16_t>& iq)
{
    Floats out(iq.size() / 2);
    for (size_t k = 0; k < out.size(); ++k)
        out[k] = to_float(std::sqrt(real(iq[2 * k]) * iq[2 * k] + real(iq[2 * k + 1]) * iq[2 * k + 1]));
    const real lowest = *std::min_element(out.begin(), out.end()),
               highest = *std::max_element(out.begin(), out.end());
    for (float& v : out) v = highest == 0 ? 0 : to_float(v * (1 / (lowest + highest)));
    return out;
}

inline real frequency(const std::vector<int16_t>& iq, float rate, Floats& out)
{
    out.assign(iq.size() / 2, 0);
    int64_t before_i = 0, before_q = 0;
    real sum = 0;
    for (size_t k = 0; k < out.size(); ++k) {
        const int64_t i = iq[2 * k], q = iq[2 * k + 1];
        const auto cross = int32_t(before_q * i - before_i * q), power = int32_t(i * i + q * q); // wrap
        if (power != 0) out[k] = to_float(real(rate) * 0.15915494f * cross / power);
        sum += out[k];
        before_i = i, before_q = q;
    }
    const real mean = sum / real(out.size());
    for (float& v : out) v = to_float(v - mean);
    return mean;
}
} // namespace reference
