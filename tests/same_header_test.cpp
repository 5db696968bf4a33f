// Alert headers: texts that are headers and such that aren't, and bursts bit by bit with something wrong.
#include "decoders/bulletins/same_header.h"
#include <gtest/gtest.h>
#include <random>

using decoders::bulletins::parse_same;
using decoders::bulletins::SameReceiver;

namespace {
const std::string one = "ZCZC-WXR-TOR-031055-019155-231001+0130-0601203-QAA1/NWS-",
                  two = "ZCZC-CIV-EVI-000000+9930-3662359-QB-",
                  odd = "ZCZC-WXR-t?R-031055-1915+0060-0002460-QAA1/NWS-";
using Bits = std::vector<SameReceiver::Bit>;

TEST(ParseSame, TakesHeadersAlone)
{
    const auto header = parse_same(one + "more");
    ASSERT_TRUE(header);
    EXPECT_EQ(header->text, one);
    EXPECT_EQ(header->originator + header->event + header->station, "WXRTORQAA1/NWS");
    EXPECT_EQ(header->locations, (std::vector<std::string>{"031055", "019155", "231001"}));
    EXPECT_EQ(header->valid, 90);
    EXPECT_EQ(header->day, 60);
    EXPECT_EQ(header->issued, "12:03");
    EXPECT_EQ(parse_same(two + "filled")->station, "QB");
    EXPECT_EQ(parse_same("ZCZC-CIV-EVI-000000+9930-3662359-QB/FM   -")->station, "QB/FM");
    for (const auto& [at, wrong] : {std::pair{0, "X"},
                                    {4, "+"},
                                    {5, "w"},
                                    {9, "/"},
                                    {13, "A"},
                                    {19, "/"},
                                    {34, "A"},
                                    {36, "6"},
                                    {38, "+"},
                                    {39, "367"},
                                    {39, "000"},
                                    {42, "24"},
                                    {44, "60"},
                                    {47, "\x7f"},
                                    {55, " "}}) {
        std::string text = one;
        text.replace(size_t(at), std::string(wrong).size(), wrong);
        EXPECT_FALSE(parse_same(text)) << text;
    }
    for (size_t length = 0; length < one.size(); ++length)
        EXPECT_FALSE(parse_same(one.substr(0, length))) << length;
}

TEST(ParseSame, NamesWhatIsNoValue)
{
    using decoders::bulletins::SameValues;
    for (const auto& [at, wrong, invalid] : {std::tuple{5, "QQQ", "originator"},
                                             {9, "QQQ", "event"},
                                             {9, "t?R", "event"},
                                             {13, "03105A", "locations"},
                                             {36, "60", "valid_minutes"},
                                             {39, "000", "day"},
                                             {39, "367", "day"},
                                             {42, "24", "issued"},
                                             {42, "1 60", "issued"}}) {
        std::string text = one;
        text.replace(size_t(at), std::string(wrong).size(), wrong);
        const auto header = parse_same(text, SameValues::any);
        ASSERT_TRUE(header) << text;
        EXPECT_EQ(header->text, text);
        EXPECT_EQ(header->invalid, std::vector<std::string>{invalid}) << text;
    }
    EXPECT_TRUE(parse_same(one)->invalid.empty() && parse_same(two + "filled")->invalid.empty());
    EXPECT_EQ(parse_same(odd, SameValues::any)->invalid.size(), 5u);
}

Bits noise(size_t count)
{
    std::mt19937 random(1);
    std::normal_distribution<float> value(0, 0.3f);
    Bits bits(count);
    for (auto& bit : bits) bit.soft = value(random);
    return bits;
}

// A burst behind a second of noise; wrong: bits that are turned over.
void send(Bits& bits, const std::string& text, const std::vector<size_t>& wrong = {}, float how_much = 2)
{
    for (const auto& bit : noise(521)) bits.push_back(bit);
    const size_t begin = bits.size();
    for (const char byte : std::string(16, '\xab') + text)
        for (int k = 0; k < 8; ++k) bits.push_back({byte >> k & 1 ? 1.f : -1.f, 1, 0});
    for (const size_t k : wrong) bits[begin + k].soft *= 1 - how_much;
}

std::vector<SameReceiver::Found> hear(const Bits& bits, bool finish = true)
{
    SameReceiver receiver;
    std::vector<SameReceiver::Found> all;
    for (const auto& bit : bits)
        for (auto& found : receiver.push(bit)) all.push_back(found);
    if (finish)
        for (auto& found : receiver.finish()) all.push_back(found);
    return all;
}

// A bit of each of these characters.
std::vector<size_t> damage(std::initializer_list<size_t> places)
{
    std::vector<size_t> wrong;
    for (const size_t place : places) wrong.push_back((16 + place) * 8 + place % 7);
    return wrong;
}

TEST(SameReceiver, MakesOneHeaderOfThreeBursts)
{
    struct Burst {
        std::string text;
        std::vector<size_t> wrong = {};
        float how_much = 2; // from 0 to 2, its opposite
    };
    struct Row {
        std::vector<Burst> bursts;
        std::vector<int> mended, agreeing; // of those that come
        bool at_once = false;              // not only when there are no more bits
    };
    const Burst good{one}, other{two};
    const std::vector<Row> rows = {
        {{good, good}, {0, 0}, {1, 2}, true},
        {{good, good, good}, {0, 0, 0}, {1, 2, 3}},
        {{{one, damage({6, 20})}, {one, damage({9, 30})}, {one, damage({14, 40})}}, {2, 2, 2}, {0, 0, 0}},
        {{{one, damage({35})}, good, good}, {1, 0, 0}, {0, 1, 2}},
        {{good, {one, damage({20, 21, 22, 23, 24, 25, 26, 27, 28, 29})}, good}, {0, 10, 0}, {1, 1, 2}},
        {{{one.substr(0, 25)}, good, good}, {0, 0}, {1, 2}}, // broken off
        {{good}, {0}, {1}},                                  // the others weren't heard
        {{{one, damage({6})}, {one, damage({9})}}, {}, {}},  // two opinions on two characters
        {{good, other, other}, {0, 0, 0}, {1, 1, 2}},
        {{good, good, good, good}, {0, 0, 0, 0}, {1, 2, 3, 1}}, // sent again
        {{{one, damage({30}), 1.4f}, good}, {1, 0}, {0, 1}},    // softly wrong
        {{{one, damage({30}), 1.6f}, good}, {}, {}},
        {{{odd}, {odd}}, {0, 0}, {1, 2}, true}, // what two read alike was sent
        {{{odd}, {odd, damage({20})}, {odd}}, {0, 1, 0}, {1, 1, 2}},
        {{{odd}}, {}, {}},
        {{{odd, damage({6})}, {odd, damage({20})}, {odd, damage({30})}}, {}, {}},
    };
    for (const Row& row : rows) {
        Bits bits;
        for (const Burst& burst : row.bursts) send(bits, burst.text, burst.wrong, burst.how_much);
        const auto found = hear(bits, !row.at_once);
        std::vector<int> mended, agreeing;
        for (const auto& burst : found) {
            mended.push_back(burst.mended), agreeing.push_back(burst.agreeing);
            EXPECT_TRUE(burst.header->text == one || burst.header->text == two || burst.header->text == odd);
        }
        EXPECT_EQ(mended, row.mended) << &row - rows.data();
        EXPECT_EQ(agreeing, row.agreeing) << &row - rows.data();
    }
}

TEST(SameReceiver, FindsTheBeginningOfABurst)
{
    for (const auto& [text, most] :
         {std::pair{one, 10u}, {std::string("NNNN"), 4u}}) // bits of a sync that may be wrong
        for (const size_t wrong : {0u, most, most + 1}) {
            std::vector<size_t> places;
            while (places.size() < wrong) places.push_back(12 * 8 + 3 * places.size());
            Bits bits;
            send(bits, text, places);
            send(bits, "");
            const auto found = hear(bits);
            EXPECT_EQ(found.size(), size_t(wrong <= most)) << text << wrong;
            for (const auto& burst : found) EXPECT_EQ(burst.burst.begin, 521);
        }
    EXPECT_TRUE(hear(noise(300000)).empty());
}
} // namespace
