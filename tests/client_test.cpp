// The client's pure parts: numbers as users write them, and the frequency plan of each mode.
#include "io/timeline.h"
#include "io/tuned.h"
#include "line/failure.h"
#include "radio/plan.h"
#include "words/time_of_day.h"
#include "words/words.h"
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <zovek/demodulator.h>

using namespace client;
using namespace words;

TEST(Quantity, TakesDecimalsAndSuffixes)
{
    const std::pair<const char*, double> good[] = {{"48k", 48e3}, {"14.25k", 14250}, {"2.4M", 2.4e6},
                                                   {"1e3", 1000}, {"-6", -6},        {"0", 0},
                                                   {".5K", 500},  {"+1", 1}};
    for (const auto& [text, value] : good)
        EXPECT_DOUBLE_EQ(parse_quantity(text).value_or(NAN), value) << text;
    for (const char* text :
         {"", "k", "nan", "inf", "-inf", "1e999", "48 k", "48kk", "4m", "0x10", "1,5", "+-1", "4kHz"})
        EXPECT_FALSE(parse_quantity(text)) << text;
    for (const char* text :
         {"4.5k", "4500", "4.5kHz", "4.5 kHz", "4.5KHZ", "4500hz", "+4500 Hz", "0.0045MHz"})
        EXPECT_DOUBLE_EQ(parse_quantity(text, "Hz").value_or(NAN), 4500) << text;
    for (const char* text : {"Hz", "4.5kk Hz", "4.5k  Hz", "4,5kHz", "4.5 k", "4.5kHzz", "4.5ks", "4500 "})
        EXPECT_FALSE(parse_quantity(text, "Hz")) << text;
}

TEST(TimeOfDay, ReadsAndWrites)
{
    const std::pair<const char*, const char*> good[] = {
        {"2026-11-23T18:05:07.25Z", "2026-11-23T18:05:07.250Z"},
        {"2024-02-29 23:30:00+01:00", "2024-02-29T22:30:00.000Z"},
        {"2023-12-31T23:00-0130", "2024-01-01T00:30:00.000Z"},
        {"1969-12-31T23:59:59,9999z", "1969-12-31T23:59:59.999Z"}};
    for (const auto& [text, iso] : good) {
        ASSERT_TRUE(parse_time(text)) << text;
        EXPECT_EQ(iso_time(*parse_time(text)), iso);
    }
    EXPECT_EQ(compact_time(*parse_time(good[0].first)), "20261123T180507Z");
    EXPECT_EQ(*parse_duration("90s"), std::chrono::minutes(1) + std::chrono::seconds(30));
    EXPECT_EQ(*parse_duration("2D"), std::chrono::hours(48));
    for (const char* text : {"", "1", "0h", "-1h", "1.5h", "1001d", "1w", "h"})
        EXPECT_FALSE(parse_duration(text)) << text;
    for (const char* text : {"", "2026-11-23", "2026-11-23T18:05:07", "2026-02-29T00:00Z",
                             "2026-11-23T24:00Z", "2026-11-23T18:05:07.Z", "2026-11-23T18:05:07+1"})
        EXPECT_FALSE(parse_time(text)) << text;
}

TEST(Timeline, CountsAndFollowsTheClock)
{
    using namespace std::chrono;
    const Time noon = *parse_time("2026-04-01T12:00:00Z");
    const auto came_at = [&](double seconds) { return noon + microseconds(std::llround(seconds * 1e6)); };
    // Of a signal that comes in pieces of 0.1 s, at so many seconds of the clock each: when its place was.
    const auto told = [&](double seconds, double place, const std::function<double(double)>& clock) {
        Timeline timeline;
        EXPECT_FALSE(timeline.at(0));
        for (int k = 1; k <= int(std::lround(seconds * 10)); ++k)
            timeline.came(0.1 * k, came_at(clock(0.1 * k)));
        return duration<double>(*timeline.at(place) - noon).count();
    };
    EXPECT_NEAR(told(1, 0.5, [](double s) { return s + 7; }), 7.5, 1e-3);
    for (const double drift : {-1e-4, 1e-4}) // a sound card off by so much, for a day; reads late by chance
        EXPECT_NEAR(told(86400, 86400, [&](double s) { return s * (1 + drift) + 0.3 * std::fmod(s, 0.7); }),
                    86400 * (1 + drift), 0.3);
    const auto paused = [](double s) { return s > 50 ? s + 1000 : s; };
    EXPECT_NEAR(told(100, 80, paused), 1080, 0.01);
    EXPECT_NEAR(told(100, 49, paused), 49, 0.01);
    const auto stalled = [](double s) { return s < 50 || s > 60 ? s : std::max(s, 55.0); };
    EXPECT_NEAR(told(100, 90, stalled), 90, 0.01);
    EXPECT_NEAR(told(1000, 900, [](double s) { return s / 100; }), 900, 0.3); // a file
    Timeline counted(noon);
    counted.came(5, came_at(99));
    EXPECT_EQ(iso_time(*counted.at(3600.25)), "2026-04-01T13:00:00.250Z");
}

TEST(Json, EscapesWhatItMust)
{
    JsonObject object;
    object.add("a\"b", "x\\y\n")
        .add("n", 0.25)
        .add("i", int64_t(-3))
        .add("none", std::nan(""))
        .add("yes", true);
    EXPECT_EQ(object.text(), R"({"a\"b": "x\\y\u000a", "n": 0.25, "i": -3, "none": null, "yes": true})");
}

// At every rate and in every mode: filters within their rates, no alias of what the post-mixer filter passes,
// blocks that no call refuses.
TEST(Plan, HoldsTogetherAtEveryRate)
{
    for (const int32_t rate : {8000, 11025, 12000, 44100, 48000, 96000, 192000, 250001, 2400000, 10000000})
        for (const Mode mode : {Mode::am, Mode::sam, Mode::isb, Mode::usb, Mode::lsb, Mode::fm, Mode::cw})
            for (const double least : {0.0, 44100.0}) {
                SCOPED_TRACE(std::to_string(rate) + " " + mode_names[int(mode)]);
                Wishes wishes = {.mode = mode};
                if (least > 0) wishes.audio_rate = int32_t(least);
                const Plan plan = make_plan(rate, wishes);
                const double fs = double(rate) * plan.stuffing, transition = 5.5 * fs / plan.taps;
                EXPECT_EQ(plan.station, rate / 4);
                EXPECT_TRUE(plan.mixer > 0 && plan.mixer < rate / 2);
                EXPECT_EQ(int64_t(plan.block) * plan.stuffing % plan.decimation, 0);
                EXPECT_GE(plan.block, 8192);
                EXPECT_GE(plan.audio_rate(), std::min<double>(rate, 2.2 * plan.audio_cutoff));
                if (least > 0)
                    EXPECT_NEAR(plan.output_rate(), least, 1e-8 * least);
                else
                    EXPECT_LE(plan.audio_rate(), 16000.0);
                // What is kept in the end reaches so far from the mixer; what the first filter lets through
                // beyond must not come down upon it.
                const double channel = plan.channel_taps ? 5.5 * plan.detector_rate() / plan.channel_taps : 0;
                const double reach =
                    channel > 0 ? plan.channel_cutoff + channel / 2 : plan.cutoff + transition / 2;
                EXPECT_LT(plan.taps, 8000);
                EXPECT_LT(reach, plan.detector_rate() / 2);
                if (plan.decimation > 1) {
                    EXPECT_LE(plan.cutoff + transition / 2, plan.detector_rate() - reach + 1);
                }
                // Images of the zeros between samples lie beyond the audio filter.
                if (plan.upsample > 1) {
                    EXPECT_LT(plan.audio_cutoff, plan.detector_rate() - reach - plan.offset);
                }
                if (plan.mode == ZVDemodMode_SSB) {
                    EXPECT_LT(plan.offset + reach, plan.detector_rate() / 2);
                }
                if (mode == Mode::isb) {
                    EXPECT_GT(plan.hilbert_taps, plan.detector_rate() / 62);
                }
                if (rate % 1000 == 0) { // no needless work
                    EXPECT_LE(plan.detector_rate(), 132000);
                }
                EXPECT_GT(plan.audio_gain, 0);
                EXPECT_LT(plan.delay(), plan.filter_rate() / 5);
            }
}

// The lowest rate for the detector, or one a little above it from which the audio comes by division.
TEST(Plan, BroadcastsCostLittle)
{
    for (const auto& [rate, detector] : {std::pair(480'000, 240'000),
                                         {500'000, 250'000},
                                         {2'048'000, 256'000},
                                         {4'800'000, 240'000},
                                         {6'400'000, 256'000},
                                         {250'007, 250'007},
                                         {50'000'000, 500'000}}) {
        const Plan plan = make_plan(rate, {.mode = Mode::wfm});
        SCOPED_TRACE(explain(plan));
        EXPECT_NEAR(plan.detector_rate(), detector, 1);
        EXPECT_NEAR(plan.output_rate(), 48000, 1e-3);
        EXPECT_LT(plan.taps, 2000);
        EXPECT_GE(plan.audio_rate(), 47500);
        EXPECT_LE(plan.audio_cutoff + 2000, 19000); // the pilot tone
        EXPECT_FALSE(plan.may_narrow);
    }
}

TEST(Plan, PlacesTheSideband)
{
    const auto plan = [](Mode mode, int32_t frequency, std::optional<double> bandwidth = {}) {
        return make_plan(48000, {.mode = mode, .frequency = frequency, .bandwidth = bandwidth});
    };
    const Plan usb = plan(Mode::usb, 12000), lsb = plan(Mode::lsb, 12000), cw = plan(Mode::usb, 12000, 500);
    EXPECT_EQ(usb.mixer, 13500); // 300 to 2700 Hz beside the carrier
    EXPECT_EQ(lsb.mixer, 10500);
    EXPECT_EQ(usb.sideband_sign, -lsb.sideband_sign);
    EXPECT_EQ(usb.audio_cutoff, 3000);
    EXPECT_EQ(cw.mixer, 12800);
    EXPECT_LT(cw.channel_cutoff, 300);
    const Plan edge = plan(Mode::usb, 22000); // 22300 to 24000 Hz is left
    EXPECT_EQ(edge.mixer, 23150);
    EXPECT_TRUE(edge.narrowed);
    for (const auto& [mode, frequency] :
         {std::pair(Mode::usb, 23990), {Mode::lsb, 310}, {Mode::am, 5}, {Mode::fm, 24001}})
        EXPECT_THROW(plan(mode, frequency), Failure);
    const auto around_centre = [](Mode mode, int32_t frequency) {
        return make_plan(48000, {.mode = mode, .centre = 12000, .frequency = frequency});
    };
    EXPECT_EQ(around_centre(Mode::usb, -4000).mixer, 9500);
    EXPECT_EQ(make_plan(48000, {.centre = 12000}).station, 12000);
    for (const int32_t frequency : {-12001, 36001, -11990})
        EXPECT_THROW(around_centre(Mode::am, frequency), Failure);
    const auto tuned = [](int64_t frequency) {
        return make_plan(48000, {.centre = 12000, .origin = 10'489'550'000, .frequency = frequency});
    };
    EXPECT_EQ(tuned(10'489'549'000).station, 11000);
    EXPECT_EQ(tuned(10'489'549'000).frequency(), 10'489'549'000);
    for (const int64_t frequency : {0LL, -1000LL, 10'489'549'000LL + (1LL << 32)})
        EXPECT_THROW(tuned(frequency), Failure);
}

TEST(Tuned, NamesTellItAsRecordersWriteThem)
{
    for (const auto& [name, centre] : {std::pair("20260401_123015Z_100600000Hz_IQ.wav", 100'600'000LL),
                                       {"2.4MHz/x_100.6MHz_.wav", 100'600'000},
                                       {"x_2400kHz_100600kHz.wav", 100'600'000}, // the rate is another thing
                                       {"10.48955 GHz.iq", 10'489'550'000},
                                       {"7074000Hz", 7'074'000},
                                       {"band_2400kHz.wav", 0},
                                       {"100.6.wav", 0},
                                       {"x100MHz.wav", 0},
                                       {"12_100MHzx.wav", 0},
                                       {"1.2.3MHz.wav", 0}})
        EXPECT_EQ(tuned_by_name(name, 2'400'000).value_or(Tuned{}).centre, centre) << name;
}

// Division where it gives the rate, with the settings of old; else the exact ratio, or nearly, from audio
// that the resampler passes whole. Nothing is left that the output can't carry.
TEST(Plan, AudioAtTheRateAskedFor)
{
    const struct {
        int32_t rate, asked;
        Mode mode;
        bool resampled;
    } rows[] = {{96000, 48000, Mode::am, false},  {96000, 8000, Mode::am, false},
                {96000, 44100, Mode::usb, true},  {2400000, 22050, Mode::fm, true},
                {48000, 44101, Mode::lsb, true},  {44100, 48000, Mode::isb, true},
                {8000, 1000000, Mode::sam, true}, {96000, 11025, Mode::am, true}};
    for (const auto& row : rows) {
        const Plan plan = make_plan(row.rate, {.mode = row.mode, .audio_rate = row.asked});
        SCOPED_TRACE(explain(plan));
        EXPECT_DOUBLE_EQ(plan.output_rate(), row.asked);
        EXPECT_EQ(plan.over != plan.under, row.resampled);
        EXPECT_LE(plan.audio_cutoff, row.asked / 2.0 - 350);
        if (plan.over != plan.under) {
            EXPECT_LE(plan.audio_cutoff + 350, 0.4 * plan.audio_rate() + 1);
            EXPECT_EQ(plan.resampler_taps(),
                      int32_t(std::ceil(64 * std::max(1.0, double(plan.under) / plan.over))));
        }
    }
    for (const int32_t prime : {250007, 2400011, 9999991}) {
        const Plan plan = make_plan(prime, {.mode = Mode::usb, .audio_rate = 44100});
        EXPECT_NEAR(plan.output_rate() / 44100, 1, 1e-8) << explain(plan);
        EXPECT_LE(plan.over * plan.resampler_taps(), 1 << 23);
    }
    EXPECT_THROW(make_plan(48000, {.audio_rate = INT32_MAX}), Failure);
}
