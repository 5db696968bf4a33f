#include "decoders/pages/pocsag_code.h"
#include <algorithm>
#include <bit>
#include <cmath>

namespace decoders::pages {
namespace {
constexpr int code_bits = 31;
constexpr uint32_t generator = 0x769; // x^10 + x^9 + x^8 + x^6 + x^5 + x^3 + 1

// Remainder of a codeword without its parity bit.
constexpr uint32_t syndrome(uint32_t bits31)
{
    for (int k = code_bits - 1; k >= 10; --k)
        if (bits31 >> k & 1) bits31 ^= generator << (k - 10);
    return bits31;
}

constexpr std::array<uint32_t, code_bits> single_syndromes()
{
    std::array<uint32_t, code_bits> single{};
    for (size_t a = 0; a < single.size(); ++a) single[a] = syndrome(1u << a);
    return single;
}
constexpr auto syndrome_of_bit = single_syndromes();

// By syndrome, the errors among 31 bits: none, one or two; all ones where there are more.
constexpr uint32_t too_many = ~0u;
constexpr std::array<uint32_t, 1024> error_table()
{
    std::array<uint32_t, 1024> table{};
    table.fill(too_many);
    table[0] = 0;
    for (size_t a = 0; a < code_bits; ++a) {
        table[syndrome_of_bit[a]] = 1u << a;
        for (size_t b = 0; b < a; ++b) table[syndrome_of_bit[a] ^ syndrome_of_bit[b]] = 1u << a | 1u << b;
    }
    return table;
}
constexpr auto errors_by_syndrome = error_table();

// The soft value of a bit of a word, 0 being the one that goes out last.
float& at_bit(SoftWord& heard, int bit) { return heard[size_t(word_bits - 1 - bit)]; }
} // namespace

std::optional<Codeword> correct_pocsag(uint32_t received)
{
    const uint32_t errors = errors_by_syndrome[syndrome(received >> 1)];
    if (errors == too_many) return {};
    uint32_t word = received ^ errors << 1;
    int count = std::popcount(errors);
    if (std::popcount(word) & 1) {
        word ^= 1;
        ++count;
    }
    if (count > 2) return {};
    return Codeword{word, count};
}

uint32_t hard(const SoftWord& heard)
{
    uint32_t word = 0;
    for (const float bit : heard) word = word << 1 | (bit > 0);
    return word;
}

float fit(const SoftWord& heard, uint32_t word)
{
    float sum = 0, squares = 1e-9f;
    for (size_t k = 0; k < heard.size(); ++k) {
        sum += word >> (word_bits - 1 - k) & 1 ? heard[k] : -heard[k];
        squares += heard[k] * heard[k];
    }
    return sum / std::sqrt(word_bits * squares);
}

// The least reliable bits are turned over in every way, and what then is within two errors of a codeword is
// one that may have been sent (D. Chase's second algorithm, IEEE Trans. Inform. Theory 18, 1972).
std::optional<Likeliest> decode_pocsag(const SoftWord& heard)
{
    constexpr size_t unreliable = 5;
    SoftWord reliability = heard;
    for (float& bit : reliability) bit = std::fabs(bit);
    std::array<int, code_bits> order; // bits of the code, above parity
    for (int k = 0; k < code_bits; ++k) order[size_t(k)] = k;
    std::partial_sort(order.begin(), order.begin() + unreliable, order.end(),
                      [&](int a, int b) { return at_bit(reliability, a + 1) < at_bit(reliability, b + 1); });
    const uint32_t received = hard(heard), received_syndrome = syndrome(received >> 1);
    float best_cost = 1e9f, second_cost = 1e9f; // sums of what was turned over
    uint32_t best = 0;
    for (uint32_t trial = 0; trial < 1u << unreliable; ++trial) {
        uint32_t turned = 0, rest = received_syndrome;
        for (size_t k = 0; k < unreliable; ++k)
            if (trial >> k & 1) {
                turned |= 1u << order[k];
                rest ^= syndrome_of_bit[size_t(order[k])];
            }
        if (errors_by_syndrome[rest] == too_many) continue;
        uint32_t errors = (turned ^ errors_by_syndrome[rest]) << 1;
        if (std::popcount(received ^ errors) & 1) errors ^= 1;
        if (best_cost < 1e9f && errors == best) continue;
        float cost = 0;
        for (uint32_t left = errors; left; left &= left - 1)
            cost += at_bit(reliability, std::countr_zero(left));
        if (cost < best_cost) {
            second_cost = best_cost;
            best_cost = cost;
            best = errors;
        } else
            second_cost = std::min(second_cost, cost);
    }
    if (best_cost == 1e9f) return {};
    const uint32_t word = received ^ best;
    return Likeliest{.codeword = {word, std::popcount(best)},
                     .fit = fit(heard, word),
                     .lead = 2 * (second_cost - best_cost)};
}
} // namespace decoders::pages
