// Syndromes, the Berlekamp-Massey algorithm begun at the erasures' locator, Chien's search and Forney's
// formula (R. E. Blahut, Algebraic Codes for Data Transmission, ch. 7). Polynomials have their lowest term
// first.
#include "decoders/packet/reed_solomon.h"
#include <algorithm>
#include <array>

namespace decoders::packet {
namespace {
using Polynomial = std::vector<uint8_t>;
constexpr size_t order = ReedSolomon::length; // of the field's multiplicative group

struct Tables {
    std::array<uint8_t, 2 * order> power{}; // of alpha
    std::array<uint8_t, 256> log{};
};
constexpr Tables field = [] {
    Tables tables;
    unsigned value = 1;
    for (size_t k = 0; k < order; ++k) {
        tables.power[k] = tables.power[k + order] = uint8_t(value);
        tables.log[value] = uint8_t(k);
        value = value << 1 ^ (value & 0x80 ? 0x11d : 0);
    }
    return tables;
}();

uint8_t alpha(size_t exponent) { return field.power[exponent % order]; }
uint8_t product(uint8_t a, uint8_t b)
{
    return a && b ? field.power[size_t(field.log[a]) + field.log[b]] : uint8_t(0);
}
uint8_t quotient(uint8_t a, uint8_t b)
{
    return a ? field.power[size_t(field.log[a]) + order - field.log[b]] : uint8_t(0);
}

uint8_t value_at(const Polynomial& p, uint8_t x)
{
    uint8_t value = 0;
    for (size_t k = p.size(); k-- > 0;) value = uint8_t(product(value, x) ^ p[k]);
    return value;
}

// a + factor x^shift b
Polynomial sum(Polynomial a, uint8_t factor, size_t shift, const Polynomial& b)
{
    a.resize(std::max(a.size(), b.size() + shift));
    for (size_t k = 0; k < b.size(); ++k) a[k + shift] ^= product(factor, b[k]);
    return a;
}
} // namespace

int ReedSolomon::mend(std::vector<uint8_t>& word, const std::vector<size_t>& erased) const
{
    // The first byte is the highest term of the word's polynomial.
    const Polynomial received(word.rbegin(), word.rend());
    Polynomial syndromes(check_);
    for (size_t k = 0; k < check_; ++k) syndromes[k] = value_at(received, alpha(k + 1));
    if (std::ranges::all_of(syndromes, [](uint8_t s) { return s == 0; })) return 0;
    if (erased.size() > check_) return -1;

    Polynomial locator = {1};
    for (const size_t place : erased) locator = sum(locator, alpha(length - 1 - place), 1, locator);
    Polynomial before = locator;
    size_t degree = erased.size(), shift = 1;
    uint8_t last = 1; // discrepancy of the locator before
    for (size_t n = erased.size(); n < check_; ++n, ++shift) {
        uint8_t discrepancy = 0;
        for (size_t k = 0; k < std::min(locator.size(), n + 1); ++k)
            discrepancy ^= product(locator[k], syndromes[n - k]);
        if (discrepancy == 0) continue;
        Polynomial next = sum(locator, quotient(discrepancy, last), shift, before);
        if (2 * degree <= n + erased.size()) {
            degree = n + 1 + erased.size() - degree;
            before = locator;
            last = discrepancy;
            shift = 0;
        }
        locator = std::move(next);
    }
    locator.resize(degree + 1);
    if (2 * degree > check_ + erased.size()) return -1;

    // omega = syndromes * locator mod x^check; the error at X is omega(1/X) / (odd part of the locator's
    // derivative at 1/X), for a first root alpha^1.
    Polynomial omega(check_);
    for (size_t k = 0; k < locator.size(); ++k)
        for (size_t j = 0; j + k < check_; ++j) omega[j + k] ^= product(locator[k], syndromes[j]);
    Polynomial derivative;
    for (size_t k = 1; k < locator.size(); ++k) derivative.push_back(k % 2 ? locator[k] : uint8_t(0));
    std::vector<uint8_t> mended = word;
    size_t roots = 0;
    int changed = 0;
    for (size_t place = 0; place < length; ++place) {
        const uint8_t x = alpha(place + 1); // 1 / alpha^(length - 1 - place)
        if (value_at(locator, x) != 0) continue;
        const uint8_t slope = value_at(derivative, x);
        if (slope == 0) return -1;
        ++roots;
        const uint8_t error = quotient(value_at(omega, x), slope);
        mended[place] ^= error;
        changed += error != 0;
    }
    if (roots != degree) return -1;
    word = std::move(mended);
    return changed;
}
} // namespace decoders::packet
