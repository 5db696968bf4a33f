// Characters of an asynchronous line: start bit, data bits, stop. A path search finds the chain of characters, with
// idle between, that is the most likely of all (dynamic programming over the ticks of the line).
#pragma once
#include "decode/keying.h"
#include <vector>

namespace client::decode {
struct Frame {
    int bits;                 // of data, 3 to 9, the parity bit included, lowest first
    double stop;              // bits, at least 1
    std::vector<float> prior; // logarithm of how likely each character is, 0 for the likeliest
};

// A piece of the chain.
struct Span {
    int64_t begin, end; // ticks
    int character;      // or idle
    static constexpr int idle = -1;
};

class PathSearch {
public:
    // Decides when the line has gone on for so many characters.
    PathSearch(const Frame& frame, int characters);

    // Takes the log likelihood ratio of mark to space over the bit that ends with this tick. Adds what is decided,
    // without gaps, to out.
    void push(float mark, std::vector<Span>& out);

private:
    // The best way to the end of a tick, behind a character and in idle.
    struct Node {
        float mark;          // as pushed
        double framed, idle; // scores
        int advance;         // ticks of the character
        bool from_idle;      // before the character
        bool idle_from_idle; // before the idle tick
        float data;          // score of the best start bit and character whose data end here
        bool ready_idle() const { return idle > framed; }
        double ready() const { return std::max(framed, idle); }
    };
    struct Stop {
        int ticks;
        float score;
    };
    void score_all(int64_t end);
    float best_score(int64_t end);
    int best_character(int64_t end);
    int64_t likeliest() const;
    void decide(std::vector<Span>& out);

    const Frame frame_;
    const int data_ticks_, delay_;
    std::vector<Stop> stops_;
    Recent<Node> nodes_;
    int64_t decided_ = 0;       // tick up to which all is out
    std::vector<float> scores_; // of all characters
    std::vector<Span> chain_;
};
} // namespace client::decode
