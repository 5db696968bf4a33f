// Levels of a baseband line by sequences, since filters smear each over its neighbours: Viterbi's algorithm
// over the last levels, with a channel that is estimated on the way (G. D. Forney, IEEE Trans. Inf. Theory
// 18, 1972; adaptive: F. R. Magee, J. G. Proakis, IEEE Trans. Inf. Theory 19, 1973).
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace decoders::packet {
class LevelSequence {
public:
    static constexpr int delay = 3; // bits from the sample in a bit's middle to its decision

    // offset_share is how much of the way the line's offset goes to what a bit shows: more where a high-pass
    // lets it wander. With both, the sample behind the middle counts too: filters as wide as the bit rate
    // leave the noise of the two independent.
    LevelSequence(double offset_share, bool both);

    // Takes the middle of a bit and the sample half a bit later, of a mean magnitude of 1. Gives the soft
    // value of the bit delay before, positive for a positive level.
    float push(float middle, float behind);

private:
    static constexpr unsigned memory = 5, states = 1u << memory; // the last levels, the newest lowest
    using Taps = std::array<float, memory + 1>;                  // what levels add, the newest's first
    struct Sample {
        float offset = 0;
        Taps taps;
        std::array<float, 2 * states> expected{}; // by the last memory + 1 levels
        std::array<float, 8> heard{};             // lately

        void expect();
    };
    // The channel as it is before anything is heard: a little over a bit long.
    static constexpr Taps middle_taps = {0, 0, 1, 0, 0, 0}, behind_taps = {0, 0.5f, 0.5f, 0, 0, 0};

    void follow(Sample& sample, const Taps& usual, unsigned levels) const;

    const float offset_share_, behind_weight_;
    Sample middle_{.taps = middle_taps}, behind_{.taps = behind_taps};
    std::array<float, states> cost_{};       // of the survivors, against the least
    std::array<uint32_t, states> history_{}; // their levels
    unsigned position_ = 0;                  // bits so far
};
} // namespace decoders::packet
