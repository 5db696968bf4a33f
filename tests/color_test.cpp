// Colour arithmetic: worked bytes, and every byte treated alike.
#include <gtest/gtest.h>
#include <zovek/color.h>

namespace {
constexpr uint32_t everywhere = 0x01010101;

TEST(Color, InterpolatesWithTheQuotientCutTowardZero)
{
    const struct {
        uint32_t a, b;
        int32_t divisor, multiplier;
        uint32_t result;
    } rows[] = {
        {10, 0, 3, 1, 7},
        {0, 10, 3, 1, 3},
        {100, 200, 1, 2, 255},
        {200, 100, 1, 3, 255},
        {10, 0, -3, -1, 7},
        {0, 10, -3, 1, 255},
        {100, 90, 2, -3, 115},
        {255, 0, 255, 254, 1},
        {0, 255, 255, 128, 128},
        {7, 7, 1, INT32_MAX, 7},
        {0, 255, INT32_MAX, INT32_MAX, 255},
        {200, 100, INT32_MIN, INT32_MIN, 100},
    };
    for (const auto& [a, b, divisor, multiplier, result] : rows)
        EXPECT_EQ(ColorInterpolate(a * everywhere, b * everywhere, divisor, multiplier), result * everywhere)
            << a << ' ' << b << ' ' << divisor << ' ' << multiplier;
    for (int32_t m = 0; m <= 97; ++m) // four different bytes, each as it is alone
        EXPECT_EQ(ColorInterpolate(0xFF00C80A, 0x0180050A, 97, m),
                  ColorInterpolate(0xFF000000, 0x01000000, 97, m) | ColorInterpolate(0, 0x00800000, 97, m) |
                      ColorInterpolate(0x0000C800, 0x00000500, 97, m) | 0x0A);
    EXPECT_EQ(ColorInterpolate(0x12345678, 0x9ABCDEF0, 97, 0), 0x12345678u);
    EXPECT_EQ(ColorInterpolate(0x12345678, 0x9ABCDEF0, 97, 97), 0x9ABCDEF0u);
}

TEST(Color, ScalesEachByte)
{
    EXPECT_EQ(ColorPonderate(0x80402010, 1, 2), 0x40201008u);
    EXPECT_EQ(ColorPonderate(0xC80A01FF, 2, 1), 0xFF1402FFu);
    EXPECT_EQ(ColorPonderate(0x0A010003, -1, 2), 0xFF0000FFu); // -5, and three quotients: 0, 0, -1
    EXPECT_EQ(ColorPonderate(0xFF800100, INT32_MAX, INT32_MAX), 0xFF800100u);
    EXPECT_EQ(ColorPonderate(0xFF800100, INT32_MIN, INT32_MIN), 0xFF800100u);
}
} // namespace
