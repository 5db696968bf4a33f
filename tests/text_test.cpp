// Functions on byte strings and number texts. Sources and targets end right at an unmapped page.
#include "support/guarded.h"
#include "support/platform.h"
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <zovek/memory.h>
#include <zovek/text.h>

namespace {
struct Text : test::Guarded<char> {
    explicit Text(const std::string& s) : Guarded(s.size() + 1)
    {
        std::memcpy(data(), s.c_str(), s.size() + 1);
    }
};

TEST(Text, ComparesByUnsignedBytesAndFoldsAsciiLettersAlone)
{
    const struct {
        const char *a, *b;
        int32_t exact, folded;
    } rows[] = {
        {"", "", 0, 0},     {"abc", "ab", 99, 67},  {"", "\xFF", -255, -255}, {"Call", "cALL", -32, 0},
        {"a", "[", 6, -26}, {"same", "same", 0, 0}, {"\xE9", "\xC9", 32, 32}, {"a", "B", 31, -1},
    };
    for (const auto& [a, b, exact, folded] : rows) {
        Text left(a), right(b);
        EXPECT_EQ(StringCompare(left.data(), right.data()), exact) << a << ' ' << b;
        EXPECT_EQ(StringCompare(right.data(), left.data()), -exact) << a << ' ' << b;
        EXPECT_EQ(StringCompareI(left.data(), right.data()), folded) << a << ' ' << b;
        EXPECT_EQ(StringCompareI(right.data(), left.data()), -folded) << a << ' ' << b;
    }
    for (int c = 1; c < 256; ++c)
        EXPECT_EQ(StringCompareI(std::string(1, char(c)).c_str(), ""), c >= 'a' && c <= 'z' ? c - 32 : c);
}

TEST(Text, FindsWhatAPlainSearchFindsButNothingInAnEmptyText)
{
    std::mt19937 random(1);
    for (int n = 0; n < 3000; ++n) {
        std::string text(random() % 20, 'a'), pattern(random() % 4, 'a');
        for (char& c : text) c = char('a' + random() % 2);
        for (char& c : pattern) c = char('a' + random() % 2);
        Text t(text), p(pattern);
        const size_t at = text.empty() ? std::string::npos : text.find(pattern);
        ASSERT_EQ(StringString(t.data(), p.data()), at == std::string::npos ? nullptr : t.data() + at)
            << text << ' ' << pattern;
    }
}

TEST(Text, LengthCopyDuplicateAndReverse)
{
    for (const std::string s : {"", "a", "abc", "abcd", "\xE9 and \x01"}) {
        Text source(s), target(std::string(s.size(), '?'));
        EXPECT_EQ(StringLength(source.data()), s.size());
        EXPECT_EQ(StringCopy(target.data(), source.data()), target.data());
        EXPECT_EQ(target.data(), s);
        char* copy = StringDuplicate(source.data());
        EXPECT_EQ(copy, s);
        EXPECT_EQ(StringReverse(source.data()), source.data());
        EXPECT_EQ(source.data(), std::string(s.rbegin(), s.rend()));
        MemoryFree(copy);
    }
    Text gap("a gap of some length in the middle of a text");
    EXPECT_STREQ(StringCopy(gap.data() + 1, gap.data() + 2), "gap of some length in the middle of a text");
    const test::Refusing refusing;
    EXPECT_EQ(StringDuplicate("none"), nullptr);
}

TEST(Text, WritesNumbersInAnyBase)
{
    const struct {
        int64_t value;
        uint32_t base, minimum;
        std::string narrow, wide; // of the low 32 bits, of all 64
    } rows[] = {
        {0, 2, 4, "0000", "0000"},
        {-5, 10, 3, "-005", "-005"},
        {-1, 16, 0, "FFFFFFFF", "FFFFFFFFFFFFFFFF"},
        {-7, 2, 0, std::string(29, '1') + "001", std::string(61, '1') + "001"},
        {INT32_MIN, 10, 0, "-2147483648", "-2147483648"},
        {INT64_MIN, 10, 0, "0", "-9223372036854775808"},
        {INT64_MAX, 36, 0, "1Z141Z3", "1Y2P0IJ32E8E7"},
        {12345, 10, 40, std::string(35, '0') + "12345", std::string(35, '0') + "12345"},
        {7, 1, 5, "", ""},
        {-7, 37, 5, "", ""},
    };
    for (const auto& [value, base, minimum, narrow, wide] : rows) {
        Text target(narrow), target64(wide); // room for exactly the result
        EXPECT_EQ(IntegerToString(int32_t(value), base, target.data(), minimum), target.data());
        EXPECT_EQ(target.data(), narrow) << value << ' ' << base;
        EXPECT_EQ(Int64ToString(value, base, target64.data(), minimum), target64.data());
        EXPECT_EQ(target64.data(), wide) << value << ' ' << base;
    }
}

TEST(Text, ReadsDecimalNumbersInExtendedPrecision)
{
    const std::pair<const char*, long double> rows[] = {
        {"  -12,5x", -12.5L},
        {".5", .5L},
        {"\t+3", 3},
        {"", 0},
        {"- 1", -0.0L},
        {"-", -0.0L},
        {"1e3", 1},
        {"7.", 7},
        {"1.5.5", 1.5L},
        {"+-1", 0},
        {"\n1", 0},
        {"-.25", -.25L},
        {"18446744073709551615", 18446744073709551615.0L}, // all 64 bits of the mantissa
        {"0.1", 0.1L},
    };
    for (const auto& [text, value] : rows) {
        const long double got = StringToDouble(Text(text).data());
        EXPECT_EQ(got, value) << text;
        EXPECT_EQ(std::signbit(got), std::signbit(value)) << text;
    }
}
} // namespace
