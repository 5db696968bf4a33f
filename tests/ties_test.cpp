// Rounding next to ties: what is called sure rounds as its neighbours do, and no more is in doubt than lies
// within the bound.
#include "core/ties.h"
#include <bit>
#include <cfloat>
#include <gtest/gtest.h>
#include <limits>

namespace {
using namespace zv;

class Ties : public testing::Test {
protected:
    void SetUp() override
    {
        if (FLT_EVAL_METHOD != 0) GTEST_SKIP() << "x87 keeps more than a double";
    }
};

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST_F(Ties, NearestIsEvenAtATie)
{
    using Pair = double __attribute__((vector_size(16)));
    constexpr double edge = 0x1p51 - 0.5;
    for (const double v : {0.0, 0.5, std::nextafter(0.5, 0), std::nextafter(0.5, 1), 1.5, 2.5, 32767.5,
                           0x1p31 - 0.5, 0x1p50 + 0.25, edge, edge - 1, 0x1p51})
        for (const double x : {v, -v}) {
            const ties::Nearest one(x);
            EXPECT_EQ(one.whole, std::nearbyint(x)) << x;
            EXPECT_EQ(one.rest, x - std::nearbyint(x)) << x;
            EXPECT_EQ(std::bit_cast<uint64_t>(one.shifted) << 13, uint64_t(int64_t(one.whole)) << 13) << x;
            const ties::Nearest two(Pair{x, -x});
            EXPECT_EQ(two.whole[0], one.whole) << x;
            EXPECT_EQ(two.whole[1], -one.whole) << x;
        }
}

TEST_F(Ties, DoubtReachesAsFarAsTheBound)
{
    constexpr double e = 0x1p-18, more = e + 0x1p-21;
    for (const double whole : {0.0, 1.0, -7.0, 32767.0, -32768.0, 0x1p31 - 1, -0x1p31}) {
        for (const double off : {0.0, e, -e}) EXPECT_LT(ties::doubt(whole + 0.5 + off, e), 0) << whole;
        for (const double off : {more, -more, 0.5}) EXPECT_GE(ties::doubt(whole + 0.5 + off, e), 0) << whole;
    }
    for (const double v : {infinity, -infinity, std::nan("")}) EXPECT_LT(ties::doubt(v, e), 0) << v;
    double v = 0x1p50 - 0.25;
    for (int k = 0; k < 14; ++k, v = v * 1.7 + 1) // past 2^51 too, sure is true
        EXPECT_TRUE(ties::doubt(v, e) < 0 || ties::Nearest(v).whole == std::nearbyint(v)) << v;
}

TEST_F(Ties, FixedPointHasItsTiesAtHalves)
{
    constexpr int bits = 44;
    constexpr int64_t one = int64_t(1) << bits, e = one >> 24;
    for (const int64_t whole : {0, 1, -1, 131071, -131072})
        for (const int64_t off : {int64_t(0), e, e + 1, one / 2 - 1})
            for (const int64_t v : {whole * one + one / 2 + off, whole * one + one / 2 - off})
                EXPECT_EQ(ties::doubt<bits>(uint64_t(v), e) < 0, off <= e) << v;
}

TEST_F(Ties, DoublesHaveThoseOfFloats)
{
    constexpr int64_t e = 4;
    for (const float low : {1.0f, -1.0f, 0x1.fffffep9f, 0x1p-126f, -3e38f, 0x1.fffffep127f}) {
        const uint64_t tie = std::bit_cast<uint64_t>(double(low)) + (uint64_t(1) << (ties::float_drops - 1));
        const auto rounded = [=](int64_t off) {
            return static_cast<float>(std::bit_cast<double>(tie + uint64_t(off)));
        };
        for (const int64_t off : {int64_t(0), e, -e})
            EXPECT_LT(ties::doubt<ties::float_drops>(tie + uint64_t(off), e), 0);
        for (const int64_t off : {e + 1, -e - 1}) {
            EXPECT_GE(ties::doubt<ties::float_drops>(tie + uint64_t(off), e), 0) << low;
            EXPECT_EQ(rounded(off - e), rounded(off + e)) << low;
        }
        EXPECT_NE(rounded(1), rounded(-1)) << low;
    }
}
} // namespace
