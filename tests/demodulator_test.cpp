// The demodulator against its model, to the bit: frames, stages and state, in all modes and settings.
#include "reference/demodulator.h"
#include "support/platform.h"
#include "support/signals.h"
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <numbers>
#include <zovek/demodulator.h>
#if defined(__linux__)
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {
using test::noise, test::same, test::Signal, test::Signal32, test::tone;

struct Object {
    ZVDemodulator record;
    Object() { EXPECT_EQ(ZVDemodulator16_Construct(&record), &record); }
    ~Object() { ZVDemodulator_Destruct(&record, 0); }
    ZVDemodulator* get() { return &record; }
    ZVDemodulator* operator->() { return &record; }

    int32_t frames(size_t samples) const
    {
        return int32_t(samples / record.iq_decimation * record.audio_upsample);
    }
    Signal process(const Signal& x)
    {
        Signal out(2 * size_t(frames(x.size())));
        ZVDemodulator16_Process_StereoOut_16_16(&record, x.data(), out.data(), uint32_t(x.size()), 1);
        return out;
    }
    template <class Sample>
    std::vector<Sample> stage(int32_t index, size_t count)
    {
        const auto* p = static_cast<const Sample*>(ZVDemodulator16_TestPoint(&record, index));
        return {p, p + count};
    }
};

// ---- The model, over settings and signals ----

struct Case {
    const char* name;
    int32_t rate = 44100, frequency = 11025;
    uint32_t decimation = 2, upsample = 2;
    int32_t block = 1024, post_taps = 31, audio_taps = 31, isb_taps = 31;
    float cutoff = 3000, audio_gain = 1, volume = 0.5F, dc_cutoff = 5;
    int32_t sign = 1, offset = 800;
    bool iq_agc = false, audio_agc = false, noise = false;
    float level = -10;
};
// clang-format off
const Case cases[] = {
    //                   Fs      f  D  U block post audio isb cutoff gain  vol     dc sign offset  agcs
    {"defaults"},
    {"gain_control",  44100, 11025, 2, 2, 1024,  31,  31,  31, 3000, 1.0F, 0.3F,   50,  1,   800, true,  true,  true},
    {"fs48k_by_4",    48000, 12000, 4, 4, 4000,  63, 127,  64, 4000, 1.7F, 0.5F,    5, -1,  1500, false, false, true},
    {"fs250k_by_25", 250000, 61237, 25, 3, 3333, 101, 15,   7, 2500, 0.1F, 3.3F,  300,  1, -2345, true,  false, true, -3.3F},
    {"undecimated",    8000,  8000, 1, 1,   77,  31,  31,  31, 3000, 1.0F, 0.9F,    0, -1,     1, false, true,  true},
    {"loud",          22050,     1, 3, 5,  512,  31,  31,  31, 3000, 50.F, 9e5F, 5000,  1,   800, false, false, false},
    {"silent_output", 65537, 40000, 7, 1, 5000,  31,  31,  31, 3000, 1.0F,    0, 1e-4F, 1,   800, false, false, true},
};
// clang-format on

void set(ZVDemodulator* self, const Case& c, uint8_t mode)
{
    ZVDemodulator_IQDecimation(self, c.decimation);
    ZVDemodulator_AudioUpsample(self, c.upsample);
    ZVDemodulator_SamplingRate(self, c.rate, 1);
    ZVDemodulator_BufferSize(self, c.block, 0);
    ZVDemodulator_PostMixerLength(self, c.post_taps);
    ZVDemodulator_AudioFilterLength(self, c.audio_taps);
    ZVDemodulator_ISBFilterLength(self, c.isb_taps);
    ZVDemodulator_Mode(self, mode);
    self->sideband_sign = c.sign, self->sideband_offset = c.offset;
    ZVDemodulator_PostMixerCutOff(self, c.cutoff);
    ZVDemodulator_LocalFrequency(self, c.frequency);
    self->iq_agc_enabled = c.iq_agc, self->audio_agc_enabled = c.audio_agc;
    self->noise_measure_enabled = c.noise, self->iq_agc_level = c.level;
    self->audio_gain = c.audio_gain, self->volume = c.volume, self->dc_cutoff = c.dc_cutoff;
}
void set(reference::Demodulator& model, const Case& c, uint8_t mode)
{
    model.set_iq_decimation(c.decimation);
    model.set_audio_upsample(c.upsample);
    model.set_sampling_rate(c.rate, true);
    model.set_buffer_size(c.block, false);
    model.set_post_mixer_length(c.post_taps);
    model.set_audio_filter_length(c.audio_taps);
    model.set_isb_filter_length(c.isb_taps);
    model.set_mode(mode);
    model.sideband_sign = c.sign, model.sideband_offset = c.offset;
    model.set_post_mixer_cut_off(c.cutoff);
    model.set_local_frequency(c.frequency);
    model.iq_agc_enabled = c.iq_agc, model.audio_agc_enabled = c.audio_agc;
    model.noise_measure_enabled = c.noise, model.iq_agc_level = c.level;
    model.audio_gain = c.audio_gain, model.volume = c.volume, model.dc_cutoff = c.dc_cutoff;
}

// In turn: full-scale noise, a carrier near the local frequency under AM and a little noise, the same under
// FM and weak, silence, full scale.
Signal programme(const Case& c, size_t count)
{
    Signal x = noise(count, 3);
    const double w = 2 * std::numbers::pi / c.rate;
    for (size_t k = 0; k < count; ++k) {
        const double t = w * double(k), carrier = t * (c.frequency + 31);
        const size_t part = k * 6 / count;
        if (part == 1 || part == 2)
            x[k] = int16_t((1 + 0.8 * std::sin(300 * t)) * 12000 * std::cos(carrier) + int(x[k] / 100));
        if (part == 3) x[k] = int16_t(200 * std::cos(carrier + 4 * std::sin(500 * t)));
        if (part == 4) x[k] = 0;
        if (part == 5) x[k] = std::cos(carrier) < 0 ? -32768 : 32767;
    }
    return x;
}

class Model : public testing::TestWithParam<std::tuple<Case, int>> {};

TEST_P(Model, GivesTheSameBits)
{
    const auto& [c, mode] = GetParam();
    Object object;
    reference::Demodulator model;
    set(object.get(), c, uint8_t(mode));
    set(model, c, uint8_t(mode));
    const Signal x = programme(c, 30 * size_t(c.block));
    size_t first = 0;
    for (size_t call = 0; first < x.size(); ++call) { // full blocks, then single periods, then in between
        const size_t periods = size_t(c.block) / c.decimation;
        const size_t taken = call < 12 ? periods : call < 20 ? 1 : 1 + call * 37 % periods;
        const size_t count = std::min(call < 6 ? size_t(c.block) : taken * c.decimation, x.size() - first);
        if (count < c.decimation) break;
        const Signal piece(x.begin() + ptrdiff_t(first), x.begin() + ptrdiff_t(first + count));
        const size_t n = count / c.decimation, frames = n * c.upsample;
        const Signal wanted = model.process(piece), got = object.process(piece);
        SCOPED_TRACE("samples from " + std::to_string(first));
        ASSERT_TRUE(same(object.stage<int16_t>(0, count), piece));
        ASSERT_TRUE(same(object.stage<int16_t>(1, count), model.mixer_i));
        ASSERT_TRUE(same(object.stage<int16_t>(2, count), model.mixer_q));
        ASSERT_TRUE(same(object.stage<int32_t>(3, n), model.filtered_i));
        ASSERT_TRUE(same(object.stage<int32_t>(4, n), model.filtered_q));
        if (mode == ZVDemodMode_ISB) {
            ASSERT_TRUE(same(object.stage<int32_t>(5, n), model.hilbert));
            ASSERT_TRUE(same(object.stage<int32_t>(6, n), model.delayed_q));
        } else {
            ASSERT_TRUE(same(Signal32(object->detector_output, object->detector_output + n), model.detector));
        }
        ASSERT_TRUE(same(object.stage<int16_t>(7, frames), model.audio_input_1));
        ASSERT_TRUE(same(object.stage<int32_t>(8, frames), model.audio_output_1));
        ASSERT_TRUE(same(got, wanted));
        const auto state = [](const auto& d, const auto& iq_agc, const auto& audio_agc) {
            return std::vector<double>{
                double(d.overload),    double(d.noise_level), double(d.oscillator_phase),
                double(d.previous_i),  double(d.previous_q),  double(d.sideband_phase),
                double(d.dc_input_1),  double(d.dc_input_2),  double(d.dc_output_1),
                double(d.dc_output_2), iq_agc.gain,           audio_agc.gain,
                audio_agc.envelope};
        };
        ASSERT_TRUE(same(state(object.record, *object->iq_agc, *object->audio_agc_1),
                         state(model, model.iq_agc, model.audio_agc_1)));
        // The loop's sine and cosine may differ from the model's in the last of 64 bits.
        ASSERT_NEAR(object->carrier_phase, model.carrier_phase, 1e-14);
        ASSERT_NEAR(object->carrier_frequency, model.carrier_frequency, 1e-16);
        ASSERT_NEAR(object->carrier_error, model.carrier_error, 1e-14);
        first += count;
    }
}
INSTANTIATE_TEST_SUITE_P(All, Model, testing::Combine(testing::ValuesIn(cases), testing::Range(0, 5)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_mode" +
                                    std::to_string(std::get<1>(info.param));
                         });

// ---- The object and its settings ----

TEST(Demodulator, SettingsReachTheMembers)
{
    Object d;
    struct Row {
        const ZVFIR* filter;
        int32_t block;
        float rate, high;
    };
    const auto expect = [&](std::initializer_list<Row> rows) {
        for (const Row& r : rows) {
            EXPECT_EQ(r.filter->buffer_size, r.block);
            EXPECT_EQ(r.filter->sampling_rate, r.rate);
            EXPECT_EQ(r.filter->cut_off_high, r.high);
        }
    };
    expect({{d->post_mixer_filter_i, 1024, 44100, 3000},
            {d->post_mixer_filter_q, 1024, 44100, 3000},
            {d->isb_filter, 512, 11025, 3000},
            {d->noise_filter, 512, 22050, 5001},
            {d->audio_filter_1, 1024, 44100, 3000},
            {d->audio_filter_2, 1024, 44100, 3000}});
    EXPECT_EQ(d->isb_delay->buffer_size, 512);
    EXPECT_EQ(d->isb_delay->delay, 15);
    EXPECT_EQ(d->noise_filter->cut_off_low, 5000);
    EXPECT_EQ(d->work_bytes, 4096u);
    EXPECT_EQ(d->oscillator_bytes, 8u * 44100);
    EXPECT_EQ(d->iq_agc->envelope, 0);
    EXPECT_EQ(d->audio_agc_2->envelope, 30000);
    EXPECT_EQ(d->audio_agc_2->target_level, 600000000);
    EXPECT_EQ(d->audio_agc_2->sampling_rate, 44100);

    ZVDemodulator_IQDecimation(d.get(), 0);
    ZVDemodulator_AudioUpsample(d.get(), 3);
    EXPECT_EQ(d->iq_decimation, 1u);
    expect({{d->noise_filter, 1024, 22050, 5001}, {d->audio_filter_2, 3072, 44100, 3000}});
    d->oscillator_phase = d->sideband_phase = 77;
    ZVDemodulator_SamplingRate(d.get(), 44100, 0);
    EXPECT_EQ(d->oscillator_phase, 77);
    ZVDemodulator_SamplingRate(d.get(), 8000, 0);
    expect({{d->post_mixer_filter_i, 1024, 8000, 3000},
            {d->noise_filter, 1024, 8000, 4000},
            {d->audio_filter_1, 3072, 24000, 3000}});
    EXPECT_EQ(d->noise_filter->cut_off_low, 3999);
    EXPECT_EQ(d->iq_agc->sampling_rate, 8000);
    EXPECT_EQ(d->audio_agc_1->sampling_rate, 24000);
    EXPECT_EQ(d->oscillator_phase, 0);
    EXPECT_EQ(d->sideband_phase, 77);
    EXPECT_EQ(d->oscillator_table[0], 2147483600);
    EXPECT_EQ(d->oscillator_table[1], 0);
    EXPECT_EQ(d->oscillator_table[2 * 2000 + 1], -2147483600); // a quarter on

    ZVDemodulator_ISBFilterLength(d.get(), 64);
    EXPECT_EQ(d->isb_filter->taps_count, 65);
    EXPECT_EQ(d->isb_delay->delay, 32);
    ZVDemodulator_PostMixerLength(d.get(), 2);
    EXPECT_EQ(d->post_mixer_filter_q->taps_count, 3);
    ZVDemodulator_AudioFilterLength(d.get(), 126);
    EXPECT_EQ(d->audio_filter_2->taps_count, 127);

    const float audio_cutoffs[] = {2500, 2500, 2500, 1600, 1700}; // mode 4 leaves what stands
    for (uint8_t mode = 0; mode < 5; ++mode) {
        ZVDemodulator_AudioFilterCutOff(d.get(), 1700);
        ZVDemodulator_Mode(d.get(), mode);
        ZVDemodulator_PostMixerCutOff(d.get(), 2500);
        EXPECT_EQ(d->audio_filter_2->cut_off_high, audio_cutoffs[mode]) << +mode;
        EXPECT_EQ(d->post_mixer_filter_q->cut_off_high, 2500);
    }
    d->post_mixer_cutoff = 1234;
    ZVDemodulator_DemodFiltersUpdate(d.get());
    EXPECT_EQ(d->post_mixer_filter_i->cut_off_high, 1234);
}

TEST(Demodulator, StepOverloadAndStages)
{
    Object d, twin;
    const Signal x = noise(2048, 9, 31999);
    Signal every_second(1024), out(2048);
    for (size_t k = 0; k < 1024; ++k) every_second[k] = x[2 * k];
    ZVDemodulator16_Process_StereoOut_16_16(d.get(), x.data(), out.data(), 2048, 2);
    EXPECT_TRUE(same(out, twin.process(every_second)));
    for (const auto& [value, overload] : {std::pair(32000, 1), {31999, 0}, {-32000, 1}, {-31999, 0}}) {
        Signal y(64);
        y[63] = int16_t(value);
        d.process(y);
        EXPECT_EQ(d->overload, overload) << value;
    }
    EXPECT_EQ(ZVDemodulator16_TestPoint(d.get(), 9), nullptr);
    EXPECT_EQ(ZVDemodulator16_TestPoint(d.get(), -1), nullptr);
}

struct Seen {
    ZVDemodulator* self;
    int32_t count;
    void *i, *q;
    bool silence = false;
};
template <class Sample>
void hook(void* context, ZVDemodulator* self, int32_t count, void* i, void* q)
{
    auto& seen = *static_cast<Seen*>(context);
    seen.self = self, seen.count = count, seen.i = i, seen.q = q;
    if (!seen.silence) return;
    std::fill_n(static_cast<Sample*>(i), count, 0);
    std::fill_n(static_cast<Sample*>(q), count, 0);
}

// A hook sees the stage and changes what the chain goes on with.
TEST(Demodulator, HooksWorkOnTheStageItself)
{
    Object d;
    Seen mixed, filtered;
    d->mixed_callback = hook<int16_t>, d->mixed_context = &mixed;
    d->filtered_callback = hook<int32_t>, d->filtered_context = &filtered;
    const Signal x = noise(1000, 4);
    d.process(x);
    EXPECT_EQ(mixed.self, d.get());
    EXPECT_EQ(mixed.count, 1000);
    EXPECT_EQ(mixed.i, ZVDemodulator16_TestPoint(d.get(), 1));
    EXPECT_EQ(mixed.q, ZVDemodulator16_TestPoint(d.get(), 2));
    EXPECT_EQ(filtered.self, d.get());
    EXPECT_EQ(filtered.count, 500);
    EXPECT_EQ(filtered.i, ZVDemodulator16_TestPoint(d.get(), 3));
    EXPECT_EQ(filtered.q, ZVDemodulator16_TestPoint(d.get(), 4));

    Object muted;
    muted->filtered_callback = hook<int32_t>, muted->filtered_context = &filtered;
    filtered.silence = true;
    EXPECT_TRUE(same(muted.process(x), Signal(2000)));
    muted->filtered_callback = nullptr;
    muted->mixed_callback = hook<int16_t>, muted->mixed_context = &mixed;
    mixed.silence = true;
    ZVDemodulator_PostMixerLength(muted.get(), 33); // forgets the noise
    EXPECT_TRUE(same(muted.process(x), Signal(2000)));
}

// ---- What a listener gets ----

// Amplitude of the part of x at hz: channel 0 or 1 of frames, over whole cycles at the end.
double level(const Signal& frames, size_t channel, double hz, double rate, size_t count)
{
    double c = 0, s = 0;
    const size_t start = frames.size() / 2 - count;
    for (size_t k = start; k < frames.size() / 2; ++k) {
        const double angle = 2 * std::numbers::pi * hz * double(k) / rate;
        c += frames[2 * k + channel] * std::cos(angle), s += frames[2 * k + channel] * std::sin(angle);
    }
    return 2 * std::hypot(c, s) / double(count);
}

TEST(Demodulator, TonesComeOutWhereTheyShould)
{
    struct Row {
        uint8_t mode;
        int32_t sign;
        double offset;      // of the tone from the local frequency, Hz
        double left, right; // where it is heard, Hz; 0: nowhere
    };
    for (const Row& r : {Row{ZVDemodMode_ISB, 1, 1000, 0, 1000}, Row{ZVDemodMode_ISB, 1, -1000, 1000, 0},
                         Row{ZVDemodMode_SSB, 1, 300, 1100, 1100}, Row{ZVDemodMode_SSB, -1, 300, 500, 500}}) {
        Object d;
        ZVDemodulator_BufferSize(d.get(), 44100, 0);
        ZVDemodulator_Mode(d.get(), r.mode);
        d->sideband_sign = r.sign;
        d->volume = 1;
        const Signal out = d.process(tone(44100, 11025 + r.offset, 44100, 10000));
        const double heard = r.left != 0 ? r.left : r.right;
        const double left = level(out, 0, heard, 44100, 22050), right = level(out, 1, heard, 44100, 22050);
        const double scale = r.mode == ZVDemodMode_ISB ? 9400 : 4700; // the filters' edges begin early
        EXPECT_NEAR(left, r.left != 0 ? scale : 0, scale / 8) << +r.mode << ' ' << r.offset;
        EXPECT_NEAR(right, r.right != 0 ? scale : 0, scale / 8) << +r.mode << ' ' << r.offset;
    }
}

// The amplitudes that the header promises at audio_gain 1: a station of A = 0.4 that sends 1000 Hz.
TEST(Demodulator, LevelsAreAsTold)
{
    const double a = 0.4, m = 0.8, deviation = 1500, tau = 2 * std::numbers::pi;
    const struct {
        uint8_t mode;
        double wanted;
    } rows[] = {{ZVDemodMode_AM, 0.707 * m * a},
                {ZVDemodMode_SyncAM, 0.707 * m * a},
                {ZVDemodMode_ISB, a},
                {ZVDemodMode_SSB, 0.5 * a},
                {ZVDemodMode_FM, std::atan(std::sin(tau * deviation * 2 / 48000)) / tau}};
    for (const auto& [mode, wanted] : rows) {
        Object d;
        ZVDemodulator_SamplingRate(d.get(), 48000, 1);
        ZVDemodulator_Mode(d.get(), mode);
        ZVDemodulator_PostMixerCutOff(d.get(), 6000);
        ZVDemodulator_AudioFilterCutOff(d.get(), 6000);
        ZVDemodulator_LocalFrequency(d.get(), 12000);
        d->volume = 1;
        int peak = 0;
        for (int64_t first = 0; first < 96 * 1024; first += 1024) {
            Signal x(1024);
            for (int64_t k = 0; k < 1024; ++k) {
                const double t = double(first + k) / 48000, carrier = 1 + tau * 12000 * t,
                             tone = tau * 1000 * t;
                const double sent = mode == ZVDemodMode_FM
                                        ? std::cos(carrier + deviation / 1000 * std::sin(tone))
                                    : mode < ZVDemodMode_ISB ? (1 + m * std::cos(tone)) * std::cos(carrier)
                                                             : std::cos(carrier + tone);
                x[size_t(k)] = int16_t(std::lrint(32767 * a * sent));
            }
            const Signal out = d.process(x);
            if (first >= 64 * 1024)
                for (const int16_t frame : out) peak = std::max(peak, +frame);
        }
        EXPECT_NEAR(peak / 32767.0 / wanted, 1, 0.05) << +mode;
    }
}

TEST(Demodulator, SynchronousLoopLocks)
{
    Object d;
    ZVDemodulator_BufferSize(d.get(), 44100, 0);
    ZVDemodulator_Mode(d.get(), ZVDemodMode_SyncAM);
    Signal x(44100), out;
    for (int second = 0; second < 3; ++second) {
        for (size_t k = 0; k < x.size(); ++k) {
            const double t = 2 * std::numbers::pi * (second + double(k) / 44100);
            x[k] = int16_t(10000 * (1 + 0.5 * std::cos(300 * t)) * std::cos(11030 * t));
        }
        out = d.process(x);
    }
    EXPECT_NEAR(d->carrier_frequency, -2 * std::numbers::pi * 5 * 2 / 44100, 1e-6);
    EXPECT_NEAR(d->carrier_error, 0, 1e-3);
    EXPECT_NEAR(level(out, 0, 300, 44100, 22050), 0.5 * 10000 * 0.5 * std::numbers::sqrt2 / 2, 20);

    const double error = d->carrier_error = 0.25;
    ZVDemodulator_PostMixerLength(d.get(), 33); // forgets the signal
    d.process(Signal(44100));
    EXPECT_EQ(d->carrier_error, error); // no signal, no new error
}

// ---- Pieces, memory, the system ----

TEST(Demodulator, AnyCutOfAStreamGivesTheSameStream)
{
    for (uint8_t mode = 0; mode < 5; ++mode) {
        SCOPED_TRACE(+mode);
        const Case c = {.name = nullptr, .block = 20000, .audio_agc = true, .noise = true};
        Object whole, cut;
        set(whole.get(), c, mode);
        set(cut.get(), c, mode);
        Signal x = programme(c, 20000);
        for (int16_t& v : x) v /= 4; // keeps the plain conversions in their range
        const Signal wanted = whole.process(x);
        Signal got;
        for (size_t first = 0, count; first < x.size(); first += count) {
            count = std::min(2 + first / 6 * 2, x.size() - first);
            const Signal part =
                cut.process({x.begin() + ptrdiff_t(first), x.begin() + ptrdiff_t(first + count)});
            got.insert(got.end(), part.begin(), part.end());
        }
        // The DC blocker's output passes through an integer at the end of a call: its last bit may differ.
        for (size_t k = 0; k < got.size(); ++k) ASSERT_NEAR(got[k], wanted[k], 1) << k;
        EXPECT_EQ(cut->carrier_phase, whole->carrier_phase);
        EXPECT_EQ(cut->dc_input_1, whole->dc_input_1);
    }
}

TEST(Demodulator, ConstructGivesEverythingBackWhenMemoryEnds)
{
    const auto& calls = test::platform_calls;
    ZVDemodulator room;
    for (ZVDemodulator* place : {static_cast<ZVDemodulator*>(nullptr), &room}) {
        int granted = 0;
        ZVDemodulator* made = nullptr;
        for (; !made; ++granted) {
            const test::Refusing refusing(granted);
            made = ZVDemodulator16_Construct(place);
            EXPECT_TRUE(made || calls.areas == 0) << granted;
            ASSERT_LT(granted, 100);
        }
        EXPECT_GT(granted, 4);
        ZVDemodulator_Destruct(made, place ? 0 : 1);
        EXPECT_EQ(calls.areas, 0);
    }
    ZVDemodulator_Destruct(nullptr, 1);
}

// A refused setter leaves sizes and histories: the stream goes on as in a twin that was never asked. Granted
// one pool more each time, in the end it succeeds.
TEST(Demodulator, RefusedSettersChangeNothing)
{
    using Setter = void (*)(ZVDemodulator*);
    const Setter setters[] = {
        [](ZVDemodulator* d) { ZVDemodulator_BufferSize(d, 300000, 0); },
        [](ZVDemodulator* d) { ZVDemodulator_SamplingRate(d, 300000, 0); },
        [](ZVDemodulator* d) { ZVDemodulator_IQDecimation(d, 1); },
        [](ZVDemodulator* d) { ZVDemodulator_AudioUpsample(d, 300); },
        [](ZVDemodulator* d) { ZVDemodulator_PostMixerLength(d, 6001); },
        [](ZVDemodulator* d) { ZVDemodulator_AudioFilterLength(d, 6001); },
        [](ZVDemodulator* d) { ZVDemodulator_ISBFilterLength(d, 6001); },
    };
    const Case c = {.name = nullptr, .decimation = 8, .block = 4000};
    const Signal x = programme(c, 4000);
    for (const Setter& setter : setters) {
        SCOPED_TRACE(&setter - setters);
        bool done = false;
        for (int granted = 0; !done; ++granted) {
            Object d, twin;
            for (Object* o : {&d, &twin}) set(o->get(), c, ZVDemodMode_ISB), o->process(x);
            const ZVDemodulator before = d.record;
            {
                const test::Refusing refusing(granted);
                setter(d.get());
            }
            done = d->buffer_size != before.buffer_size || d->sampling_rate != before.sampling_rate ||
                   d->iq_decimation != before.iq_decimation || d->audio_upsample != before.audio_upsample ||
                   d->post_mixer_filter_i->taps_count != 31 || d->audio_filter_1->taps_count != 31 ||
                   d->isb_filter->taps_count != 31;
            EXPECT_FALSE(done && granted == 0);
            ASSERT_TRUE(done || same(d.process(x), twin.process(x))) << granted;
            ASSERT_LT(granted, 20);
        }
    }
}

#if defined(__linux__)
// Runs work under a filter that kills the process at any system call but its exit.
template <class Work>
int status_without_system_calls(Work work)
{
    const pid_t child = fork();
    if (child == 0) {
        sock_filter rules[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        };
        const sock_fprog program = {4, rules};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program))
            _exit(2);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

TEST(Demodulator, ProcessAsksTheSystemForNothing)
{
#if defined(__has_feature) // of clang, which has no macros for them
#define ZV_SANITIZED (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define ZV_SANITIZED 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || ZV_SANITIZED
    GTEST_SKIP() << "sanitizers make calls of their own";
#endif
    const int killed = status_without_system_calls([] { getppid(); });
    if (WIFEXITED(killed) && WEXITSTATUS(killed) == 2) GTEST_SKIP() << "no filter of system calls here";
    ASSERT_TRUE(WIFSIGNALED(killed)) << "the filter lets calls through";
    for (uint8_t mode = 0; mode < 5; ++mode) {
        Object d;
        set(d.get(), {.name = nullptr, .iq_agc = true, .audio_agc = true, .noise = true}, mode);
        const Signal x = noise(1024, 2);
        Signal out(2048);
        const int taken = test::platform_calls.taken;
        EXPECT_EQ(status_without_system_calls([&] {
                      for (int pass = 0; pass < 3; ++pass)
                          ZVDemodulator16_Process_StereoOut_16_16(d.get(), x.data(), out.data(), 1024, 1);
                      if (test::platform_calls.taken != taken) _exit(3);
                  }),
                  0)
            << +mode;
    }
}
#endif
} // namespace
