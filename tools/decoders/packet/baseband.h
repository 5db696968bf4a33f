// 9600 Bd on the carrier itself: what an FM discriminator gives, scrambled (J. Miller, "9600 Baud Packet
// Radio Modem Design", 1988: the G3RUH modem). Low-pass, bit clock, levels and descrambler of one branch.
#pragma once
#include "decoders/blocks.h"
#include "decoders/packet/level_sequence.h"
#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace decoders::packet {
class Baseband {
public:
    static constexpr double baud = 9600;
    static constexpr int bit_samples = 8;
    static constexpr double rate = baud * bit_samples; // Hz
    // The polynomial is 1 + x^12 + x^17: a level that was heard wrong comes out wrong again so many later.
    static constexpr std::array<int, 2> echoes = {12, 17};

    struct Tuning {
        double cutoff;       // of the low-pass, 6 dB down, as a part of the bit rate
        double loop_gain;    // of the bit clock
        double offset_share; // of LevelSequence, as is both
        bool both;
    };
    // Takes a bit: its sign is the level as it was before scrambling, its magnitude how surely the newest of
    // the levels was heard that make it. The bit's end is in samples from the first one on.
    using Take = std::function<void(float soft, double sample)>;
    Baseband(const Tuning& tuning, Take take);

    // Through the low-pass that all branches have alike.
    static zovek::FIR low_pass(double cutoff);
    // Samples at the rate, and the same through the low-pass that makes crossings of zero plain.
    void push(const int16_t* samples, const int16_t* crossing, size_t count);

private:
    static constexpr size_t kept = 16; // samples, more than a bit and a half
    void correct(float value);
    void decide();
    float sample_at(double ago) const;

    const double loop_gain_;
    const Take take_;
    zovek::FIR low_pass_;
    LevelSequence sequence_;
    std::vector<int16_t> filtered_;
    std::array<float, kept> last_{};
    int64_t position_ = 0;            // samples so far
    double phase_ = 0;                // bits: 1 in the middle of one, 1.5 when it ends
    double step_ = 1.0 / bit_samples; // bits a sample
    float mean_ = 0;                  // of the signal: off tune it isn't 0
    float size_ = 1;                  // its mean magnitude
    float before_ = 0;                // the sample before, for the clock
    uint32_t levels_ = 0;             // the last as they came, the newest lowest
};
} // namespace decoders::packet
