// Codewords of POCSAG: 21 bits of address or message, 10 of a BCH(31,21) code that corrects two errors, and
// one of even parity.
#pragma once
#include <array>
#include <cstdint>
#include <optional>

namespace decoders::pages {
constexpr int word_bits = 32;
constexpr uint32_t sync_word = 0x7cd215d8, idle_word = 0x7a89c197;

struct Codeword {
    uint32_t word; // as sent
    int errors;    // corrected
};
// The codeword next to what was received, if there is one with at most two errors.
std::optional<Codeword> correct_pocsag(uint32_t received);

// Bits as heard, the first one sent first: near 1 for a 1, near -1 for a 0.
using SoftWord = std::array<float, word_bits>;
uint32_t hard(const SoftWord& heard);
// Cosine of the angle between what was heard and a word: 1 without noise, 0.875 with two of 32 bits turned
// over, some 0.7 for noise and the codeword that is next to it.
float fit(const SoftWord& heard, uint32_t word);

struct Likeliest {
    Codeword codeword;
    float fit;
    float lead; // before the second best, as a difference of sums of soft bits
};
// The likeliest codeword, if any was found.
std::optional<Likeliest> decode_pocsag(const SoftWord& heard);
} // namespace decoders::pages
