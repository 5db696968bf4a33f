// POCSAG codewords and pages: the code's promise for every pattern of errors, and what becomes of a page in
// bad company.
#include "decoders/pages/pocsag_pages.h"
#include <bit>
#include <gtest/gtest.h>

using decoders::pages::correct_pocsag;
using decoders::pages::Page;
using decoders::pages::PageText;
using decoders::pages::PocsagReceiver;

namespace {
constexpr uint32_t sync_word = 0x7cd215d8, idle_word = 0x7a89c197;

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

std::vector<Page> receive(const std::vector<uint32_t>& words)
{
    PocsagReceiver receiver;
    std::vector<Page> all;
    double time = 0;
    for (const uint32_t word : words)
        for (int k = 31; k >= 0; --k)
            for (Page& page : receiver.push(word >> k & 1, time++)) all.push_back(std::move(page));
    for (Page& page : receiver.finish()) all.push_back(std::move(page));
    return all;
}

TEST(PocsagReceiver, KeepsToItsBatches)
{
    const uint32_t page = codeword(0x14321 << 2 | 3), text = codeword(1 << 20 | 0x8a5c3),
                   bad = text ^ 0x10101000, preamble = 0xaaaaaaaa;
    const std::vector<uint32_t> idle(14, idle_word);
    struct Row {
        const char* name;
        std::vector<uint32_t> head;                // the first three words; the batch is then filled up
        std::vector<std::pair<size_t, int>> pages; // bits of the message and lost codewords of each
    };
    const Row rows[] = {
        {"page", {preamble, sync_word, page, text}, {{20, 0}}},
        {"no preamble", {0, sync_word, page, text}, {{20, 0}}},
        {"sync with four errors", {preamble, sync_word ^ 0x01010101, page, text}, {{20, 0}}},
        {"sync with five errors", {preamble, sync_word ^ 0x11010101, page, text}, {}},
        {"no preamble, three errors", {0, sync_word ^ 0x00010101, page, text}, {}},
        {"tone only", {preamble, sync_word, page, idle_word}, {{0, 0}}},
        {"two pages", {preamble, sync_word, page, page}, {{0, 0}, {0, 0}}},
        {"lost codeword", {preamble, sync_word, page, bad, text}, {{40, 1}}},
        {"all lost", {preamble, sync_word, page, bad}, {}},
        {"lost address", {preamble, sync_word, page ^ 0x10101000, text}, {}},
    };
    for (const Row& row : rows) {
        auto words = row.head;
        words.insert(words.end(), idle.begin(), idle.end());
        for (const uint32_t turn : {0u, ~0u}) {
            for (uint32_t& word : words) word ^= turn;
            const auto pages = receive(words);
            ASSERT_EQ(pages.size(), row.pages.size()) << row.name;
            for (size_t k = 0; k < pages.size(); ++k) {
                EXPECT_EQ(pages[k].bits.size(), row.pages[k].first) << row.name;
                EXPECT_EQ(pages[k].lost, row.pages[k].second) << row.name;
                EXPECT_EQ(pages[k].address >> 3, 0x14321) << row.name;
                EXPECT_EQ(pages[k].function, 3) << row.name;
                EXPECT_EQ(pages[k].inverted, turn != 0) << row.name;
            }
        }
    }
    EXPECT_TRUE(receive(std::vector<uint32_t>(64, 0)).empty());
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
