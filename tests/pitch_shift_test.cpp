// The pitch shifter: against the model to the bit, where a tone goes and what is left of its image, sizes and
// refusal.
#include "reference/pitch_shift.h"
#include "support/platform.h"
#include "support/signals.h"
#include <gtest/gtest.h>
#include <zovek/pitch_shift.h>

namespace {
using namespace test;

class PitchShift : public testing::Test {
protected:
    PitchShift() { ZVPitchShift1616_Construct(&shifter); }
    ~PitchShift() override { ZVPitchShift_Destruct(&shifter, 0); }
    Signal process(const Signal& in, int32_t step = 1)
    {
        Signal out(in.size() / size_t(step));
        ZVPitchShift1616_Process_16_16(&shifter, out.data(), in.data(), int32_t(in.size()), step);
        return out;
    }
    Signal hilbert_taps() const
    {
        const auto* taps = static_cast<const int16_t*>(shifter.filter.taps);
        return {taps, taps + shifter.filter.taps_count};
    }
    ZVPitchShift shifter;
};

TEST_F(PitchShift, EqualsTheModelInAnyPieces)
{
    const int32_t rates[] = {11025, 8000, 7};
    for (const int32_t rate : rates)
        for (const int32_t taps : {63, 64, 3})
            for (const int32_t shift : {0, 100, -1, -rate, rate, 3 * rate + 2}) {
                SCOPED_TRACE(testing::Message() << rate << " Hz, " << taps << " taps, by " << shift);
                ZVPitchShift1616_SamplingRate(&shifter, rate);
                ZVPitchShift1616_BufferSize(&shifter, 1);
                ZVPitchShift1616_BufferSize(&shifter, 200); // silence
                ZVPitchShift1616_TapsNum(&shifter, taps);
                shifter.shift = shift;
                reference::PitchShift model = {.rate = rate, .shift = shift, .taps = hilbert_taps()};
                const Signal x = noise(700, 3);
                auto from = x.begin();
                for (const int piece : {1, 199, 500}) {
                    const Signal part(from, from + piece);
                    from += piece;
                    ASSERT_TRUE(same(process(part), model.process(part)));
                    ASSERT_EQ(shifter.table_index, model.place);
                    shifter.shift = model.shift = piece == 199 ? 1 : shift; // the phase goes on
                }
            }
}

// Level of a frequency, peak, over a whole number of its cycles.
double level(const Signal& x, double hz, double rate)
{
    double re = 0, im = 0;
    for (size_t k = 0; k < x.size(); ++k) {
        const double angle = 2 * std::numbers::pi * hz * double(k) / rate;
        re += x[k] * std::cos(angle), im += x[k] * std::sin(angle);
    }
    return 2 * std::hypot(re, im) / double(x.size());
}

TEST_F(PitchShift, MovesAToneUpOrDownAndLeavesNoImage)
{
    ZVPitchShift1616_SamplingRate(&shifter, 8000);
    for (const int32_t shift : {100, -250, 900}) {
        shifter.shift = shift;
        const Signal out = process(tone(8200, 1000, 8000, 10000));
        const Signal settled(out.begin() + 200, out.end());
        EXPECT_NEAR(level(settled, 1000 + shift, 8000), 10000, 20) << shift;
        EXPECT_LT(level(settled, 1000 - shift, 8000), 15) << shift; // 56 dB below
        EXPECT_LT(level(settled, 1000, 8000), 10) << shift;
    }
}

TEST_F(PitchShift, SettersReachTheMembersAndClamp)
{
    EXPECT_EQ(shifter.buffer_size, 1024u);
    EXPECT_EQ(shifter.table_length, 11025);
    EXPECT_EQ(shifter.taps_count, 63);
    EXPECT_EQ(shifter.delay_line.delay, 31);
    EXPECT_EQ(shifter.filter.fir_type, ZVFIRType_Hilbert);
    ZVPitchShift1616_TapsNum(&shifter, 64);
    EXPECT_EQ(shifter.taps_count, 65);
    EXPECT_EQ(shifter.delay_line.delay, 32);
    ZVPitchShift1616_TapsNum(&shifter, -5);
    EXPECT_EQ(shifter.taps_count, 3);
    ZVPitchShift1616_BufferSize(&shifter, 0);
    EXPECT_EQ(shifter.buffer_size, 1u);
    EXPECT_EQ(shifter.filter.buffer_size, 1);
    EXPECT_EQ(shifter.delay_line.buffer_size, 1);
    ZVPitchShift1616_SamplingRate(&shifter, -8000);
    EXPECT_EQ(shifter.table_length, 4);
    shifter.shift = 1;
    process({1, 2, 3});
    EXPECT_EQ(shifter.table_index, 3);
    ZVPitchShift1616_SamplingRate(&shifter, 4); // the present rate: the oscillator starts again
    EXPECT_EQ(shifter.table_index, 0);
}

TEST_F(PitchShift, StepsRoundDown)
{
    const Signal x = noise(41, 8, 9000);
    Signal pairs(83, -1);
    for (size_t k = 0; k < 41; ++k) pairs[2 * k] = x[k];
    shifter.shift = 440;
    const Signal wanted = process(x);
    ZVPitchShift1616_SamplingRate(&shifter, 11025);
    ZVPitchShift1616_BufferSize(&shifter, 16);
    EXPECT_TRUE(same(process(pairs, 2), wanted));
    const int32_t place = shifter.table_index;
    ZVPitchShift1616_Process_16_16(&shifter, nullptr, x.data(), 3, 4); // not one whole step
    EXPECT_EQ(shifter.table_index, place);
}

// Refuses the first, the second, ... request of a setter: the stream goes on as if it had not been called.
TEST_F(PitchShift, ARefusedSetterChangesNothing)
{
    shifter.shift = 33;
    reference::PitchShift model = {.shift = 33, .taps = hilbert_taps()};
    const auto goes_on = [&] {
        const Signal x = noise(100, 9);
        return same(process(x), model.process(x));
    };
    for (int granted = 0; granted < 4; ++granted) {
        const Refusing refusing(granted);
        ZVPitchShift1616_BufferSize(&shifter, 300'000u << granted);
        if (shifter.buffer_size != 1024) break; // all three areas were there
        ASSERT_TRUE(goes_on()) << granted;
    }
    EXPECT_NE(shifter.buffer_size, 1024u);
    EXPECT_EQ(shifter.buffer_size, uint32_t(shifter.delay_line.buffer_size));
    model.past.clear();
    const Refusing refusing;
    ZVPitchShift1616_SamplingRate(&shifter, 2'000'000);
    ZVPitchShift1616_SamplingRate(&shifter, INT32_MAX);
    ZVPitchShift1616_TapsNum(&shifter, 2'000'000);
    ZVPitchShift1616_BufferSize(&shifter, 20'000'000);
    EXPECT_EQ(shifter.table_length, 11025);
    EXPECT_EQ(shifter.taps_count, 63);
    EXPECT_EQ(shifter.filter.sampling_rate, 11025);
    EXPECT_TRUE(goes_on());
}
} // namespace
