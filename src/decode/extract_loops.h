// Envelope and frequency in loops that the compiler turns into vectors of the set of the function that they
// are inlined into. All sets store the same bits.
#pragma once
#include "core/real.h"
#include "core/ties.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

namespace zv::extract {
// ---- Envelope ----
constexpr uint32_t block = 4096;

// I^2 + Q^2, at most 2^31.
static ZV_INLINE uint32_t power_at(const int16_t* pair)
{
    return uint32_t(pair[0] * pair[0]) + uint32_t(pair[1] * pair[1]);
}

// The root of an integer below 2^31 lies no nearer than 2^-50 of itself to a tie between floats, so rounding
// it to double before changes nothing. As signed integers 2^31 alone is negative.
static ZV_INLINE float root_of(uint32_t power)
{
    return static_cast<float>(std::sqrt(std::fabs(double(int32_t(power)))));
}

// Sum of up to 4096 values. Scaled amplitudes are 0 or at least 2^-17.5, so they are multiples of 2^-41, and
// their sum up to 2^12 is exact in any order.
static ZV_INLINE double sum_of(const float* values, uint32_t count)
{
    double sums[4] = {};
    size_t k = 0;
    for (; k + 4 <= count; k += 4)
        for (size_t n = 0; n < 4; ++n) sums[n] += values[k + n];
    for (; k < count; ++k) sums[0] += values[k];
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

static ZV_INLINE long double amplitude_of(const int16_t* in, float* out, uint32_t count)
{
    uint32_t lowest = UINT32_MAX, highest = 0;
    for (uint32_t k = 0; k < count; ++k) {
        const uint32_t power = power_at(in + 2 * size_t(k));
        lowest = std::min(lowest, power);
        highest = std::max(highest, power);
        out[k] = root_of(power);
    }
    if (highest == 0) return 0;
    const double scale = 1 / (double(as_float(root_of(lowest))) + as_float(root_of(highest)));
    extended sum = 0;
    for (uint32_t start = 0; start < count; start += block) {
        const uint32_t size = std::min(block, count - start);
        for (uint32_t k = start; k < start + size; ++k) out[k] = static_cast<float>(out[k] * scale);
        sum += sum_of(out + start, size);
    }
    return sum / count;
}

// ---- Frequency ----
constexpr uint32_t piece = 64; // short, so that the sum over one runs beside the divisions of the next

// Q' I - I' Q with (I', Q') the pair before: neither the products nor the difference leave 32 bits.
static ZV_INLINE int32_t cross_at(const int16_t* pair) { return pair[-1] * pair[0] - pair[-2] * pair[1]; }

// Frequencies of count pairs, at most piece, the first of which has another before it. A power of 0 has a
// cross product of 0, so 1 may stand for it. A product and a quotient, each rounded, leave a double 2 units
// off at most.
static ZV_INLINE void frequencies_of(const int16_t* in, float* out, uint32_t count, double scale)
{
    alignas(64) double hz[piece];
    for (size_t k = 0; k < count; ++k) {
        const auto power = static_cast<int32_t>(power_at(in + 2 * k));
        hz[k] = scale * cross_at(in + 2 * k) / (power + (power == 0));
    }
    int64_t doubt = 0;
    for (size_t k = 0; k < count; ++k) {
        out[k] = static_cast<float>(hz[k]);
        doubt |= ties::doubt<ties::float_drops>(std::bit_cast<uint64_t>(hz[k]), 4);
    }
    if (doubt >= 0) return;
    for (size_t k = 0; k < count; ++k) {
        const auto power = static_cast<int32_t>(power_at(in + 2 * k));
        if (power != 0) out[k] = static_cast<float>(extended(scale) * cross_at(in + 2 * k) / power);
    }
}
} // namespace zv::extract
