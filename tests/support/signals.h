// Seeded signals, and a comparison that shows the first difference.
#pragma once
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

namespace test {
using Signal = std::vector<int16_t>;
using Signal32 = std::vector<int32_t>;

// Uniform over the whole range of the sample, or within +-peak.
template <class Sample = int16_t>
std::vector<Sample> noise(size_t count, uint32_t seed = 1,
                          int64_t peak = -int64_t(std::numeric_limits<Sample>::min()))
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<int64_t> value(-peak, peak - 1);
    std::vector<Sample> signal(count);
    for (Sample& v : signal) v = static_cast<Sample>(value(random));
    return signal;
}

// amplitude * cos(2 pi hz k / rate + phase), rounded.
inline Signal tone(size_t count, double hz, double rate, double amplitude, double phase = 0)
{
    Signal signal(count);
    for (size_t k = 0; k < count; ++k)
        signal[k] =
            int16_t(std::lrint(amplitude * std::cos(2 * std::numbers::pi * hz * double(k) / rate + phase)));
    return signal;
}

// Equal to the bit, or the first place where they are not.
template <class Sample>
testing::AssertionResult same(const std::vector<Sample>& got, const std::vector<Sample>& wanted)
{
    if (got.size() != wanted.size())
        return testing::AssertionFailure() << got.size() << " samples, " << wanted.size() << " wanted";
    for (size_t k = 0; k < got.size(); ++k)
        if (got[k] != wanted[k])
            return testing::AssertionFailure()
                   << "at " << k << ": " << +got[k] << ", " << +wanted[k] << " wanted";
    return testing::AssertionSuccess();
}
} // namespace test
