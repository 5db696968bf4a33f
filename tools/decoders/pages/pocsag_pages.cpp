#include "decoders/pages/pocsag_pages.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <utility>

namespace decoders::pages {
namespace {
constexpr uint32_t sync_word = 0x7cd215d8, idle_word = 0x7a89c197;
constexpr int batch_words = 16, word_bits = 32, payload_bits = 20;
constexpr int preamble_errors = 8; // of its last 32 bits
// Behind a preamble, without one, and in its place.
constexpr int sync_errors = 4, bare_sync_errors = 2, expected_sync_errors = 6;
// Noise gives some 8000 chances a second to be taken for a page, at three rates and two polarities.
constexpr double enough_evidence = 40; // bits

constexpr uint32_t generator = 0x769; // x^10 + x^9 + x^8 + x^6 + x^5 + x^3 + 1

// Remainder of a codeword without its parity bit.
constexpr uint32_t syndrome(uint32_t bits31)
{
    for (int k = 30; k >= 10; --k)
        if (bits31 >> k & 1) bits31 ^= generator << (k - 10);
    return bits31;
}

// By syndrome, the errors among 31 bits: none, one or two; all ones where there are more.
constexpr uint32_t too_many = ~0u;
constexpr std::array<uint32_t, 1024> error_table()
{
    std::array<uint32_t, 1024> table{};
    table.fill(too_many);
    table[0] = 0;
    std::array<uint32_t, 31> single{};
    for (size_t a = 0; a < 31; ++a) single[a] = syndrome(1u << a);
    for (size_t a = 0; a < 31; ++a) {
        table[single[a]] = 1u << a;
        for (size_t b = 0; b < a; ++b) table[single[a] ^ single[b]] = 1u << a | 1u << b;
    }
    return table;
}
constexpr auto errors_by_syndrome = error_table();

// How much likelier a word with so many errors is one that was sent than noise, as a power of two: a code
// word leaves 11 of 32 bits to chance, a known word all of them.
double evidence(int known_bits, int errors)
{
    double patterns = 1;
    for (int k = 0; k < errors; ++k) patterns *= double(word_bits - k) / (k + 1);
    return known_bits - std::log2(patterns);
}

constexpr const char* unreadable = "\xef\xbf\xbd"; // U+FFFD

// Groups of bits, the lowest first, as characters.
template <class Character>
std::string groups(const std::vector<int8_t>& bits, size_t size, Character character)
{
    std::string text;
    for (size_t at = 0; at + size <= bits.size(); at += size) {
        int value = 0;
        for (size_t k = size; k-- > 0;)
            value = bits[at + k] < 0 || value < 0 ? -1 : value << 1 | bits[at + k];
        if (value < 0)
            text += unreadable;
        else
            text += character(value);
    }
    return text;
}
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

std::string Page::numeric() const
{
    std::string text = groups(bits, 4, [](int value) { return "0123456789*U -]["[value]; });
    return text.erase(text.find_last_not_of(' ') + 1); // what fills the last codeword
}

std::string Page::alpha() const
{
    std::string text = groups(bits, 7, [](int value) { return char(value); });
    return text.erase(text.find_last_not_of(std::string("\0\3\4\x17", 4)) + 1);
}

// Function 0 is numeric by custom, the others mostly text; what the bits make of it has the last word.
const char* Page::kind(PageText as) const
{
    if (bits.empty()) return "tone";
    if (as != PageText::automatic) return as == PageText::numeric ? "numeric" : "alpha";
    const std::string text = alpha(), digits = numeric();
    const auto odd = std::ranges::count_if(text, [](char c) {
        return uint8_t(c) == 0x7f || (uint8_t(c) < ' ' && c != '\n' && c != '\r' && c != '\t');
    });
    const bool is_text = odd * 10 <= ptrdiff_t(text.size()) && !text.empty();
    const bool is_number = digits.find_first_of("*U][") == std::string::npos;
    if (function == 0) return is_number || !is_text ? "numeric" : "alpha";
    return is_text || !is_number ? "alpha" : "numeric";
}

std::vector<Page> PocsagReceiver::push(bool bit, double time)
{
    times_[size_t(count_++) % word_bits] = time;
    last_ = last_ << 1 | bit;
    const double first = times_[size_t(count_) % word_bits];
    const auto word = uint32_t(last_);
    const int64_t place = count_ - sync_;
    if (open_ && place % word_bits == 0) {
        const uint32_t upright = inverted_ ? ~word : word;
        if (place <= batch_words * word_bits) {
            take(upright, first, time);
            return give();
        }
        const int errors = std::popcount(upright ^ sync_word);
        if (errors > expected_sync_errors) return finish();
        evidence_ += evidence(word_bits, errors);
        sync_ = count_;
        return give();
    }
    if (open_ && evidence_ >= enough_evidence) return {};
    std::vector<Page> pages;
    for (const bool inverted : {false, true}) {
        const int errors = std::popcount((inverted ? ~word : word) ^ sync_word);
        if (errors > (preamble() <= preamble_errors ? sync_errors : bare_sync_errors)) continue;
        if (open_ && evidence(word_bits, errors) < evidence_) continue;
        pages = finish();
        begin(errors, inverted);
    }
    return pages;
}

void PocsagReceiver::begin(int errors, bool inverted)
{
    open_ = true;
    inverted_ = inverted;
    sync_ = count_;
    evidence_ = evidence(word_bits, errors) + std::max(evidence(word_bits, preamble()), 0.0);
    quality_ = 1;
    unread_ = 0;
}

// Errors of the bits before the last 32 as an alternating row.
int PocsagReceiver::preamble() const
{
    const int unlike = std::popcount(uint32_t(last_ >> word_bits) ^ 0xaaaaaaaa);
    return std::min(unlike, word_bits - unlike);
}

void PocsagReceiver::take(uint32_t received, double begin, double end)
{
    auto codeword = correct_pocsag(received);
    // A line that hardly moves reads as codewords, and shows nothing; nor does one that repeats itself.
    const bool plain = std::popcount((received ^ received << 1) >> 1) < 6;
    const uint32_t before = std::exchange(previous_, codeword ? codeword->word : received);
    if (!codeword)
        evidence_ -= 3;
    else if (!plain && (codeword->word != before || codeword->word == idle_word))
        evidence_ += evidence(11, codeword->errors);
    quality_ += ((codeword ? 1 - 0.25 * codeword->errors : 0) - quality_) / 4;
    // A quarter of all noise is within two bits of a codeword.
    if (codeword && codeword->errors == 2 && quality_ < 0.5) codeword.reset();
    unread_ = codeword ? 0 : unread_ + 1;
    if (!codeword && page_) {
        page_->bits.insert(page_->bits.end(), payload_bits, -1);
        ++page_->lost;
    }
    if (unread_ == 2) close();
    if (!codeword) return;
    const uint32_t word = codeword->word;
    if (word == idle_word) return close();
    if (word >> 31 == 0) {
        close();
        const auto frame = (count_ - sync_) / word_bits - 1;
        page_ = Page{.address = int64_t(word >> 13 & 0x3ffff) << 3 | frame / 2,
                     .function = int(word >> 11 & 3),
                     .inverted = inverted_,
                     .begin = begin};
    } else if (page_)
        for (int k = 30; k >= 11; --k) page_->bits.push_back(int8_t(word >> k & 1));
    if (!page_) return;
    page_->corrected += codeword->errors;
    page_->end = end;
}

// The page has all that it will get. One of whose message nothing could be read is dropped: noise makes such.
void PocsagReceiver::close()
{
    if (!page_) return;
    const Page page = *std::exchange(page_, {});
    if (page.lost == 0 || page.bits.size() > size_t(page.lost) * payload_bits) waiting_.push_back(page);
}

std::vector<Page> PocsagReceiver::finish()
{
    close();
    std::vector<Page> pages = give();
    waiting_.clear();
    open_ = false;
    return pages;
}

std::vector<Page> PocsagReceiver::give()
{
    if (evidence_ < enough_evidence) return {};
    return std::exchange(waiting_, {});
}
} // namespace decoders::pages
