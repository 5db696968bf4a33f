// The correlating tone detector: every correlator and the whole object against the plain model, to the bit;
// the table in both layouts; what settings keep and clear.
#include "decode/tone_detector_corr_kernels.h"
#include "reference/tone.h"
#include "support/guarded.h"
#include "support/platform.h"
#include "support/processors.h"
#include "support/signals.h"
#include <zovek.hpp>

namespace {
using namespace test;
using namespace zv::tone_detector_corr;
constexpr uint32_t mmx = ZV_CPU_MMX;

using Tone = zovek::ToneDetectorCorr;

Tone make(uint32_t features = _CPU()->features)
{
    const OnProcessor as(0, features, zv::wider_sets);
    return Tone(ZVToneDetectorCorr16_Construct);
}

Signal run(const Tone& tone, const Signal& x)
{
    Signal out(x.size());
    ZVToneDetectorCorr16_Process_16_16(tone, x.data(), out.data(), uint32_t(x.size()), 1);
    return out;
}

// What the present settings make of a stream.
Signal wanted(const Tone& tone, const Signal& x)
{
    const auto* taps = static_cast<const int16_t*>(tone->filter->taps);
    const reference::ToneTable table(tone->tone_length, tone->sampling_rate, tone->tone_frequency);
    return reference::fir1616(Signal(taps, taps + tone->filter->taps_count), reference::tone_power(table, x));
}

std::vector<int16_t> laid_out(const reference::ToneTable& table, Layout layout)
{
    const size_t positions = table.sine.size();
    std::vector<int16_t> entries((positions + 3) / 4 * 8);
    for (size_t i = 0; i < positions; ++i) {
        entries[layout == Layout::plain ? 2 * i + 1 : i / 4 * 8 + i % 4] = table.sine[i];
        entries[layout == Layout::plain ? 2 * i : i / 4 * 8 + i % 4 + 4] = table.cosine[i];
    }
    return entries;
}

// Samples end with the slack at an unmapped page, and the slack is noise.
TEST(ToneCorrelators, EqualThePlainSums)
{
    for (const int positions : {4, 5, 7, 8, 22, 111, 441})
        for (const size_t count : {1, 31, 32, 33, 64, 127, 300}) {
            const reference::ToneTable table(float(positions - 0.5), 1, 0.21f);
            ASSERT_EQ(table.sine.size(), size_t(positions));
            const size_t history = size_t(positions) - 1;
            Signal square = tone(history + count, .21, 1, 100); // (4 / pi)^2 of full scale
            for (int16_t& v : square) v = v < 0 ? -32767 : 32767;
            for (const Signal& x : {noise(history + count), square, Signal(history + count, -32768)}) {
                Guarded<int16_t> samples(x.size() + slack);
                std::copy(x.begin(), x.end(), samples.data());
                Signal power = reference::tone_power(table, x);
                power.erase(power.begin(), power.begin() + ptrdiff_t(history));
                for (const Layout layout : {Layout::plain, Layout::groups})
                    for (const auto& row : running_here(rows(layout))) {
                        SCOPED_TRACE(testing::Message() << row.name << ' ' << positions << ' ' << count);
                        Guarded<int16_t> out(count);
                        row.kernel(laid_out(table, layout).data(), uint32_t(positions), samples.data(),
                                   out.data(), uint32_t(count));
                        EXPECT_TRUE(same(Signal(out.data(), out.data() + count), power));
                        volatile long double one = 1; // the floating-point unit is usable
                        EXPECT_EQ(one * 3 / 2, 1.5L);
                    }
            }
        }
}

TEST(ToneDetectorCorr, TheTableStandsInTheProcessorsLayout)
{
    const Signal cosines = {16384, 15435, 12699, 8493}, sines = {0, 5494, 10351, 14010};
    for (const auto& [features, layout] : {std::pair{0u, Layout::plain}, {mmx, Layout::groups}}) {
        const Tone tone = make(features);
        ASSERT_EQ(tone->tone_samples, 4u);
        const reference::ToneTable table(0.0001f, 22050, 1200);
        EXPECT_EQ(table.cosine, cosines);
        EXPECT_EQ(table.sine, sines);
        EXPECT_EQ(Signal(tone->table, tone->table + 8), laid_out(table, layout));
        // a length that is no whole group, and the stream although the record has changed since
        const OnProcessor as(0, features ^ mmx, 0);
        EXPECT_TRUE(same(run(tone, noise(2000)), wanted(tone, noise(2000))));
    }
}

// One half is added before rounding to nearest, ties to even.
TEST(ToneDetectorCorr, LengthInSamples)
{
    const Tone tone = make();
    ZVToneDetectorCorr_SamplingRate(tone, 1000);
    for (const auto& [seconds, samples] : {std::pair{.0052f, 6u},
                                           {.0054f, 6u},
                                           {.0045f, 5u},
                                           {.003f, 4u},
                                           {0.f, 4u},
                                           {.0625f, 63u},
                                           {.1105f, 111u},
                                           {4.f, 4000u},
                                           {5.f, 5000u}}) {
        ZVToneDetectorCorr_ToneLength(tone, seconds);
        EXPECT_EQ(tone->tone_samples, samples) << seconds;
    }
    ZVToneDetectorCorr_SamplingRate(tone, 1024); // exact products: 6.5 and 7.5 go to the even one
    for (const auto& [seconds, samples] : {std::pair{6 / 1024.f, 6u}, {7 / 1024.f, 8u}, {-1.f, 8u}}) {
        ZVToneDetectorCorr_ToneLength(tone, seconds); // the last asks for more than there can be
        EXPECT_EQ(tone->tone_samples, samples) << seconds;
    }
}

TEST(ToneDetectorCorr, AStreamInAnyPiecesEqualsTheModel)
{
    for (const float seconds : {.0001f, .00022f, .001f, .005f, .02f}) {
        const Tone tone = make();
        ZVToneDetectorCorr_ToneLength(tone, seconds);
        ZVToneDetectorCorr_BufferSize(tone, 100);
        const Signal both = noise(3000, 5);
        Signal x, out(1500);
        for (size_t k = 0; k < 1500; ++k) x.push_back(both[2 * k]);
        size_t at = 0;
        for (const size_t n : {1, 2, 97, 100, 101, 350, 849}) {
            ZVToneDetectorCorr16_Process_16_16(tone, &both[2 * at], &out[at], uint32_t(2 * n + 1), 2);
            at += n;
        }
        EXPECT_TRUE(same(out, wanted(tone, x))) << seconds;
    }
}

TEST(ToneDetectorCorr, ReadsThePowerOfItsTone)
{
    const Tone tone = make();
    ZVToneDetectorCorr_ToneLength(tone, 0.02f); // 24 cycles of 1200 Hz
    EXPECT_NEAR(run(tone, test::tone(2000, 1200, 22050, 32000)).back(), 31250, 100);
    EXPECT_NEAR(run(tone, test::tone(2000, 1200, 22050, 16384)).back(), 8192, 30);
    EXPECT_NEAR(run(tone, test::tone(2000, 1450, 22050, 32767)).back(), 0, 30); // 29 cycles
}

TEST(ToneDetectorCorr, WithoutOutputOneBlockIsTaken)
{
    const Tone tone = make();
    const Signal x = noise(1300);
    ZVToneDetectorCorr16_Process_16_16(tone, x.data(), nullptr, 1300, 1);
    const auto* results = static_cast<const int16_t*>(tone->filter->out_buffer);
    Signal first(x.begin(), x.begin() + 512);
    EXPECT_TRUE(same(Signal(results, results + 512), wanted(tone, first)));
    EXPECT_EQ(Signal(tone->buffer, tone->buffer + 3), Signal(x.begin() + 509, x.begin() + 512));
    ZVToneDetectorCorr16_Process_16_16(tone, nullptr, nullptr, 1, 2);
}

TEST(ToneDetectorCorr, WhatSettingsKeepAndClear)
{
    const Tone tone = make();
    ZVToneDetectorCorr_ToneFrequency(tone,
                                     1200); // the present value: the filter stays at its first cut-off
    EXPECT_EQ(tone->filter->cut_off_high, 3000);
    const auto history = [&] { return Signal(tone->buffer, tone->buffer + tone->tone_samples - 1); };
    const auto check = [&](auto set, auto value, bool keeps) {
        const Signal x = noise(700, 9), last(x.end() - ptrdiff_t(tone->tone_samples) + 1, x.end());
        run(tone, x);
        set(tone, value);
        EXPECT_EQ(history(), keeps ? last : Signal(tone->tone_samples - 1));
        EXPECT_EQ(tone->input_write, tone->buffer + tone->tone_samples - 1);
    };
    check(ZVToneDetectorCorr_ToneLength, 0.01f, false);
    check(ZVToneDetectorCorr_ToneLength, 0.010001f, true); // the same number of samples
    check(ZVToneDetectorCorr_ToneFrequency, 700.f, true);
    check(ZVToneDetectorCorr_BufferSize, 70000u, true);
    check(ZVToneDetectorCorr_SamplingRate, 8000.f, false);
    EXPECT_EQ(tone->filter->cut_off_high, 350);
    EXPECT_EQ(tone->filter->sampling_rate, 8000);
    EXPECT_EQ(tone->filter->buffer_size, 70000);
    ZVFIR_BufferSize(tone->filter, 1); // silence
    ZVFIR_BufferSize(tone->filter, 70000);
    ZVToneDetectorCorr_ToneLength(tone, 0.02f);
    EXPECT_TRUE(same(run(tone, noise(900)), wanted(tone, noise(900))));
}

// Each request for memory refused in turn: the setter does nothing until it gets all.
TEST(ToneDetectorCorr, ARefusedSettingLeavesTheStreamAsItWas)
{
    using Setter = void (*)(ZVToneDetectorCorr*);
    const Setter setters[] = {[](ZVToneDetectorCorr* t) { ZVToneDetectorCorr_BufferSize(t, 1 << 18); },
                              [](ZVToneDetectorCorr* t) { ZVToneDetectorCorr_ToneLength(t, 2); },
                              [](ZVToneDetectorCorr* t) { ZVToneDetectorCorr_SamplingRate(t, 5e8f); }};
    for (const Setter set : setters) {
        const Tone tone = make();
        const auto settings = [&] {
            return std::tuple{tone->buffer_size,   tone->tone_samples,        tone->tone_length,
                              tone->sampling_rate, tone->filter->buffer_size, tone->filter->sampling_rate};
        };
        const auto before = settings();
        const Signal x = noise(4000);
        Signal y;
        int granted = 0;
        for (;; ++granted) {
            ASSERT_LT(granted, 5);
            const Refusing refusing(granted);
            set(tone);
            if (settings() != before) break;
            const Signal piece(x.begin() + 700 * granted, x.begin() + 700 * (granted + 1)),
                out = run(tone, piece);
            y.insert(y.end(), out.begin(), out.end());
        }
        EXPECT_GE(granted, 2);
        const Tone other = make();
        EXPECT_TRUE(same(y, wanted(other, Signal(x.begin(), x.begin() + ptrdiff_t(y.size())))));
    }
}
} // namespace
