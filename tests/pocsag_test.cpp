// POCSAG codewords and pages: the code's promise for every pattern of errors, and what becomes of a page in
// bad company.
#include "decoders/pages/pocsag_receiver.h"
#include <bit>
#include <gtest/gtest.h>
#include <random>

using namespace decoders::pages;

namespace {

// A codeword by its definition: divisible by the generator, and of even parity; found bit by bit from the
// top.
uint32_t codeword(uint32_t payload)
{
    uint32_t rest = payload << 10;
    for (int k = 30; k >= 10; --k)
        if (rest & 1u << k) rest ^= 0b11101101001u << (k - 10);
    const uint32_t word = (payload << 10 | rest) << 1;
    return word | uint32_t(std::popcount(word) & 1);
}

TEST(PocsagCode, MendsTwoErrorsAndRefusesThree)
{
    EXPECT_EQ(codeword(idle_word >> 11), idle_word);
    for (const uint32_t word : {idle_word, codeword(0), codeword(0x1fffff), codeword(0x12345)}) {
        EXPECT_EQ(correct_pocsag(word)->errors, 0);
        int wrong = 0;
        for (int a = 0; a < 32; ++a)
            for (int b = 0; b < 32; ++b) {
                const uint32_t two = 1u << a | 1u << b; // one where they are the same
                const auto mended = correct_pocsag(word ^ two);
                wrong += !mended || mended->word != word || mended->errors != std::popcount(two);
                for (int c = 0; c < b && b < a; ++c) wrong += bool(correct_pocsag(word ^ two ^ 1u << c));
            }
        EXPECT_EQ(wrong, 0) << std::hex << word;
    }
}

SoftWord softly(uint32_t word)
{
    SoftWord soft;
    for (size_t k = 0; k < soft.size(); ++k) soft[k] = word >> (31 - k) & 1 ? 1 : -1;
    return soft;
}

TEST(PocsagCode, WeakBitsAreMendedBeforeStrongOnes)
{
    const uint32_t word = codeword(0x12345);
    for (int a = 0; a < 32; ++a)
        for (int b = 0; b < a; ++b)
            for (const int c : {0, 9, 31}) {
                SoftWord soft = softly(word);
                for (const int k : {a, b, c}) soft[size_t(k)] = -0.3f * std::copysign(1.0f, soft[size_t(k)]);
                const auto found = decode_pocsag(soft);
                ASSERT_TRUE(found) << a << ' ' << b << ' ' << c;
                EXPECT_EQ(found->codeword.word, word) << a << ' ' << b << ' ' << c;
                EXPECT_GT(found->lead, 3)
                    << a << ' ' << b << ' ' << c; // of 6 bits, three weak ones the other way
            }
}

// Levels of half a second of noise, of the words, and of noise again, through a filter that is matched to a
// bit.
std::vector<Page> receive(const std::vector<uint32_t>& words, float sigma, float zero = 0, double period = 20)
{
    std::mt19937 random(3);
    std::normal_distribution<float> noise(0, sigma);
    PocsagReceiver receiver;
    std::vector<Page> all;
    std::array<float, 20> last{};
    const auto samples = [&](double position) { return size_t(position * 32 * period); };
    for (size_t n = 0; n < samples(double(words.size()) + 40); ++n) {
        float level = 0;
        if (const size_t first = samples(20); n >= first && n < samples(double(words.size()) + 20)) {
            const auto bit = size_t(double(n - first) / period);
            if (bit / 32 < words.size()) level = words[bit / 32] >> (31 - bit % 32) & 1 ? 1.0f : -1.0f;
        }
        last[n % 20] = level + zero + noise(random) * std::sqrt(20.0f);
        float sum = 0;
        for (const float value : last) sum += value / 20;
        for (Page& page : receiver.push(1000 * sum)) all.push_back(std::move(page));
    }
    for (Page& page : receiver.finish()) all.push_back(std::move(page));
    return all;
}

TEST(PocsagReceiver, KeepsToItsBatches)
{
    const uint32_t page = codeword(0x14321 << 2 | 3), text = codeword(1 << 20 | 0x8a5c3),
                   bad = text ^ 0x10101000, preamble = 0xaaaaaaaa, not_sync = sync_word ^ 0x55555555;
    struct Row {
        const char* name;
        std::vector<uint32_t> words;               // filled up with idle ones
        std::vector<std::pair<size_t, int>> pages; // bits of the message and lost codewords of each
        size_t length = 19;                        // words in all
    };
    std::vector<Row> rows = {
        {"page", {preamble, preamble, sync_word, page, text}, {{20, 0}}},
        {"no preamble", {0, 0, sync_word, page, text}, {{20, 0}}},
        {"sync with five errors", {preamble, preamble, sync_word ^ 0x11010101, page, text}, {{20, 0}}},
        {"sync with eight errors", {preamble, preamble, sync_word ^ 0x11111111, page, text}, {}},
        {"no preamble, five errors", {0, 0, sync_word ^ 0x11010101, page, text}, {}},
        {"tone only", {preamble, preamble, sync_word, page, idle_word}, {{0, 0}}},
        {"two pages", {preamble, preamble, sync_word, page, page}, {{0, 0}, {0, 0}}},
        {"lost codeword", {preamble, preamble, sync_word, page, bad, text}, {{40, 1}}},
        {"all lost", {preamble, preamble, sync_word, page, bad}, {}},
        {"lost address", {preamble, preamble, sync_word, page ^ 0x10101000, text}, {}},
        {"two batches", {preamble, preamble, sync_word}, {{0, 0}}, 36},
        {"two batches, bad sync", {preamble, preamble, sync_word}, {{0, 0}}, 36},
    };
    rows[10].words.resize(19, idle_word);
    rows[11].words = rows[10].words;
    rows[10].words.insert(rows[10].words.end(), {sync_word, page});
    rows[11].words.insert(rows[11].words.end(), {not_sync, page});
    for (Row& row : rows) {
        row.words.resize(row.length, idle_word);
        for (const uint32_t turn : {0u, ~0u})
            for (const auto& [sigma, zero, period] :
                 {std::tuple{0.02f, 0.0f, 20.0}, {0.2f, 2.0f, 20.4}, {0.2f, -0.5f, 19.6}}) {
                auto words = row.words;
                for (uint32_t& word : words) word ^= turn;
                const auto pages = receive(words, sigma, zero, period);
                ASSERT_EQ(pages.size(), row.pages.size()) << row.name << sigma;
                for (size_t k = 0; k < pages.size(); ++k) {
                    EXPECT_EQ(pages[k].bits.size(), row.pages[k].first) << row.name;
                    EXPECT_EQ(pages[k].lost, row.pages[k].second) << row.name;
                    EXPECT_EQ(pages[k].address >> 3, 0x14321) << row.name;
                    EXPECT_EQ(pages[k].function, 3) << row.name;
                    EXPECT_EQ(pages[k].inverted, turn != 0) << row.name;
                }
            }
    }
    EXPECT_TRUE(receive(std::vector<uint32_t>(64, 0), 0.1f).empty());
}

TEST(PocsagReceiver, ReadsWhereTwoErrorsAWordAreTooFew)
{
    // Of ten words of three or four, at least three wrong bits stand in one; at this noise, 4 % of all bits
    // are wrong.
    std::vector<uint32_t> words(18, 0xaaaaaaaa);
    words.insert(words.end(), {sync_word, codeword(0x14321 << 2 | 3)});
    for (uint32_t k = 0; k < 14; ++k) words.push_back(codeword(1 << 20 | 0x8a5c3 * (k + 1) % 0x100000));
    words.push_back(idle_word);
    const auto pages = receive(words, 0.55f);
    ASSERT_EQ(pages.size(), 1u);
    EXPECT_LE(pages[0].lost, 2);
    EXPECT_GT(pages[0].corrected, 12);
    for (size_t k = 0; k < pages[0].bits.size(); ++k) {
        const uint32_t sent = words[20 + k / 20] >> (30 - k % 20) & 1;
        EXPECT_TRUE(pages[0].bits[k] == -1 || uint32_t(pages[0].bits[k]) == sent) << k;
    }
}

TEST(Page, KindsAndFills)
{
    Page page;
    EXPECT_STREQ(page.kind(PageText::alpha), "tone");
    const auto set = [&](const char* bits) {
        page.bits.clear();
        for (; *bits; ++bits) page.bits.push_back(*bits == '?' ? int8_t(-1) : int8_t(*bits - '0'));
    };
    set("10000100110000110011"); // 1 2 3 and two blanks
    EXPECT_EQ(page.numeric(), "123");
    EXPECT_STREQ(page.kind(PageText::automatic), "numeric");
    EXPECT_STREQ(page.kind(PageText::alpha), "alpha");
    set("0001001"
        "1001011"
        "0010000"
        "0000000"); // H i, end of transmission, and what fills
    page.function = 3;
    EXPECT_EQ(page.alpha(), "Hi");
    EXPECT_STREQ(page.kind(PageText::automatic), "alpha");
    set("0001001"
        "10?1011"
        "11");
    EXPECT_EQ(page.alpha(), "H\xef\xbf\xbd");
}
} // namespace
