// Pages of POCSAG (ITU-R M.584, radiopaging code No. 1) out of the bits of a channel.
//
// A batch is a sync codeword and sixteen others of 32 bits: 21 bits of address or message, 10 of a BCH(31,21)
// code that corrects two errors, and one of parity, which tells three from two.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace decoders::pages {
struct Codeword {
    uint32_t word; // as sent
    int errors;    // corrected
};
// The codeword next to what was received, if there is one with at most two errors.
std::optional<Codeword> correct_pocsag(uint32_t received);

enum class PageText { automatic, numeric, alpha };

struct Page {
    int64_t address = 0;      // 21 bits
    int function = 0;         // 0 to 3
    std::vector<int8_t> bits; // of the message; -1: in a codeword that couldn't be read
    int corrected = 0;        // bits
    int lost = 0;             // codewords
    bool inverted = false;
    double begin = 0, end = 0; // as times of the bits

    // "tone" without a message, else "numeric" or "alpha".
    const char* kind(PageText as) const;
    // U+FFFD stands for what couldn't be read.
    std::string numeric() const;
    std::string alpha() const;
};

class PocsagReceiver {
public:
    // Takes a bit (0 or 1; either way up), and the time of its middle.
    std::vector<Page> push(bool bit, double time);
    // The signal has ended.
    std::vector<Page> finish();

private:
    int preamble() const;
    void begin(int errors, bool inverted);
    void take(uint32_t received, double begin, double end);
    void close();
    std::vector<Page> give();

    uint64_t last_ = 0; // bits, the newest lowest
    std::vector<double> times_ = std::vector<double>(32);
    int64_t count_ = 0;
    bool open_ = false; // in a batch
    bool inverted_ = false;
    int64_t sync_ = 0;      // count_ at the end of the batch's sync
    double evidence_ = 0;   // bits, that these are codewords and not noise
    double quality_ = 0;    // of the last codewords, 0 to 1
    uint32_t previous_ = 0; // codeword
    int unread_ = 0;        // codewords in a row
    std::optional<Page> page_;
    std::vector<Page> waiting_; // for evidence
};
} // namespace decoders::pages
