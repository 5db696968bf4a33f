// Pages of POCSAG (ITU-R M.584, radiopaging code No. 1) out of its codewords.
#pragma once
#include "decoders/pages/pocsag_code.h"
#include <string>
#include <utility>
#include <vector>

namespace decoders::pages {
enum class PageText { automatic, numeric, alpha };

struct Page {
    int64_t address = 0;      // 21 bits
    int function = 0;         // 0 to 3
    std::vector<int8_t> bits; // of the message; -1: in a codeword that couldn't be read
    int corrected = 0;        // bits
    int lost = 0;             // codewords
    bool inverted = false;
    double begin = 0, end = 0; // as times of the bits
    double noise = 0;          // power against that of the bits, summed over `words` codewords
    int words = 0;

    // "tone" without a message, else "numeric" or "alpha".
    const char* kind(PageText as) const;
    // U+FFFD stands for what couldn't be read.
    std::string numeric() const;
    std::string alpha() const;
};

// Codewords to pages.
class PageMaker {
public:
    // Takes the next codeword: none, if it couldn't be read; which frame of the batch it is in, its times,
    // and the power of the noise on it against that of its bits.
    void take(const std::optional<Codeword>& codeword, int frame, double begin, double end, float noise);
    // The page has all that it will get.
    void close();
    // Those that are whole.
    std::vector<Page> give() { return std::exchange(pages_, {}); }

private:
    std::optional<Page> page_;
    std::vector<Page> pages_;
    int unread_ = 0; // codewords in a row
};
} // namespace decoders::pages
