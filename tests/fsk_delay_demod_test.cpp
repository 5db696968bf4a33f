// The FSK discriminator by delay against its chain in plain models, cut anywhere, and its scale on tones.
#include "reference/delay_line.h"
#include "reference/fir.h"
#include "support/platform.h"
#include "support/signals.h"
#include <algorithm>
#include <zovek/fsk_delay_demod.h>

namespace {
using namespace test;

struct Demod : ZVFSKDelayDemod {
    Demod() { ZVFSKDelayDemod16_Construct(this); }
    ~Demod() { ZVFSKDelayDemod_Destruct(this, 0); }
    Signal run(const Signal& in, int32_t step = 1)
    {
        Signal out(in.size() / size_t(step));
        ZVFSKDelayDemod16_Process(this, out.data(), in.data(), int32_t(in.size()), step);
        return out;
    }
};

Signal taps_of(const ZVFIR* filter)
{
    const auto* taps = static_cast<const int16_t*>(filter->taps);
    return Signal(taps, taps + filter->taps_count);
}

// The whole stream at once; before is the sample ahead of it.
Signal model(const Demod& demod, const Signal& in, bool differentiate, int32_t before = 0)
{
    Signal x = in;
    for (size_t k = 0; k < x.size() && differentiate; ++k)
        x[k] = int16_t(std::floor((in[k] - (k ? in[k - 1] : before)) / 2.0));
    const Signal a = reference::fir1616(taps_of(demod.pre_filter), x);
    reference::DelayLine<int16_t> line{.delay = demod.delay_line->delay};
    const Signal b = line.process(a);
    Signal signs(a.size());
    for (size_t k = 0; k < a.size(); ++k) signs[k] = (a[k] < 0) == (b[k] < 0) ? 16383 : -16384;
    return reference::fir1616(taps_of(demod.post_filter), signs);
}

TEST(FskDelayDemod, EqualsTheChainInPiecesOfAnySize)
{
    const Signal x = noise(5000);
    for (const uint32_t block : {1u, 64u, 1024u})
        for (const int32_t delay : {0, 1, 10, 100})
            for (const uint32_t differentiate : {0u, 1u}) {
                Demod demod;
                ZVFSKDelayDemod16_BufferSize(&demod, block);
                ZVDelayLine_Delay(demod.delay_line, delay);
                ZVFIR_TapsNum(demod.pre_filter, 61);
                ZVFSKDelayDemod_SamplingRate(&demod, 22050);
                demod.differentiate = differentiate;
                Signal out;
                for (size_t at = 0, piece = 1; at < x.size(); at += piece, piece = piece * 5 % 1500 + 1) {
                    piece = std::min(piece, x.size() - at);
                    const Signal y = demod.run(Signal(x.begin() + long(at), x.begin() + long(at + piece)));
                    out.insert(out.end(), y.begin(), y.end());
                }
                ASSERT_TRUE(same(out, model(demod, x, differentiate))) << block << " " << delay;
            }
}

TEST(FskDelayDemod, DifferencesRoundDownAndFollowTheTruePreviousSample)
{
    Demod demod;
    const Signal edges = {32767, -32768, 32767, 0, 1, 0, -1};
    auto* written = static_cast<const int16_t*>(demod.pre_filter->history_write);
    demod.pre_filter->kernel = [](ZVFIR*, void*, int32_t, int32_t) {}; // leaves its input where it stands
    demod.differentiate = 1;
    demod.run(edges);
    EXPECT_TRUE(same(Signal(written, written + 7), {16383, -32768, 32767, -16384, 0, -1, -1}));
    demod.differentiate = 0;
    demod.run({100, 5, 200, 5, 300, 5, 7}, 2); // three samples
    demod.run({1}, 2);                         // none
    EXPECT_EQ(demod.previous_sample, 300);
    demod.differentiate = 1;
    demod.run({310});
    EXPECT_EQ(written[0], 5);
}

TEST(FskDelayDemod, ATonesTurnOverTheDelayIsItsLevelWhateverTheAmplitude)
{
    for (const double amplitude : {300., 30000.})
        for (const auto& [hz, turn] :
             {std::pair{20., 0.02}, {250., 0.25}, {500., 0.5}, {1000., 1.}, {1500., 0.5}}) {
            Demod demod; // 10 samples at 20 kHz: half a turn at 1 kHz
            ZVFSKDelayDemod_SamplingRate(&demod, 20000);
            ZVDelayLine_Delay(demod.delay_line, 10);
            ZVFIR_TapsNum(demod.post_filter, 401);
            ZVFIR_CutOffHigh(demod.post_filter, 100);
            const Signal out = demod.run(tone(8000, hz, 20000, amplitude, 0.1));
            double mean = 0;
            for (size_t k = 4000; k < 8000; ++k) mean += out[k] / 4000.;
            EXPECT_NEAR(mean, 16383 * (1 - 2 * turn), 120) << hz << " Hz, " << amplitude;
        }
}

TEST(FskDelayDemod, SizesReachAllMembersOrNone)
{
    Demod demod, twin;
    for (Demod* d : {&demod, &twin}) d->run(noise(1500));
    for (int granted = 0; granted < 3; ++granted) { // the first, second, third member is refused
        const Refusing refusing(granted);
        ZVFSKDelayDemod16_BufferSize(&demod, uint32_t(3'000'000 << granted));
    }
    ZVFSKDelayDemod16_BufferSize(&demod, 0xFFFFFFF0);
    EXPECT_EQ(demod.buffer_size, 1024u);
    EXPECT_TRUE(same(demod.run(noise(3000, 2)), twin.run(noise(3000, 2))));

    ZVFSKDelayDemod16_BufferSize(&demod, 0);
    EXPECT_EQ(demod.buffer_size, 1u);
    EXPECT_EQ(demod.pre_filter->buffer_size, 1);
    EXPECT_EQ(demod.delay_line->buffer_size, 1);
    EXPECT_EQ(demod.post_filter->buffer_size, 1);

    ZVFSKDelayDemod16_BufferSize(&twin, 100); // null out: the last block stays in the filter
    ZVFSKDelayDemod16_BufferSize(&demod, 100);
    const Signal x = noise(150, 9), y = demod.run(x);
    ZVFSKDelayDemod16_Process(&twin, nullptr, x.data(), 150, 1);
    EXPECT_TRUE(std::equal(y.begin() + 100, y.end(), static_cast<int16_t*>(twin.post_filter->out_buffer)));
}
} // namespace
