// The demodulator's vector loops against the plain form in extended precision, to the bit, over long signals.
#include "receiver/demodulator_kernels.h"
#include "support/guarded.h"
#include "support/signals.h"
#include <algorithm>
#include <bit>
#include <gtest/gtest.h>

namespace {
using namespace zv::demodulator;
namespace oscillator = zv::oscillator;
using test::noise, test::same, test::Signal, test::Signal32;

const Kernels& plain() { return *rows.back().kernel; }

class DemodulatorKernels : public testing::TestWithParam<zv::Row<const Kernels*>> {
protected:
    const Kernels& kernels = *GetParam().kernel;
    void SetUp() override
    {
        if (!GetParam().when.has_sets(*_CPU(), zv::wider_sets)) GTEST_SKIP() << "does not run here";
    }
    static std::vector<oscillator::Turn> table(int32_t rate)
    {
        std::vector<oscillator::Turn> turns(static_cast<size_t>(rate));
        oscillator::fill(turns.data(), rate, oscillator::scale);
        return turns;
    }
};

// Full-scale noise, then smaller and smaller, with zeros and ends of the range in between.
Signal32 decaying(size_t count, uint32_t seed)
{
    auto x = noise<int32_t>(count, seed);
    for (size_t k = 0; k < count; ++k) {
        x[k] >>= k * 32 / count;
        if (k % 97 < 2) x[k] = 0;
        if (k % 89 < 2) x[k] = k % 2 ? INT32_MAX : INT32_MIN;
    }
    return x;
}
constexpr int32_t long_count = 400'003;

TEST_P(DemodulatorKernels, DetectorsAreExact)
{
    const Signal32 i = decaying(long_count, 1), q = decaying(long_count, 2);
    Signal32 got(long_count), wanted(long_count);
    const auto compare = [&](auto detect) {
        detect(kernels, Detection{i.data(), q.data(), got.data(), long_count});
        detect(plain(), Detection{i.data(), q.data(), wanted.data(), long_count});
        EXPECT_TRUE(same(got, wanted));
    };
    compare([](const Kernels& k, const Detection& block) { k.envelope(block); });
    compare([](const Kernels& k, const Detection& block) { k.frequency(block, -5, 1 << 30); });
    // A steady turn by small angles, as of a real signal.
    Signal32 slow_i(long_count), slow_q(long_count);
    for (int32_t k = 0; k < long_count; ++k) {
        const double angle = 1e-5 * k * (1 + k * 1e-6);
        slow_i[size_t(k)] = int32_t(1e9 * std::cos(angle)),
        slow_q[size_t(k)] = int32_t(1e9 * std::sin(angle));
    }
    kernels.frequency({slow_i.data(), slow_q.data(), got.data(), long_count}, 0, 0);
    plain().frequency({slow_i.data(), slow_q.data(), wanted.data(), long_count}, 0, 0);
    EXPECT_TRUE(same(got, wanted));
}

TEST_P(DemodulatorKernels, FramesAreExact)
{
    const Signal32 left = decaying(long_count, 3), right = decaying(long_count, 4);
    Signal got(2 * long_count), wanted(2 * long_count);
    const zv::extended gains[] = {0x1p-15L, 1.0L / 65536, 1.7L * 0.3f / 65536, 3e-5L / 7, 0, 0.01L, 900,
                                  -1e-5L,   1e30L};
    for (const zv::extended gain : gains) { // with powers of two, ties; with large ones, more than 32 bits
        SCOPED_TRACE(double(gain));
        kernels.frames(got.data(), left.data(), right.data(), long_count, gain);
        plain().frames(wanted.data(), left.data(), right.data(), long_count, gain);
        EXPECT_TRUE(same(got, wanted));
    }
}

// The turning vector meets whole numbers at every quarter of a cycle, zeros in silence and the table's own
// rounding everywhere; the plain loop reads the table.
TEST_P(DemodulatorKernels, MixersAreExact)
{
    constexpr int32_t count = 200'000;
    Signal x = noise(count, 5);
    for (size_t k = 0; k < count; k += 7) x[k] = int16_t(k % 3 - 1);
    std::fill_n(x.begin() + 1000, 1000, 0);
    Signal i(count), q(count), wanted_i(count), wanted_q(count);
    for (const auto& [rate, hz] :
         {std::pair(44100, 11025), {48000, 7}, {65537, 40000}, {999983, 123457}, {8, 3}, {1, 0}}) {
        SCOPED_TRACE(std::to_string(rate) + " Hz, oscillator " + std::to_string(hz));
        const auto turns = table(rate);
        const oscillator::Phase phase(rate / 3, hz, rate);
        plain().turn(turns.data(), phase, x.data(), wanted_i.data(), wanted_q.data(), count);
        kernels.turn(turns.data(), phase, x.data(), i.data(), q.data(), count);
        EXPECT_TRUE(same(i, wanted_i));
        EXPECT_TRUE(same(q, wanted_q));

        oscillator::Run run;
        run.build(turns.data(), phase);
        EXPECT_EQ(run.continues(phase), rate / std::gcd(rate, hz) <= 16384);
        if (!run.continues(phase)) continue;
        run.walk(count, [&](const oscillator::Halves& halves, int32_t first, int32_t n) {
            kernels.mix(halves, x.data() + first, i.data() + first, q.data() + first, n);
        });
        EXPECT_TRUE(same(i, wanted_i));
        EXPECT_TRUE(same(q, wanted_q));
        EXPECT_TRUE(run.continues(phase.after(count)));
        EXPECT_EQ(run.continues(phase.after(count + 1)), hz == 0);
    }
}

// Noise keeps the loop unlocked and its phase everywhere. A last bit of sine or cosine can move a sample only
// next to a tie.
TEST_P(DemodulatorKernels, SynchronousLoopKeepsItsPrecision)
{
    const Signal32 i = decaying(long_count, 6), q = decaying(long_count, 7);
    Signal32 got(long_count), wanted(long_count);
    CarrierLoop loop = {0, 0.1, 0, 1e6}, wanted_loop = loop;
    kernels.synchronous(loop, {i.data(), q.data(), got.data(), long_count});
    plain().synchronous(wanted_loop, {i.data(), q.data(), wanted.data(), long_count});
    int different = 0;
    for (size_t k = 0; k < got.size(); ++k) {
        ASSERT_NEAR(got[k], wanted[k], 1) << k;
        different += got[k] != wanted[k];
    }
    EXPECT_LT(different, 10);
    EXPECT_NEAR(loop.phase, wanted_loop.phase, 1e-14);
    EXPECT_NEAR(loop.frequency, wanted_loop.frequency, 1e-14);
}

// Nothing beyond the count is read or written.
TEST_P(DemodulatorKernels, KeepWithinTheirBlocks)
{
    const auto turns = table(48000);
    for (const int32_t count : {1, 2, 7, 63, 64, 65, 130}) {
        const size_t n = size_t(count);
        test::Guarded<int16_t> x(n), i(n), q(n), out(2 * n), halves(n);
        test::Guarded<int32_t> in_i(n), in_q(n), d(n);
        kernels.turn(turns.data(), {0, 7, 48000}, x.data(), i.data(), q.data(), count);
        kernels.mix({halves.data(), halves.data(), halves.data(), halves.data()}, x.data(), i.data(),
                    q.data(), count);
        kernels.envelope({in_i.data(), in_q.data(), d.data(), count});
        kernels.frequency({in_i.data(), in_q.data(), d.data(), count}, 1, 2);
        kernels.frames(out.data(), in_i.data(), in_q.data(), count, 1e-5L);
    }
}

const auto vector_rows = rows.first(rows.size() - 1);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(DemodulatorKernels); // x87 has the plain form alone
INSTANTIATE_TEST_SUITE_P(All, DemodulatorKernels, testing::ValuesIn(vector_rows.begin(), vector_rows.end()),
                         [](const auto& info) { return std::string(info.param.name); });
} // namespace
