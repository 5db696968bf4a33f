// The demodulator's calls of any length, and how long a signal is on its way.
#include "core/heap.h"
#include "support/guarded.h"
#include "support/signals.h"
#include <gtest/gtest.h>
#include <zovek/demodulator.h>

namespace {
using test::noise, test::same, test::Signal;

struct Settings {
    int32_t rate = 44100;
    uint32_t decimation = 2, upsample = 2;
    int32_t block = 1024;
};

struct Object {
    ZVDemodulator* self = ZVDemodulator16_Construct(nullptr);
    explicit Object(const Settings& s = {}, uint8_t mode = ZVDemodMode_AM)
    {
        ZVDemodulator_IQDecimation(self, s.decimation);
        ZVDemodulator_AudioUpsample(self, s.upsample);
        ZVDemodulator_SamplingRate(self, s.rate, 1);
        ZVDemodulator_BufferSize(self, s.block, 0);
        ZVDemodulator_Mode(self, mode);
        self->noise_measure_enabled = self->iq_agc_enabled = self->audio_agc_enabled = 1;
    }
    ~Object() { ZVDemodulator_Destruct(self, 1); }
    ZVDemodulator* operator->() const { return self; }

    size_t frames(size_t samples) const { return samples / self->iq_decimation * self->audio_upsample; }
    // Frames of every step-th sample, in memory that holds no more.
    Signal process(const Signal& x, uint32_t step = 1)
    {
        const size_t count = 2 * frames(x.size() / step);
        test::Guarded<int16_t> out(count);
        ZVDemodulator16_Process_StereoOut_16_16(self, x.data(), out.data(), uint32_t(x.size()), step);
        return {out.data(), out.data() + count};
    }
    // The open fields of the signal state, and what was measured.
    std::vector<double> state() const
    {
        const ZVDemodulator& d = *self;
        return {double(d.overload),      double(d.noise_level),    double(d.oscillator_phase),
                double(d.previous_i),    double(d.previous_q),     double(d.sideband_phase),
                double(d.dc_input_1),    double(d.dc_input_2),     double(d.dc_output_1),
                double(d.dc_output_2),   d.carrier_phase,          d.carrier_frequency,
                d.carrier_error,         d.iq_agc->gain,           d.audio_agc_1->gain,
                d.audio_agc_1->envelope, double(d.local_frequency)};
    }
};

void append(Signal& to, const Signal& more) { to.insert(to.end(), more.begin(), more.end()); }
Signal part(const Signal& x, size_t first, size_t count)
{
    count = std::min(count, x.size() - first);
    return {x.begin() + ptrdiff_t(first), x.begin() + ptrdiff_t(first + count)};
}

// ---- Calls longer than a block ----

struct Hooked {
    std::vector<int32_t> mixed, filtered;
    explicit Hooked(ZVDemodulator* d)
    {
        d->mixed_callback = [](void* seen, ZVDemodulator*, int32_t count, void*, void*) {
            static_cast<Hooked*>(seen)->mixed.push_back(count);
        };
        d->filtered_callback = [](void* seen, ZVDemodulator*, int32_t count, void*, void*) {
            static_cast<Hooked*>(seen)->filtered.push_back(count);
        };
        d->mixed_context = d->filtered_context = this;
    }
};

// One long call is the calls that a careful client makes: whole decimations, as many as a block holds.
TEST(DemodulatorBlocks, ALongCallIsItsPieces)
{
    struct Row {
        Settings settings;
        size_t samples, piece;
        std::vector<int32_t> mixed, filtered;
    };
    const Row rows[] = {
        {{}, 4096, 1024, {1024, 1024, 1024, 1024}, {512, 512, 512, 512}},
        {{}, 1026, 1024, {1024, 2}, {512, 1}},
        {{}, 1025, 1024, {1024, 1}, {512}},
        {{48000, 7, 3, 1000}, 2005, 994, {994, 994, 17}, {142, 142, 2}},
        {{50000, 25, 1, 60}, 149, 50, {50, 50, 49}, {2, 2, 1}},
        {{8000, 1, 1, 1}, 5, 1, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}},
    };
    for (const Row& row : rows)
        for (uint8_t mode = 0; mode < 5; ++mode) {
            SCOPED_TRACE(testing::Message() << row.samples << " samples, mode " << +mode);
            Object whole(row.settings, mode), cut(row.settings, mode);
            const Signal x = noise(3 * row.samples, mode, 9000);
            Signal taken;
            for (size_t k = 0; k < row.samples; ++k) taken.push_back(x[3 * k]);
            const Hooked hooked(whole.self);
            for (int pass = 0; pass < 2; ++pass) {
                Signal wanted;
                for (size_t first = 0; first < taken.size(); first += row.piece)
                    append(wanted, cut.process(part(taken, first, row.piece)));
                EXPECT_EQ(wanted.size(), 2 * whole.frames(row.samples));
                EXPECT_TRUE(same(pass == 0 ? whole.process(x, 3) : whole.process(taken), wanted));
                EXPECT_TRUE(same(whole.state(), cut.state()));
                if (pass == 0) {
                    EXPECT_EQ(hooked.mixed, row.mixed);
                    EXPECT_EQ(hooked.filtered, row.filtered);
                }
            }
            EXPECT_TRUE(zv::heap::heap_is_sound());
        }
}

TEST(DemodulatorBlocks, OverloadIsThatOfTheWholeCall)
{
    Object d;
    for (const size_t loud : {0, 1023, 1024, 4095}) {
        Signal x(4096);
        x[loud] = -32000;
        d.process(x);
        EXPECT_EQ(d->overload, 1) << loud;
        d.process(Signal(4096));
        EXPECT_EQ(d->overload, 0) << loud;
    }
}

// ---- Calls too short for a result ----

// They make no output, and nothing moves but the mixer, which has seen the samples.
TEST(DemodulatorBlocks, ACallBelowTheDecimationMakesNothingAndHurtsNothing)
{
    for (uint8_t mode = 0; mode < 5; ++mode)
        for (const size_t samples : {0, 1, 24}) {
            SCOPED_TRACE(testing::Message() << samples << " samples, mode " << +mode);
            const Settings settings = {50000, 25, 3, 1000};
            Object d(settings, mode), twin(settings, mode);
            const Signal x = noise(5000, 2, 9000);
            d.process(x), twin.process(x);
            const Hooked hooked(d.self);
            const int32_t phase = d->oscillator_phase;
            EXPECT_TRUE(d.process(part(x, 0, samples)).empty());
            EXPECT_EQ(d->oscillator_phase,
                      int32_t((phase + int64_t(samples) * d->local_frequency) % d->sampling_rate));
            EXPECT_EQ(hooked.mixed.size(), samples == 0 ? 0u : 1u);
            EXPECT_TRUE(hooked.filtered.empty());
            twin->oscillator_phase = d->oscillator_phase;
            EXPECT_TRUE(same(d.state(), twin.state()));
            EXPECT_TRUE(same(d.process(x), twin.process(x)));
        }
}

// A block that holds no decimation, or nothing: no call makes output.
TEST(DemodulatorBlocks, ABlockTooSmallForAResultIsSurvived)
{
    for (const int32_t block : {24, 1, 0, -5}) {
        Object d({50000, 25, 3, 1000});
        ZVDemodulator_BufferSize(d.self, block, 0);
        const Signal x = noise(5000, 2);
        Signal out = noise(2 * d.frames(5000), 5);
        const Signal before = out;
        ZVDemodulator16_Process_StereoOut_16_16(d.self, x.data(), out.data(), 5000, 1);
        EXPECT_TRUE(same(out, before)) << block;
        EXPECT_TRUE(zv::heap::heap_is_sound());
    }
}

// ---- How long a signal is on its way ----

// Phase of the part of one channel at hz, over the last count frames.
double phase_of(const Signal& frames, size_t channel, double hz, double rate, size_t count)
{
    double c = 0, s = 0;
    for (size_t k = frames.size() / 2 - count; k < frames.size() / 2; ++k) {
        const double angle = 2 * std::numbers::pi * hz * double(k) / rate;
        c += frames[2 * k + channel] * std::cos(angle), s -= frames[2 * k + channel] * std::sin(angle);
    }
    return std::atan2(s, c);
}

// The delay of the header's formula, in frames, against the slope of the phase between two tones.
TEST(DemodulatorBlocks, DelayIsThatOfTheFilters)
{
    struct Row {
        Settings settings;
        int32_t post, audio, isb;
    };
    const Row rows[] = {
        {{44100, 2, 2, 1024}, 31, 31, 31},
        {{44100, 2, 1, 1024}, 101, 63, 127},
        {{48000, 3, 4, 999}, 63, 201, 63},
        {{48000, 6, 1, 1200}, 255, 15, 31},
    };
    for (const Row& row : rows)
        for (uint8_t mode = 0; mode < 5; ++mode) {
            SCOPED_TRACE(testing::Message() << row.settings.rate << ", " << row.post << ", mode " << +mode);
            const auto& [rate, decimation, upsample, block] = row.settings;
            const double up = upsample, down = decimation, audio_rate = rate * up / down;
            const double mode_delay = mode == ZVDemodMode_ISB  ? up * (row.isb - 1) / 2
                                      : mode == ZVDemodMode_FM ? up / 2
                                                               : 0;
            const double wanted = (row.post - 1) / 2.0 * up / down + mode_delay + (row.audio - 1) / 2.0;

            double phase[2];
            const double tones[2] = {1000, 1020};
            for (const double& tone : tones) {
                Object d(row.settings, mode);
                d->iq_agc_enabled = d->audio_agc_enabled = 0;
                d->volume = 1;
                d->dc_cutoff = 0.001F; // its own lead in phase is no delay of the signal
                ZVDemodulator_PostMixerLength(d.self, row.post);
                ZVDemodulator_AudioFilterLength(d.self, row.audio);
                ZVDemodulator_ISBFilterLength(d.self, row.isb);
                Signal x(size_t(rate) * 2);
                for (size_t k = 0; k < x.size(); ++k) {
                    const double t = 2 * std::numbers::pi * double(k) / rate, carrier = t * 11025 + 1;
                    if (mode == ZVDemodMode_AM || mode == ZVDemodMode_SyncAM)
                        x[k] = int16_t(9000 * (1 + 0.5 * std::cos(t * tone)) * std::cos(carrier));
                    else if (mode == ZVDemodMode_FM)
                        x[k] = int16_t(9000 * std::cos(carrier + 0.3 * std::sin(t * tone)));
                    else
                        x[k] = int16_t(9000 * std::cos(carrier + t * tone));
                }
                const Signal out = d.process(x);
                const double heard = tone + (mode == ZVDemodMode_SSB ? d->sideband_offset : 0);
                phase[&tone - tones] = phase_of(out, 1, heard, audio_rate, size_t(audio_rate / 2));
            }
            double turned = (phase[0] - phase[1]) / (2 * std::numbers::pi);
            turned -= std::floor(turned);
            EXPECT_NEAR(turned / (tones[1] - tones[0]) * audio_rate, wanted, 0.25);
        }
}
} // namespace
