// SITOR-B bit by bit: what a sender sends twice, and what is left of it when some is lost.
#include "decoders/bulletins/sitor.h"
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <string>

using decoders::bulletins::Sitor;
using decoders::bulletins::SitorSymbol;

namespace {
// Letter, figure, and the bits in the order of sending: B is the higher frequency.
const std::string table =
    "A-BBBYYYB B?YBYYBBB C:BYBBBYY D$BBYYBYB E3YBBYBYB F!BBYBBYY G&BYBYBBY H#BYYBYBB I8BYBBYYB J\aBBBYBYY "
    "K(YBBBBYY L)BYBYYBB M.BYYBBBY N,BYYBBYB O9BYYYBBB P0BYBBYBY Q1YBBBYBY R4BYBYBYB S'BBYBYYB T5YYBYBBB "
    "U7YBBBYYB V=YYBBBBY W2BBBYYBY X/YBYBBBY Y6BBYBYBY Z+BBYYYBB \r\rYYYBBBB \n\nYYBBYBB   YYBBBYB "
    "\x0e\x0eYBYBBYB \x0f\x0fYBBYBBY ";
constexpr size_t characters = 31;

struct Bulletin {
    std::vector<size_t> sent; // places in the table
    size_t phasing = 20;      // pairs
    std::vector<float> bits() const
    {
        std::string first, second = "BBBBYYYBBBBYYY";
        for (size_t k = 0; k < phasing; ++k) first += "YBBYYBB", second += "BBBBYYY";
        for (const size_t place : sent)
            first += table.substr(place * 10 + 2, 7), second += table.substr(place * 10 + 2, 7);
        for (int k = 0; k < 14; ++k) first += "BBBBYYY";
        while (second.size() < first.size()) second += "BBBBYYY";
        std::vector<float> bits;
        for (size_t k = 0; k < first.size(); k += 7)
            for (const auto* copy : {&first, &second})
                for (size_t n = k; n < k + 7; ++n) bits.push_back((*copy)[n] == 'B' ? 1 : -1);
        return bits;
    }
    // Where a bit of a copy of a character is.
    size_t at(size_t character, size_t copy, size_t bit = 0) const
    {
        return (phasing + character) * 14 + copy * 35 + bit;
    }
};

Bulletin any(size_t count)
{
    std::mt19937 random(2);
    Bulletin bulletin;
    while (bulletin.sent.size() < count) bulletin.sent.push_back(random() % characters);
    return bulletin;
}

std::vector<float> noise(size_t count, float sigma = 1)
{
    std::mt19937 random(4);
    std::normal_distribution<float> value(0, sigma);
    std::vector<float> noise(count);
    for (float& v : noise) v = value(random);
    return noise;
}

std::vector<SitorSymbol> hear(const std::vector<float>& bits)
{
    Sitor sitor;
    std::vector<SitorSymbol> all;
    for (size_t k = 0; k < bits.size(); ++k)
        for (const auto& symbol : sitor.push(bits[k], double(k))) all.push_back(symbol);
    for (const auto& symbol : sitor.finish()) all.push_back(symbol);
    return all;
}

struct Count {
    size_t right = 0, unsure = 0, wrong = 0; // wrong ones include those that nobody sent then
};

Count count(const Bulletin& bulletin, const std::vector<SitorSymbol>& heard, size_t before = 0)
{
    Count count;
    for (const SitorSymbol& symbol : heard) {
        const size_t past = size_t(symbol.time) - before - bulletin.at(0, 0), k = past / 14;
        const bool right = past % 14 == 0 && k < bulletin.sent.size() &&
                           table[bulletin.sent[k] * 10] == symbol.letter &&
                           table[bulletin.sent[k] * 10 + 1] == symbol.figure;
        ++(!symbol.sure ? count.unsure : right ? count.right : count.wrong);
    }
    return count;
}

TEST(Sitor, ReadsEveryCharacterInAnyPhaseAndPolarity)
{
    Bulletin bulletin = any(40);
    for (size_t place = 0; place < characters; ++place) bulletin.sent.push_back(place);
    for (size_t before = 0; before < 15; ++before)
        for (const float sign : {1.f, -1.f}) {
            auto bits = noise(before);
            for (const float bit : bulletin.bits()) bits.push_back(sign * bit);
            const auto heard = hear(bits);
            EXPECT_EQ(heard.size(), bulletin.sent.size());
            EXPECT_EQ(count(bulletin, heard, before).right, heard.size()) << before << ' ' << sign;
        }
}

TEST(Sitor, ReadsWhatEitherCopyTells)
{
    const Bulletin bulletin = any(100);
    auto gone = bulletin.bits();
    for (const size_t copy : {0u, 1u}) {
        auto flipped = bulletin.bits(), lost = bulletin.bits();
        for (size_t k = 10; k < 60; ++k) flipped[bulletin.at(k, copy, k % 7)] *= -1;
        for (size_t bit = 0; bit < 7; ++bit) {
            for (size_t k = 10; k < 60; ++k) lost[bulletin.at(k, copy, bit)] = 0;
            for (const size_t k : {30u, 31u, 50u}) gone[bulletin.at(k, copy, bit)] = 0;
        }
        EXPECT_EQ(count(bulletin, hear(flipped)).right, 100u);
        EXPECT_EQ(count(bulletin, hear(lost)).right, 100u);
    }
    const auto heard = hear(gone);
    EXPECT_EQ(count(bulletin, heard).right, 97u);
    EXPECT_FALSE(heard.at(30).sure || heard.at(31).sure || heard.at(50).sure);
}

TEST(Sitor, ReadsInNoiseAndWaitsWhileASignalFades)
{
    const Bulletin bulletin = any(1000);
    struct Row {
        float sigma;
        size_t faded, right, wrong, least; // characters: lost to noise alone; at least; at most; in all
    };
    for (const auto& [sigma, faded, right, wrong, least] :
         {Row{0.5f, 0, 1000, 0, 1000}, Row{0.7f, 0, 978, 15, 990}, Row{0.9f, 0, 865, 95, 970},
          Row{0.1f, 20, 978, 20, 997}, Row{0.1f, 28, 970, 25, 997}, Row{0.1f, 60, 936, 4, 936}}) {
        auto bits = bulletin.bits();
        const auto more = noise(bits.size(), sigma), loud = noise(14 * faded);
        for (size_t k = 0; k < bits.size(); ++k) bits[k] += more[k];
        std::ranges::copy(loud, bits.begin() + ptrdiff_t(bulletin.at(500, 0)));
        const Count got = count(bulletin, hear(bits));
        EXPECT_GE(got.right, right) << sigma << ' ' << faded;
        EXPECT_LE(got.wrong, wrong) << sigma << ' ' << faded;
        EXPECT_GE(got.right + got.unsure + got.wrong, least) << sigma << ' ' << faded;
    }
}

TEST(Sitor, GivesWhatWasSentAlone)
{
    EXPECT_TRUE(hear(noise(100000)).empty());
    EXPECT_TRUE(
        hear(Bulletin{std::vector<size_t>(200, 5), 0}.bits()).empty()); // one character tells no phase
    const Bulletin one = any(60);
    for (const size_t pause : {200u, 500u, 3001u}) { // and then upside down
        auto bits = one.bits();
        for (const float bit : noise(pause)) bits.push_back(bit);
        const size_t before = bits.size();
        for (const float bit : one.bits()) bits.push_back(-bit);
        for (const float bit : noise(3000)) bits.push_back(bit);
        const auto heard = hear(bits);
        EXPECT_EQ(heard.size(), 120u);
        EXPECT_EQ(count(one, heard).right + count(one, heard, before).right, 120u) << pause;
    }
}
} // namespace
