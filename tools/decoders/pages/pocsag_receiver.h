// POCSAG out of a matched filter: where a transmission begins, at which rate and which way up; then codeword
// by codeword.
#pragma once
#include "decoders/pages/pocsag_pages.h"
#include <array>
#include <vector>

namespace decoders::pages {
class PocsagReceiver {
public:
    static constexpr int samples_a_bit = 20;

    // Takes the mean of the last samples_a_bit samples: at the end of a bit it stands for that bit, positive
    // for a 1; either way up will do, and any constant on top. Times in pages are numbers of such samples,
    // from 0 on, for the bits' ends.
    std::vector<Page> push(float mean);
    // The signal has ended.
    std::vector<Page> finish();

private:
    // Samples at the ends of bits: the first one, and how many a bit.
    struct Timing {
        double first, period;
        Timing after(double bits) const { return {first + bits * period, period}; }
    };
    struct Match {
        Timing timing;
        float fit; // cosine, negative upside down
        float amplitude, zero;
    };
    template <size_t words>
    Match match(const std::array<uint32_t, words>& sent, const Timing& timing) const;
    float at(double time) const;

    // ---- Search ----
    float likeness() const;
    void look();
    void judge(double time);
    void begin(const Match& sync, bool preamble, double evidence);

    // ---- A transmission ----
    SoftWord hear(double late, size_t following) const;
    template <class Fit>
    SoftWord hear_best(Fit fit_of) const;
    float level(uint32_t word) const;
    void read();
    void read_sync();
    void read_codeword();
    void learn(uint32_t word);
    void end();
    void release();

    std::vector<float> outputs_; // of the matched filter, the last ones
    double gone_ = 0;            // outputs before them
    double candidate_ = -1;      // where the search began to see a sync word; -1: it doesn't

    bool open_ = false, inverted_ = false;
    Timing next_{};       // of the next word
    double measured_ = 0; // words that went into that
    int place_ = 0;       // of the next word in its batch; batch_words: the next one's sync word
    float amplitude_ = 1;
    std::array<float, 4> zero_{}; // between the levels, as followed in each way
    std::array<float, 4> fits_{}; // of the last words so
    size_t following_ = 0;        // the way that fits best
    float noise_ = 0;             // power against the signal's
    double evidence_ = 0;         // bits, that these are codewords and not noise
    bool doubtful_ = false;       // a sync word was missed, and nothing has been read since
    int unread_ = 0;              // codewords in a row
    uint32_t previous_ = 0;       // codeword
    PageMaker pages_;
    std::vector<Page> waiting_; // for evidence
    std::vector<Page> ready_;
};
} // namespace decoders::pages
