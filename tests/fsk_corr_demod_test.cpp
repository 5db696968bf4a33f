// The FSK correlator: every kernel against the plain model to the bit, worked numbers, setters under refusal.
#include "decode/fsk_corr_demod.h"
#include "reference/fsk_corr_demod.h"
#include "support/platform.h"
#include "support/processors.h"
#include "support/signals.h"
#include <algorithm>

namespace {
using namespace test;
using namespace zv::fsk_corr_demod;

struct Demod : ZVFSKCorrDemod {
    Demod() { ZVFSKCorrDemod16_Construct(this); }
    ~Demod() { ZVFSKCorrDemod_Destruct(this, 0); }
    Signal run(const Signal& in, int32_t step = 1)
    {
        Signal out(in.size() / size_t(step));
        ZVFSKCorrDemod16_Process_16_16(this, in.data(), out.data(), int32_t(in.size()), step);
        return out;
    }
};

// Silence between, so that sums are left to their rounding; small samples, whose sums tie often.
Signal bursts(size_t count)
{
    Signal x = noise(count, 3, 3);
    for (size_t k = 0; k < count; ++k)
        if (k / 700 % 2) x[k] = 0;
    return x;
}

TEST(FskCorrDemod, EveryKernelStoresWhatTheModelStores)
{
    const struct {
        float rate, bits, tone_1, tone_2;
        Signal x;
    } settings[] = {
        {22050, 1200, 1200, 2200, noise(40000)},
        {22800, 1200, 1200, 2200, tone(9000, 1700, 22800, 30000)}, // 20 samples a bit, as 8 kHz has 4: ties
        {9600, 300, 1200, 2400, tone(9000, 1200, 9600, 9000)},     // cosines that should be 0
        {48000, 45.45f, 2125, 2295, noise(9000, 2, 100)},
        {8000, 50000, 0, 4000, Signal(5000, -32768)}, // shortest window, magnitudes of full scale
        {8000, 2000, 0, 4000, noise(5000, 7, 1000)},  // results in halves
        {11025, 1200, -1300, 1e6f, bursts(20000)},
    };
    for (const auto& kernel : running_here(zv::fsk_corr_demod::rows))
        for (const auto& row : settings) {
            Demod demod;
            demod.kernel = kernel.kernel;
            reference::FskCorrDemod model;
            ZVFSKCorrDemod_SamplingRate(&demod, row.rate);
            ZVFSKCorrDemod_BitRate(&demod, row.bits);
            model.set_rates(row.rate, row.bits);
            demod.tone_1 = model.tone_1 = row.tone_1;
            demod.tone_2 = model.tone_2 = row.tone_2;
            size_t at = 0;
            for (size_t piece = 1; at < row.x.size(); piece = piece * 7 % 512 + 1) { // one block each
                const size_t end = std::min(at + piece, row.x.size());
                const Signal x(row.x.begin() + long(at), row.x.begin() + long(end));
                ASSERT_TRUE(same(demod.run(x), model.block(x)))
                    << kernel.name << " " << row.rate << " " << at;
                ASSERT_EQ(demod.phase_1, model.phase_1);
                ASSERT_EQ(demod.phase_2, model.phase_2);
                at = end;
            }
            EXPECT_TRUE(std::equal(&demod.sum_1_cos, &demod.sum_1_cos + 4, model.sums.begin()));
            for (size_t k = 0; k < model.window.size(); ++k)
                for (size_t j = 0; j < 4; ++j)
                    ASSERT_EQ(demod.window[(demod.window_index + 4 * k + j) % demod.window_length],
                              model.window[k][j]);
        }
}

TEST(FskCorrDemod, WorkedNumbers)
{
    Demod demod;
    EXPECT_TRUE(same(demod.run({1000, -9, 1000, -9, 1000, -9, 1000, -9, -9}, 2), {0, 4, 14, 33}));

    // Whole cycles in the window: half the amplitude, its sign by the tone; the window fills from 0.
    for (const auto& [hz, level] : {std::pair{1200., 5000}, {2400., -5000}}) {
        Demod tones;
        ZVFSKCorrDemod_SamplingRate(&tones, 24000);
        tones.tone_2 = 2400;
        ZVFSKCorrDemod_BitRate(&tones, 1200);
        const Signal out = tones.run(tone(400, hz, 24000, 10000, 0.3));
        ASSERT_EQ(tones.samples_per_bit, 20);
        for (size_t k = 20; k < out.size(); ++k) ASSERT_NEAR(out[k], level, 2);
        EXPECT_LT(std::abs(out[10]), 4000);
    }
}

TEST(FskCorrDemod, WithoutAnOutputOneBlockStaysInTheBuffer)
{
    Demod demod, twin;
    const Signal x = noise(1300);
    const Signal wanted = twin.run(Signal(x.begin(), x.begin() + 512));
    ZVFSKCorrDemod16_Process_16_16(&demod, x.data(), nullptr, 1300, 1); // one block alone
    EXPECT_TRUE(same(Signal(demod.buffer, demod.buffer + 512), wanted));
    EXPECT_EQ(demod.phase_2, twin.phase_2);
    ZVFSKCorrDemod16_Process_16_16(&demod, x.data(), nullptr, 1, 2); // no whole step
    EXPECT_EQ(demod.phase_2, twin.phase_2);
}

TEST(FskCorrDemod, SettersEmptyTheWindowOrLeaveAllAsItWas)
{
    Demod demod, twin;
    for (Demod* d : {&demod, &twin}) d->run(noise(1000));
    ZVFSKCorrDemod_BitRate(&demod, 1200);
    ZVFSKCorrDemod_BufferSize(&demod, 512);
    {
        const Refusing refusing;
        ZVFSKCorrDemod_BitRate(&demod, 0.01f);
        ZVFSKCorrDemod_SamplingRate(&demod, 3e10f);
        ZVFSKCorrDemod_BufferSize(&demod, 50'000'000);
    }
    ZVFSKCorrDemod_BufferSize(&demod, 0xFFFFFFFF);
    EXPECT_EQ(demod.bit_rate, 1200);
    EXPECT_EQ(demod.sampling_rate, 22050);
    EXPECT_EQ(demod.buffer_size, 512u);
    EXPECT_TRUE(same(demod.run(noise(700, 5)), twin.run(noise(700, 5))));

    ZVFSKCorrDemod_BufferSize(&demod, 100'000);
    EXPECT_NE(demod.sum_1_cos, 0);
    const float phase = demod.phase_1;
    ZVFSKCorrDemod_BitRate(&demod, 300);
    EXPECT_EQ(demod.samples_per_bit, 74);
    EXPECT_EQ(demod.window_length, 4u * 74);
    EXPECT_EQ(demod.window_capacity, 4u * 74);
    EXPECT_EQ(demod.sum_1_cos, 0);
    EXPECT_EQ(demod.window_index, 0u);
    EXPECT_EQ(demod.phase_1, phase);
    EXPECT_TRUE(same(demod.run(Signal(200)), Signal(200)));
}
} // namespace
