// Arithmetic at exact widths: integers to the bit, reals against the reference in ulps.
#include "reference/arithmetic.h"
#include "support/signals.h"
#include <bit>
#include <cfenv>
#include <gtest/gtest.h>
#include <zovek/arithmetic.h>

namespace {
constexpr long double infinity = std::numeric_limits<long double>::infinity();
constexpr long double ulp = std::numeric_limits<long double>::epsilon(); // of 1

TEST(ComputeIQModule, EqualsTheExtendedRoot)
{
    test::Signal i = {3, -32768, -32768, 32767, 32767, 0, 23170, 23170, -1, 181},
                 q = {4, 0, -32768, 0, 181, 0};
    q.resize(i.size(), 23170);
    for (const int16_t level : {32767, 3000, 30}) {
        const test::Signal more_i = test::noise(20001, level, level),
                           more_q = test::noise(20001, level + 1, level);
        i.insert(i.end(), more_i.begin(), more_i.end());
        q.insert(q.end(), more_q.begin(), more_q.end());
    }
    test::Signal out(i.size()), wanted(i.size());
    for (size_t n = 0; n < i.size(); n++) wanted[n] = reference::magnitude(i[n], q[n]);
    ComputeIQModule_I16(i.data(), q.data(), out.data(), uint32_t(i.size()));
    EXPECT_TRUE(test::same(out, wanted));
    EXPECT_EQ(out[0], 5);
    EXPECT_EQ(out[1], -32768);
    for (uint32_t count = 1; count < 20; count++) { // in place, and not a sample further
        test::Signal both = i;
        ComputeIQModule_I16(both.data(), q.data(), both.data(), count);
        EXPECT_TRUE(std::equal(both.begin(), both.begin() + count, wanted.begin())) << count;
        EXPECT_TRUE(std::equal(both.begin() + count, both.end(), i.begin() + count)) << count;
    }
}

TEST(IntegerArithmetic, IsExact)
{
    EXPECT_EQ(Div_UI64UI32_UI32(0x100000000, 2), 0x80000000u);
    EXPECT_EQ(Div_UI64UI32_UI32(0xFFFFFFFEFFFFFFFF, 0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_EQ(Div_UI64UI32_UI32(99, 100), 0u);
    EXPECT_EQ(Mul_UI32UI32_UI64(0xFFFFFFFF, 0xFFFFFFFF), 0xFFFFFFFE00000001u);
    EXPECT_EQ(Mul_UI32UI32_UI64(0x80000000, 6), 0x300000000u);
    for (const uint64_t value : {uint64_t(0), ~uint64_t(0), uint64_t(0x8000000000000001), uint64_t(1) << 32,
                                 uint64_t(0xFFFFFFFF), uint64_t(0x0123456789ABCDEF)})
        EXPECT_EQ(OneBits_QWord(value), reference::one_bits(value)) << value;
}

// On i386 the library brings 64-bit division and bit search itself.
TEST(IntegerArithmetic, DividesAsOnPaper)
{
    std::vector<uint64_t> values = {1, 2, 3};
    for (const uint64_t power : {uint64_t(1) << 31, uint64_t(1) << 32, uint64_t(1) << 63})
        values.insert(values.end(), {power - 1, power, power + 1});
    values.push_back(~uint64_t(0));
    std::mt19937_64 random(5);
    for (int n = 0; n < 300; ++n) values.push_back((random() >> random() % 64) | 1);
    for (const uint64_t a : values)
        for (const uint64_t b : values) {
            uint64_t quotient = 0, rest = 0;
            for (int bit = 63; bit >= 0; --bit) {
                const bool carry = rest >> 63;
                rest = rest << 1 | (a >> bit & 1);
                if (carry || rest >= b) rest -= b, quotient |= uint64_t(1) << bit;
            }
            const volatile uint64_t va = a, vb = b;
            ASSERT_EQ(va / vb, quotient) << a << '/' << b;
            ASSERT_EQ(va % vb, rest) << a << '%' << b;
            if (a >> 63 || b >> 63) continue;
            for (const int sign_a : {1, -1})
                for (const int sign_b : {1, -1}) {
                    const volatile int64_t sa = sign_a * int64_t(a), sb = sign_b * int64_t(b);
                    ASSERT_EQ(sa / sb, sign_a * sign_b * int64_t(quotient)) << sa << '/' << sb;
                    ASSERT_EQ(sa % sb, sign_a * int64_t(rest)) << sa << '%' << sb;
                }
        }
    const volatile int64_t least = INT64_MIN, two = 2;
    EXPECT_EQ(least / two, INT64_MIN / 2);
    EXPECT_EQ(two / least, 0);
    for (int bit = 0; bit < 64; ++bit) {
        const volatile uint64_t from_bit_on = ~uint64_t(0) << bit;
        EXPECT_EQ(std::countr_zero(uint64_t(from_bit_on)), bit);
    }
}

TEST(Exponential, FollowsTheReference)
{
    EXPECT_EQ(Exp_Float(0.0f), 1);
    EXPECT_EQ(Exp_Double(-0.0), 1);
    std::mt19937 random(4);
    for (const double range : {1e-18, 1e-6, 0.1, 3.0, 100.0, 11000.0})
        for (int n = 0; n < 3000; n++) {
            const double x = reference::to_double(std::uniform_real_distribution(-range, range)(random));
            // Two ulps; at a power of 2 they are those of the binade below.
            const long double wanted = reference::exp_double(x);
            ASSERT_NEAR(double(Exp_Double(x) / wanted - 1), 0, double(2 * ulp)) << x;
            ASSERT_EQ(Exp_Float(float(x)), Exp_Double(float(x))) << x;
        }
    EXPECT_NEAR(double(Exp_Double(-2.5)), 0.0820849986238988, 1e-16);
}

TEST(Exponential, EndsInInfinityAndNothing)
{
    const double inf = std::numeric_limits<double>::infinity();
    for (const double x : {11356.6, 1e6, std::numeric_limits<double>::max(), inf})
        EXPECT_EQ(Exp_Double(x), infinity) << x;
    for (const double x : {-11400.0, -1e6, -std::numeric_limits<double>::max(), -inf})
        EXPECT_EQ(Exp_Double(x), 0);
    EXPECT_LT(Exp_Double(11356.5), infinity);
    EXPECT_GT(Exp_Double(-11398.0), 0) << "a denormal";
    EXPECT_TRUE(std::isnan(Exp_Float(std::numeric_limits<float>::quiet_NaN())));
}

// Rounding toward zero is in force inside and leaves no trace outside.
TEST(Exponential, TruncatesAndRestoresTheCallersMode)
{
    const long double nearest = Exp_Double(-1e-20);
    EXPECT_EQ(nearest, 1 - ulp / 2) << "cut, where rounding to nearest gives 1";
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        std::fesetround(mode);
        const long double value = Exp_Double(-1e-20);
        const int after = std::fegetround();
        volatile long double third = 1, three = 3;
        third = third / three * three; // the x87 unit's own mode
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(after, mode);
        EXPECT_EQ(value, nearest);
        EXPECT_EQ(third < 1, mode == FE_DOWNWARD || mode == FE_TOWARDZERO) << mode;
    }
}

TEST(Logarithm, FollowsTheReference)
{
    std::mt19937 random(5);
    for (int n = 0; n < 10000; n++) {
        const float x = float(std::exp2(std::uniform_real_distribution(-140.0, 127.0)(random)));
        const long double wanted = reference::log10(x);
        ASSERT_NEAR(double(Log10_F32_Fxx(x) - wanted), 0, double(2 * ulp * std::fabs(wanted))) << x;
    }
    EXPECT_EQ(Log10_F32_Fxx(1.0f), 0);
    EXPECT_EQ(Log10_F32_Fxx(0.0f), -infinity);
    EXPECT_TRUE(std::isnan(Log10_F32_Fxx(-1.0f)));
}

TEST(Logarithm, RoundsToTheNearestInteger)
{
    const std::pair<long double, int32_t> rows[] = {
        {1000, 3}, {31.7L, 2},     {31.6L, 1},      {0.05L, -1},           {1e-4900L, -4900}, {1e4900L, 4900},
        {1, 0},    {0, INT32_MIN}, {-5, INT32_MIN}, {infinity, INT32_MIN}, {NAN, INT32_MIN},
    };
    for (const auto& [x, wanted] : rows) EXPECT_EQ(Log10_F80_I32(x), wanted) << x;
}
} // namespace
