// SITOR in its collective mode, mode B (ITU-R M.476 and M.625): characters of seven bits of which four are 1,
// each sent twice, the second time 35 bits after the first, so that first and second sendings take turns.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace decoders::bulletins {
struct SitorSymbol {
    char letter, figure; // in either case; 0: no character but a phasing signal
    bool sure;           // likelier right than wrong
    double time;         // of the middle of its first bit, as it was pushed
};

// Symbols that aren't characters of their own.
constexpr char sitor_letters = '\x0e', sitor_figures = '\x0f';

class Sitor {
public:
    Sitor() { finish(); }
    // Takes the soft value of a bit, near 1 or -1, and its time. What it gives may be some symbols behind,
    // but is of a signal: two sendings that fit together.
    std::vector<SitorSymbol> push(float soft, double time);
    // The signal has ended.
    std::vector<SitorSymbol> finish();

    bool locked() const { return lock_.has_value; }
    bool inverted() const { return lock_.inverted; }
    // How well the last sendings fit together, 0 to 1; 0.63 for noise.
    float score() const { return lately_; }

private:
    static constexpr int bits = 7, cycle = 2 * bits, between = 35, pairs = 36;
    static constexpr size_t kept = 512; // bits
    struct Lock {
        bool has_value = false, inverted = false;
        size_t phase = 0; // of the last bit of a pair, in the cycle
    };
    struct Fit {
        int best = 0;   // row of the table, or one behind it for a pair of phasing signals
        float part = 0; // of all that was heard
        float chance = 0;
    };
    float correlate(int64_t end, std::array<float, pairs>& sums) const;
    Fit fit(int64_t end) const;
    float evidence(int64_t judged, bool inverted) const;
    void take(int64_t end);
    void look_back();
    std::vector<SitorSymbol> search(size_t phase);
    std::vector<SitorSymbol> give();
    std::vector<SitorSymbol> out(size_t count);
    float average(size_t first, size_t count) const;
    bool heard(size_t k) const;

    struct Waiting {
        SitorSymbol symbol;
        float part;
    };
    std::array<float, kept> soft_{};
    std::array<double, kept> time_{};
    int64_t count_ = 0;
    struct Trial {
        float score;
        int best = -1; // row that fitted last
    };
    std::array<std::array<Trial, cycle>, 2> trials_; // each polarity and phase
    Lock lock_;
    float lately_ = 0;   // of the lock
    int missing_ = 0;    // pairs since there was a signal
    float noise_ = 0.3f; // variance of the soft values about 1 and -1
    std::deque<Waiting> waiting_;
};
} // namespace decoders::bulletins
