// The formatter's two ways against the plain model in all their state, cut anywhere and by any
// callback; bits of made AFSK streams through both demodulators.
#include "reference/data_formatter.h"
#include "support/signals.h"
#include <algorithm>
#include <zovek.hpp>

namespace {
using namespace test;
using Runs = std::vector<reference::DataFormatter::Run>;

struct Formatter : ZVDataFormatter2 {
    Runs runs;
    std::function<void(Formatter&)> delivered; // what the callback does besides
    Formatter()
    {
        ZVDataFormatter2_Construct(this);
        user_data = reinterpret_cast<uintptr_t>(this);
        callback = [](uintptr_t user, ZVDataFormatter2* self, int32_t bits, int32_t value) {
            auto* formatter = reinterpret_cast<Formatter*>(user);
            EXPECT_EQ(formatter, self);
            formatter->runs.emplace_back(bits, value);
            if (formatter->delivered) formatter->delivered(*formatter);
        };
    }
    std::vector<bool> bits() const
    {
        std::vector<bool> all;
        for (const auto& [count, value] : runs) all.insert(all.end(), size_t(std::max(count, 0)), value != 0);
        return all;
    }
};

void expect_state(const Formatter& got, const reference::DataFormatter& wanted)
{
    EXPECT_EQ(got.last_bit_point, wanted.a);
    EXPECT_EQ(got.next_bit_point, wanted.b);
    const int32_t states[] = {wanted.previous, wanted.high,    wanted.low, wanted.extreme, wanted.state,
                              wanted.position, wanted.counter, wanted.d2,  wanted.d1};
    EXPECT_TRUE(std::equal(states, std::end(states), &got.previous_sample));
    EXPECT_EQ(got.runs, wanted.runs);
}

std::vector<bool> message(size_t count, uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<bool> bits(count);
    for (size_t k = 0; k < count; ++k) bits[k] = random() % 2;
    return bits;
}

// Level of each bit through a one-pole low-pass, in noise.
Signal soft(const std::vector<bool>& bits, double period, double level, uint32_t seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> hiss(0, level / 20);
    Signal x;
    double y = 0;
    for (size_t k = 0; double(k) < double(bits.size()) * period; ++k) {
        y += ((bits[std::min(size_t(double(k) / period), bits.size() - 1)] ? level : -level) - y) * 0.2;
        x.push_back(int16_t(std::lrint(y + hiss(random))));
    }
    return x;
}

// {gain, decay, bit rate}: exact ties of the decay at 0.5, decays that aren't fractions, bits shorter than a
// sample.
const struct {
    double gain, decay, bits;
} settings[] = {{0.01, 0.0008, 1000}, {0.2, 0.5, 1200},   {0, 1, 30000},
                {1, 0, 100000},       {-0.3, 1.5, 45.45}, {0.06, 0.25, 300}};

TEST(DataFormatter, BothWaysEqualTheModelInPiecesOfAnySize)
{
    std::vector<Signal> signals = {noise(20000), noise(20000, 2, 2), soft(message(400, 1), 44.1, 9000, 1),
                                   Signal(3000), tone(20000, 500, 44100, 32767)};
    for (size_t k = 1000; k < 12000; ++k) signals[2][k] &= ~255; // zeros among it
    for (const auto& set : settings)
        for (const Signal& x : signals)
            for (const int32_t mask : {0, -1, ~15, 0xFFFF, 0x7FFF0001}) { // 0: the loop
                Formatter formatter;
                reference::DataFormatter model;
                formatter.loop_gain = model.loop_gain = set.gain;
                formatter.peak_decay = model.peak_decay = set.decay;
                formatter.bit_rate = model.bit_rate = set.bits;
                for (size_t at = 0, piece = 1; at < x.size(); at += piece, piece = piece * 5 % 997 + 1) {
                    piece = std::min(piece, x.size() - at);
                    if (mask)
                        ZVDataFormatter2_Process_16(&formatter, &x[at], mask, int32_t(piece), 1);
                    else
                        ZVDataFormatter2_DPLL_16(&formatter, &x[at], piece == 1 ? 0 : int32_t(piece), 1);
                } // the loop takes at least one sample
                for (const int16_t v : x) mask ? model.slope(v, mask) : model.loop(v);
                expect_state(formatter, model);
                if (HasFailure()) FAIL() << set.gain << " " << set.decay << " " << set.bits << " " << mask;
            }
}

// What a callback sees is the object at that sample, and what it does to it stays, however the stream is cut.
TEST(DataFormatter, CallbacksMeetTheObjectAsItIsAtTheirSample)
{
    using Model = reference::DataFormatter;
    using Seen = std::vector<std::array<double, 4>>;
    const struct {
        const char* name;
        void (*change)(Formatter&);
        void (*wanted)(Model&);
    } deeds[] = {
        {"looks", [](Formatter&) {}, [](Model&) {}},
        {"resets", [](Formatter& f) { ZVDataFormatter2_Init(&f); }, [](Model& m) { m.reset(); }},
        {"moves the bit", [](Formatter& f) { f.next_bit_point += 3.7; }, [](Model& m) { m.b += 3.7; }},
        {"moves the last", [](Formatter& f) { f.last_bit_point -= 2.2; }, [](Model& m) { m.a -= 2.2; }},
        {"turns the sample over", [](Formatter& f) { f.previous_sample = -f.previous_sample; },
         [](Model& m) { m.previous = -m.previous; }},
        {"lowers the peaks", [](Formatter& f) { f.peak_high /= 2, f.sample_counter += 5; },
         [](Model& m) { m.high /= 2, m.counter += 5; }},
    };
    const Signal x = soft(message(300, 4), 44.1, 9000, 5);
    for (const auto& deed : deeds)
        for (const bool loop : {true, false})
            for (const size_t longest : {1, 13, 20000}) {
                Formatter formatter;
                Model model;
                Seen seen, wanted;
                formatter.delivered = [&](Formatter& f) {
                    seen.push_back({f.last_bit_point, f.next_bit_point, double(f.previous_sample),
                                    double(f.sample_counter)});
                    if (f.runs.size() % 7 == 0) deed.change(f);
                };
                model.delivered = [&](Model& m) {
                    wanted.push_back({m.a, m.b, double(m.previous), double(m.counter)});
                    if (m.runs.size() % 7 == 0) deed.wanted(m);
                };
                for (size_t at = 0, piece; at < x.size(); at += piece) {
                    piece = std::min(longest, x.size() - at);
                    if (loop)
                        ZVDataFormatter2_DPLL_16(&formatter, &x[at], int32_t(piece), 1);
                    else
                        ZVDataFormatter2_Process_16(&formatter, &x[at], -1, int32_t(piece), 1);
                }
                for (const int16_t v : x) loop ? model.loop(v) : model.slope(v, -1);
                ASSERT_GT(wanted.size(), 50u);
                EXPECT_EQ(seen, wanted) << deed.name << ", " << (loop ? "loop" : "slopes") << ", " << longest;
                expect_state(formatter, model);
            }
}

TEST(DataFormatter, StepsWidthsCallbacksAndReset)
{
    const Signal x = soft(message(300, 2), 36.75, 9000, 3);
    Formatter plain, stepped, wide, mute;
    Signal32 wide_x;
    for (const int16_t v : x) wide_x.insert(wide_x.end(), {v * 65536, 1 - v, 5});
    Signal pairs;
    for (const int16_t v : x) pairs.insert(pairs.end(), {v, int16_t(-v)});
    for (Formatter* f : {&plain, &stepped, &wide, &mute}) f->bit_rate = 1200;
    mute.callback = nullptr;
    const auto count = int32_t(x.size());
    EXPECT_EQ(ZVDataFormatter2_DPLL_16(&plain, x.data(), count, 1), &plain);
    ZVDataFormatter2_DPLL_16(&stepped, pairs.data(), 2 * count - 1, 2);
    ZVDataFormatter2_DPLL_32(&wide, wide_x.data(), 3 * count - 2, 3);
    ZVDataFormatter2_DPLL_16(&mute, x.data(), count, 1);
    for (const Formatter* f : {&stepped, &wide, &mute}) {
        EXPECT_EQ(f->next_bit_point, plain.next_bit_point);
        EXPECT_EQ(f->last_bit_point, plain.last_bit_point);
    }
    EXPECT_EQ(stepped.runs, plain.runs);
    EXPECT_EQ(wide.runs, plain.runs);
    EXPECT_EQ(wide.previous_sample, x.back() * 65536);

    ZVDataFormatter2_Process_16(&stepped, pairs.data(), -1, 2 * count, 2); // marks the other fields
    ZVDataFormatter2_Init(&stepped);
    reference::DataFormatter fresh;
    fresh.runs = stepped.runs;
    expect_state(stepped, fresh);
    EXPECT_EQ(stepped.bit_rate, 1200);
}

// 1200 Bd, 1200 Hz for a 1 and 2200 Hz for a 0, in noise, 22050 Hz; by way of each demodulator to bits.
TEST(DataFormatter, AfskStreamsComeOutAsTheBitsThatWentIn)
{
    const double rate = 22050, period = rate / 1200;
    std::vector<bool> sent = message(2000, 7);
    std::mt19937 random(8);
    std::normal_distribution<double> hiss(0, 500);
    Signal audio;
    double phase = 0;
    for (size_t k = 0; double(k) < double(sent.size()) * period; ++k) {
        phase += 2 * std::numbers::pi *
                 (sent[std::min(size_t(double(k) / period), sent.size() - 1)] ? 1200 : 2200) / rate;
        audio.push_back(int16_t(std::lrint(9000 * std::sin(phase) + hiss(random))));
    }
    Signal streams[2] = {Signal(audio.size()), Signal(audio.size())};
    const zovek::FSKCorrDemod correlator(ZVFSKCorrDemod16_Construct);
    ZVFSKCorrDemod16_Process_16_16(correlator, audio.data(), streams[0].data(), int32_t(audio.size()), 1);
    const zovek::FSKDelayDemod discriminator(ZVFSKDelayDemod16_Construct);
    ZVFSKDelayDemod_SamplingRate(discriminator, float(rate));
    ZVFIR_CutOffHigh(discriminator->pre_filter, 2800);
    ZVFIR_TapsNum(discriminator->post_filter, 61);
    ZVFIR_CutOffHigh(discriminator->post_filter, 900);
    // 0.45 ms: 1200 Hz is about half a turn, 2200 Hz a whole one.
    ZVDelayLine_Delay(discriminator->delay_line, 10);
    ZVFSKDelayDemod16_Process(discriminator, streams[1].data(), audio.data(), int32_t(audio.size()), 1);
    for (int16_t& v : streams[1]) v = int16_t(~v);

    for (int way = 0; way < 4; ++way) {
        Formatter formatter;
        formatter.bit_rate = 1200;
        formatter.sampling_rate = rate;
        formatter.loop_gain = 0.1;
        const Signal& x = streams[way % 2];
        if (way < 2)
            ZVDataFormatter2_DPLL_16(&formatter, x.data(), int32_t(x.size()), 1);
        else
            ZVDataFormatter2_Process_16(&formatter, x.data(), -1, int32_t(x.size()), 1);
        const std::vector<bool> got = formatter.bits();
        const auto place = std::search(got.begin(), got.end(), sent.begin() + 100, sent.end() - 20);
        EXPECT_NE(place, got.end()) << "way " << way << ", " << got.size() << " bits";
    }
}
} // namespace
