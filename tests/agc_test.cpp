// Gain control against the formula, to the bit, and in any pieces.
#include "reference/agc.h"
#include "support/signals.h"
#include <gtest/gtest.h>
#include <zovek/agc.h>

namespace {
using test::noise, test::same;

struct Settings {
    const char* name;
    double fall, rise, cutoff, target16, target32, rate, gain, envelope;
};
const Settings all_settings[] = {
    {"defaults", 1e-4, 1e-4, 200, 30000, 1.5e9, 44100, 1, 0},
    {"unequal", 0.01, 0.0003, 500, 12000, 6e8, 8000, 0.7, 300},
    {"fast", 0.5, 0.25, 3999, 32767, 2147483647, 8000, 3, 1},
    {"overshooting", 1.9, 1.2, 20, 400, 2e7, 48000, 1, 5e4},
    {"saturating", 1e-3, 1e-3, 100, 3e6, 1e12, 96000, 1e4, 1},
    {"frozen_at_huge_gain", 0, 0, 200, 30000, 30000, 44100, 1e15, 1},
};

// Bursts: full scale, a slow swell, near silence, zeros.
template <class Sample>
std::vector<Sample> bursts(size_t count, uint32_t seed)
{
    auto x = noise<Sample>(count, seed);
    for (size_t k = 0; k < count; ++k) {
        const size_t part = k * 8 / count;
        if (part % 4 == 1) x[k] = Sample(x[k] * (1 + std::sin(double(k) / 500)) / 2.1);
        if (part % 4 == 2) x[k] = Sample(x[k] >> (sizeof(Sample) * 8 - 3));
        if (part % 4 == 3 && k % 3) x[k] = 0;
    }
    return x;
}

template <class Agc>
void set(Agc& agc, const Settings& s, bool wide)
{
    agc.gain_fall_rate = s.fall, agc.gain_rise_rate = s.rise, agc.envelope_cutoff = s.cutoff;
    agc.target_level = wide ? s.target32 : s.target16, agc.sampling_rate = s.rate;
    agc.gain = s.gain, agc.envelope = s.envelope;
}

class Agc : public testing::TestWithParam<Settings> {
protected:
    ZVAGC agc;
    reference::Agc wanted;

    void SetUp() override { ASSERT_EQ(ZVAGC_Construct(&agc), &agc); }
    void start(bool wide) { set(agc, GetParam(), wide), set(wanted, GetParam(), wide); }
    void expect_same_state()
    {
        EXPECT_EQ(agc.gain, wanted.gain);
        EXPECT_EQ(agc.envelope, wanted.envelope);
    }

    // The whole stream at once against the same in pieces of growing length.
    template <class Sample, class Process, class Model>
    void one_channel(Process process, Model model)
    {
        for (const int32_t step : {1, 2, 3}) {
            SCOPED_TRACE(step);
            start(sizeof(Sample) == 4);
            auto x = bursts<Sample>(40000, 5), y = x;
            (wanted.*model)(y, size_t(step));
            for (int32_t first = 0, length; first < int32_t(x.size()); first += length) {
                length = std::min(step * (1 + first / 7), int32_t(x.size()) - first);
                ASSERT_EQ(process(&agc, x.data() + first, length, step), &agc);
            }
            EXPECT_TRUE(same(x, y));
            expect_same_state();
        }
    }
    template <class Sample, class Process, class Model>
    void pair(Process process, Model model)
    {
        start(sizeof(Sample) == 4);
        auto l = bursts<Sample>(40000, 6), r = bursts<Sample>(40000, 7), wanted_l = l, wanted_r = r;
        (wanted.*model)(wanted_l, wanted_r);
        for (int32_t first = 0, count; first < int32_t(l.size()); first += count) {
            count = std::min(1 + first / 5, int32_t(l.size()) - first);
            ASSERT_EQ(process(&agc, l.data() + first, r.data() + first, count), &agc);
        }
        EXPECT_TRUE(same(l, wanted_l));
        EXPECT_TRUE(same(r, wanted_r));
        expect_same_state();
    }
};

TEST_P(Agc, EqualsTheFormula)
{
    one_channel<int16_t>(ZVAGC_Process_Mono16, &reference::Agc::mono16);
    one_channel<int32_t>(ZVAGC_Process_Mono32, &reference::Agc::mono32);
    pair<int16_t>(ZVAGC_Process_Stereo16, &reference::Agc::stereo16);
    pair<int32_t>(ZVAGC_Process_Stereo32, &reference::Agc::stereo32);
    start(true);
    for (const int32_t step : {1, 1, 2, 3}) {
        auto x = bursts<int32_t>(1001, 8), y = x;
        wanted.buffer_mono32(y, size_t(step));
        ASSERT_EQ(ZVAGC_ProcessBuffer_Mono32(&agc, x.data(), int32_t(x.size()), step), &agc);
        EXPECT_TRUE(same(x, y));
        expect_same_state();
    }
}
INSTANTIATE_TEST_SUITE_P(All, Agc, testing::ValuesIn(all_settings),
                         [](const auto& info) { return info.param.name; });

TEST(AgcObject, Numbers)
{
    ZVAGC* agc = ZVAGC_Construct(nullptr);
    ASSERT_TRUE(agc);
    EXPECT_EQ(agc->gain_fall_rate, 0.0001);
    EXPECT_EQ(agc->gain_rise_rate, 0.0001);
    EXPECT_EQ(agc->envelope_cutoff, 200);
    EXPECT_EQ(agc->target_level, 30000);
    EXPECT_EQ(agc->sampling_rate, 44100);
    EXPECT_EQ(agc->gain, 1);
    EXPECT_EQ(agc->envelope, 0);

    // Silence: the envelope rests at its floor and the gain goes 1e-4 of the way to the target.
    int16_t silent[1] = {};
    ZVAGC_Process_Mono16(agc, silent, 1, 1);
    EXPECT_EQ(agc->envelope, 1);
    EXPECT_DOUBLE_EQ(agc->gain, 1 + 2.9999);

    // At the target level nothing moves; a pair of zeros counts as level 1.
    ZVAGC_Reset(agc);
    EXPECT_EQ(agc->envelope, 30000);
    int16_t left[2] = {18000, 0}, right[2] = {-24000, 0};
    ZVAGC_Process_Stereo16(agc, left, right, 1);
    EXPECT_EQ(agc->gain, 1);
    EXPECT_EQ(right[0], -24000);
    ZVAGC_Process_Stereo16(agc, left + 1, right + 1, 1);
    EXPECT_DOUBLE_EQ(agc->gain, 1 + 2.9999);

    // Both ends saturate, in between a tie goes to even, and step 2 leaves every other element.
    agc->gain_fall_rate = agc->gain_rise_rate = 0;
    agc->gain = 2.5;
    int16_t buffer[6] = {20000, 20000, -20000, 7, 1, 9};
    ZVAGC_Process_Mono16(agc, buffer, 5, 2);
    EXPECT_TRUE(same<int16_t>({buffer, buffer + 6}, {32767, 20000, -32768, 7, 2, 9}));
    int32_t wide[3] = {1000000000, -1000000000, 3};
    ZVAGC_ProcessBuffer_Mono32(agc, wide, 3, 1);
    EXPECT_TRUE(same<int32_t>({wide, wide + 3}, {INT32_MAX, INT32_MIN, 8}));
    ZVAGC_Destruct(agc, 1);
    ZVAGC_Destruct(nullptr, 1);
}
} // namespace
