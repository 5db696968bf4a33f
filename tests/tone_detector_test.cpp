// The tone detector against the plain model to the bit, and what a client sees of it.
#include "reference/tone.h"
#include "support/signals.h"
#include <gtest/gtest.h>
#include <zovek/tone_detector.h>

namespace {
using namespace test;

void expect_same(const ZVToneDetector& tone, const reference::ToneDetector& model)
{
    EXPECT_EQ(tone.input_level, model.input_level);
    EXPECT_EQ(tone.tone_level, model.tone_level);
    EXPECT_EQ(tone.x1, model.x1);
    EXPECT_EQ(tone.x2, model.x2);
    EXPECT_EQ(tone.y1, model.y1);
    EXPECT_EQ(tone.y2, model.y2);
}

// Integers and reals in turn through one filter, in pieces, every third element, with an unfinished step left
// over.
TEST(ToneDetector, EqualsTheModelThroughSettingsAndPieces)
{
    ZVToneDetector tone;
    ZVToneDetector_Construct(&tone);
    for (const auto& [rate, hz, band] :
         {std::tuple{44100., 1000., 10.}, {8000., 1850.5, 33.}, {48000., 23000., 500.}}) {
        ZVToneDetector_SamplingRate(&tone, rate);
        ZVToneDetector_Frequency(&tone, hz);
        ZVToneDetector_Bandwidth(&tone, band);
        reference::ToneDetector model = {.sampling_rate = rate, .frequency = hz, .bandwidth = band};
        for (const size_t length : {1, 2, 997}) {
            Signal in = noise(3 * length + 2, uint32_t(length)), taken;
            in[0] = -32768;
            for (size_t k = 0; k < length; ++k) taken.push_back(in[3 * k]);
            ZVToneDetector_Process_16(&tone, in.data(), uint32_t(in.size()), 3);
            model.process(taken);
            const std::vector<double> reals(taken.rbegin(), taken.rend());
            ZVToneDetector_Process_double(&tone, reals.data(), uint32_t(reals.size()), 1);
            model.process(reals);
            expect_same(tone, model);
        }
        ZVToneDetector_Process_16(&tone, nullptr, 2, 3);
        expect_same(tone, model);
    }
}

TEST(ToneDetector, ReadsOneAtItsToneAndLittleBeside)
{
    for (const auto& [hz, ratio, within] :
         {std::tuple{1000., 1.0, 1e-3}, {1005., .69, 5e-3}, {1010., .43, 5e-3}, {1100., .05, 5e-3}}) {
        ZVToneDetector tone;
        ZVToneDetector_Construct(&tone);
        const Signal x = test::tone(44100, hz, 44100, 10000);
        ZVToneDetector_Process_16(&tone, x.data(), uint32_t(x.size()), 1); // settles
        const double y1 = tone.y1;
        ZVToneDetector_Init(&tone);
        EXPECT_EQ(tone.input_level, 0);
        EXPECT_EQ(tone.tone_level, 0);
        EXPECT_EQ(tone.y1, y1);
        ZVToneDetector_Process_16(&tone, x.data(), uint32_t(x.size()), 1); // whole cycles: the tone goes on
        EXPECT_NEAR(tone.tone_level / tone.input_level, ratio, within) << hz;
    }
}

TEST(ToneDetector, ANewValueStartsAnewAndThePresentOneDisturbsNothing)
{
    using Setter = void (*)(ZVToneDetector*, double);
    ZVToneDetector tone;
    ZVToneDetector_Construct(&tone);
    const Signal x = noise(100);
    for (const auto& [set, value] : {std::pair<Setter, double>{ZVToneDetector_SamplingRate, 8000},
                                     {ZVToneDetector_Frequency, 700},
                                     {ZVToneDetector_Bandwidth, 20}}) {
        ZVToneDetector_Process_16(&tone, x.data(), 100, 1);
        const double a0 = tone.a0;
        set(&tone, value);
        EXPECT_NE(tone.a0, a0);
        for (const double cleared : {tone.x1, tone.x2, tone.y1, tone.y2, tone.input_level, tone.tone_level})
            EXPECT_EQ(cleared, 0);
        ZVToneDetector_Process_16(&tone, x.data(), 100, 1);
        const ZVToneDetector before = tone;
        set(&tone, value);
        EXPECT_EQ(tone.y1, before.y1);
        EXPECT_EQ(tone.tone_level, before.tone_level);
    }
}
} // namespace
