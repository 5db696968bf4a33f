// FX.25 codewords: check bytes made here by long division, bytes spoilt in every number that can be mended.
#include "decoders/packet/fx25.h"
#include "decoders/packet/reed_solomon.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

using namespace decoders::packet;

namespace {
// By doubling and adding.
unsigned product(unsigned a, unsigned b)
{
    unsigned sum = 0;
    for (; b; b >>= 1, a = a << 1 ^ (a & 128 ? 0x11d : 0)) sum ^= b & 1 ? a : 0;
    return sum & 255;
}

// The remainder of data x^check by (x - 2)(x - 2^2)...(x - 2^check), highest term first.
std::vector<uint8_t> check_bytes(std::vector<uint8_t> data, size_t check)
{
    std::vector<unsigned> divisor = {1};
    for (unsigned root = 2, k = 0; k < check; ++k, root = product(root, 2)) {
        divisor.push_back(0);
        for (size_t j = divisor.size() - 1; j > 0; --j) divisor[j] ^= product(divisor[j - 1], root);
    }
    const size_t length = data.size();
    data.resize(length + check);
    for (size_t k = 0; k < length; ++k)
        for (size_t j = divisor.size(); j-- > 0;) data[k + j] ^= uint8_t(product(data[k], divisor[j]));
    return {data.begin() + ptrdiff_t(length), data.end()};
}

TEST(ReedSolomon, MendsUpToHalfOfItsCheckBytesOrAllErased)
{
    std::mt19937 random(1);
    int refused = 0, beyond = 0;
    for (const size_t check : {16u, 32u, 64u})
        for (int n = 0; n < 60; ++n) {
            std::vector<uint8_t> word(255 - check);
            for (uint8_t& byte : word) byte = uint8_t(random());
            const auto sent = check_bytes(word, check);
            word.insert(word.end(), sent.begin(), sent.end());
            std::vector<size_t> places(255);
            std::iota(places.begin(), places.end(), size_t(0));
            std::ranges::shuffle(places, random);
            const size_t erased = random() % (check + 1), most = (check - erased) / 2;
            const size_t wrong = n % 5 ? most : most + 1;
            auto heard = word;
            for (size_t k = 0; k < erased; ++k) heard[places[k]] ^= uint8_t(random() % 2 ? random() : 0);
            for (size_t k = erased; k < erased + wrong; ++k) heard[places[k]] ^= uint8_t(1 + random() % 255);
            const auto before = heard;
            const int changed =
                ReedSolomon(check).mend(heard, {places.begin(), places.begin() + ptrdiff_t(erased)});
            if (wrong == most) {
                ASSERT_GE(changed, int(wrong));
                ASSERT_EQ(heard, word);
            } else if (++beyond; changed < 0) {
                ++refused;
                ASSERT_EQ(heard, before);
            }
        }
    EXPECT_GT(refused, beyond * 3 / 4); // the others came near another codeword
}

// A UI frame of QA1AA to QB2BB with its flags and check sequence, filled up to 64 bytes, and 16 check bytes.
std::vector<bool> sent()
{
    const std::string frame = "\xa2\x84\x64\x84\x84\x40\xe0\xa2\x82\x62\x82\x82\x40\x61\x03\xf0hello";
    unsigned crc = 0xffff;
    std::vector<bool> bits = {0, 1, 1, 1, 1, 1, 1, 0};
    int ones = 0;
    const auto put = [&](bool bit) {
        bits.push_back(bit);
        ones = bit ? ones + 1 : 0;
        if (ones < 5) return;
        bits.push_back(false);
        ones = 0;
    };
    for (const char byte : frame)
        for (int k = 0; k < 8; ++k) {
            crc = crc >> 1 ^ ((crc & 1) != unsigned(byte >> k & 1) ? 0x8408 : 0);
            put(byte >> k & 1);
        }
    for (int k = 0; k < 16; ++k) put(~crc >> k & 1);
    for (int k = 0; bits.size() < 64 * 8; ++k) bits.push_back(k % 8 != 0 && k % 8 != 7);
    std::vector<uint8_t> bytes(64);
    for (size_t k = 0; k < bits.size(); ++k) bytes[k / 8] = uint8_t(bytes[k / 8] | bits[k] << k % 8);
    bytes.resize(239); // what a short codeword doesn't send
    for (const uint8_t byte : check_bytes(bytes, 16))
        for (int k = 0; k < 8; ++k) bits.push_back(byte >> k & 1);
    for (int k = 63; k >= 0; --k) bits.insert(bits.begin(), 0xC7DC0508F3D9B09E >> k & 1);
    return bits;
}

TEST(Fx25, ReadsAFrameWithWrongBytesAndMoreWhereTheyAreWeak)
{
    struct {
        size_t wrong, tag_wrong; // bytes, bits
        float strength;          // of the wrong ones
        bool read;
    } const rows[] = {
        {0, 0, 1, true}, {8, 8, 1, true}, {12, 0, 0.1f, true}, {9, 0, 1, false}, {0, 24, 1, false}};
    for (const auto& row : rows) {
        auto bits = sent();
        for (size_t k = 0; k < row.tag_wrong; ++k) bits[2 * k] = !bits[2 * k];
        std::vector<bool> weak(bits.size());
        for (size_t k = 0; k < row.wrong; ++k) {
            const size_t at = 64 + 8 * (3 + 4 * k) + k % 8;
            bits[at] = !bits[at];
            weak[at] = true;
        }
        Fx25 fx25;
        float level = 1;
        std::vector<Deframer::Found> all;
        fx25.push(level);
        for (size_t k = 0; k < bits.size(); ++k) {
            if (!bits[k]) level = -level;
            if (auto found = fx25.push(level * (weak[k] ? row.strength : 1))) all.push_back(*found);
        }
        ASSERT_EQ(all.size(), size_t(row.read)) << row.wrong << " " << row.tag_wrong;
        if (!row.read) continue;
        EXPECT_EQ(all[0].frame.substr(16), "hello");
        EXPECT_EQ(all[0].begin, 1 + 64 + 8);
        EXPECT_EQ(all[0].mended, int(row.wrong));
    }
}
} // namespace
