// Characters of an asynchronous line: start bit, data bits, stop. A path search finds the likeliest chain of
// characters, with idle between (dynamic programming over the ticks of the line).
#pragma once
#include "decoders/keyed/keying.h"
#include <cmath>
#include <vector>

namespace decoders::keyed {
struct Frame {
    int bits;                 // of data, 3 to 9, the parity bit included, lowest first
    double stop;              // bits, at least 1
    std::vector<float> prior; // logarithm of how likely each character is, 0 for the likeliest
};

// A piece of the chain.
struct Span {
    int64_t begin, end;         // ticks
    int character;              // or idle
    double bit = ticks_per_bit; // ticks of a bit, as its sender has them
    static constexpr int idle = -1;
    int64_t bit_end(int k) const { return begin + std::lround((k + 1) * bit); } // the start bit is bit 0
};

class PathSearch {
public:
    // Decides when the line has gone on for so many characters.
    PathSearch(const Frame& frame, int characters);

    // Takes the log likelihood ratio of mark to space over the bit that ends here. Decided spans go to out.
    void push(float mark, std::vector<Span>& out);

private:
    // The best way to the end of a tick, behind a character and in idle.
    struct Node {
        float mark;          // as pushed
        double framed, idle; // scores
        int advance;         // ticks of the character
        int pace;            // of the character
        bool idle_from_idle; // before the idle tick
        double data;         // score of the best way to a character whose data end here
        int data_pace;       // of that
        bool ready_idle() const { return idle > framed; }
        double ready() const { return std::max(framed, idle); }
    };
    struct Stop {
        int ticks;
        float score;
    };
    // What a sender's bits last.
    struct Pace {
        double bit;            // ticks
        int data;              // ticks of the start bit and the data
        std::vector<int> back; // ticks from the ends of the start bit and the data to the last one's
        float usual;           // share of the characters that had it lately
        float score;           // logarithm of that
    };
    float half(int64_t end, const Pace& pace, int bit) const;
    void score_all(int64_t end, const Pace& pace);
    float best_score(int64_t end, const Pace& pace, double over);
    int best_character(int64_t end, const Pace& pace);
    void find_data(int64_t end);
    void learn(int pace);
    int64_t likeliest() const;
    void decide(std::vector<Span>& out);

    const Frame frame_;
    const int data_ticks_, delay_;
    std::vector<Pace> paces_;
    std::vector<Stop> stops_;
    Recent<Node> nodes_;
    int64_t decided_ = 0;       // tick up to which all is out
    std::vector<float> scores_; // of all characters
    struct Link {
        Span span;
        int pace;
    };
    std::vector<Link> chain_;
};
} // namespace decoders::keyed
