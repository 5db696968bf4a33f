#include "decoders/pages/pocsag_pages.h"
#include <algorithm>

namespace decoders::pages {
namespace {
constexpr int payload_bits = 20;
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

void PageMaker::take(const std::optional<Codeword>& codeword, int frame, double begin, double end,
                     float noise)
{
    unread_ = codeword ? 0 : unread_ + 1;
    if (!codeword) {
        if (page_) {
            page_->bits.insert(page_->bits.end(), payload_bits, -1);
            ++page_->lost;
        }
        if (unread_ == 2) close();
        return;
    }
    const uint32_t word = codeword->word;
    if (word == idle_word) return close();
    if (word >> 31 == 0) {
        close();
        page_ = Page{.address = int64_t(word >> 13 & 0x3ffff) << 3 | frame,
                     .function = int(word >> 11 & 3),
                     .begin = begin};
    } else if (page_)
        for (int k = 30; k >= 11; --k) page_->bits.push_back(int8_t(word >> k & 1));
    if (!page_) return;
    page_->corrected += codeword->errors;
    page_->end = end;
    page_->noise += double(noise);
    ++page_->words;
}

// A page of whose message nothing could be read is dropped: noise makes such.
void PageMaker::close()
{
    if (!page_) return;
    Page page = *std::exchange(page_, {});
    if (page.lost == 0 || page.bits.size() > size_t(page.lost) * payload_bits)
        pages_.push_back(std::move(page));
}
} // namespace decoders::pages
