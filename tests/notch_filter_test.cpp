// The notch filter against the plain model to the bit, and as a filter: what it takes out, what it leaves.
#include "reference/notch_filter.h"
#include "support/signals.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <zovek/notch_filter.h>

namespace {
using namespace test;

Signal filtered(ZVNotchFilter2& filter, Signal x)
{
    ZVNotchFilter2_Process16(&filter, x.data(), int32_t(x.size()));
    return x;
}

TEST(NotchFilter, EqualsTheModelWhileItIsMoved)
{
    ZVNotchFilter2 filter;
    ZVNotchFilter2_Construct(&filter);
    reference::NotchFilter model;
    int step = 0;
    for (const float hz : {3000.f, 50.f, 5512.f, 1000.f, 2750.f}) {
        filter.frequency = model.frequency = hz;
        filter.bandwidth = model.bandwidth = hz / 7;
        filter.sampling_rate = model.sampling_rate = step % 2 ? 44100.f : 11025.f;
        Signal x = noise(997, uint32_t(++step)),
               y = filtered(filter, x); // full scale: overshoot wraps in both
        model.process(x);
        ASSERT_TRUE(same(y, x)) << hz;
        EXPECT_EQ(filter.y1, model.y1);
    }
}

TEST(NotchFilter, TakesItsToneOutAndLeavesTheRest)
{
    ZVNotchFilter2 filter;
    ZVNotchFilter2_Construct(&filter);
    const Signal gone = filtered(filter, tone(4000, 3000, 11025, 20000));
    for (size_t k = 3000; k < gone.size(); ++k) ASSERT_LE(std::abs(gone[k]), 1) << k;

    const Signal level = filtered(filter, Signal(4000, 12345)); // gain 1 at 0 Hz
    EXPECT_EQ(level.back(), 12345);
    const Signal kept = filtered(filter, tone(4000, 600, 11025, 10000));
    double power = 0;
    for (size_t k = 2000; k < kept.size(); ++k) power += double(kept[k]) * kept[k] / 2000;
    EXPECT_NEAR(10 * std::log10(power / 5e7), 0, 0.5); // dB
}
} // namespace
