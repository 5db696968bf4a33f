// 9600 Bd on the carrier itself: what an FM discriminator gives, scrambled (J. Miller, "9600 Baud Packet
// Radio Modem Design", 1988: the G3RUH modem). Low-pass, bit clock and descrambler of one branch.
#pragma once
#include "decoders/blocks.h"
#include <cstdint>
#include <functional>
#include <vector>

namespace decoders::packet {
class Baseband {
public:
    static constexpr double baud = 9600;
    static constexpr int bit_samples = 8;

    struct Tuning {
        double cutoff;    // of the low-pass, 6 dB down, as a part of the bit rate
        double loop_gain; // of the bit clock
    };
    // Takes the soft value of a descrambled bit, whose sign is its level, and the middle of the bit in
    // samples from the first one on.
    using Take = std::function<void(float soft, double sample)>;
    Baseband(const Tuning& tuning, Take take);

    // Samples at baud times bit_samples Hz.
    void push(const int16_t* samples, size_t count);

private:
    void decide(float soft, double sample);

    const double loop_gain_;
    const Take take_;
    zovek::FIR low_pass_;
    std::vector<int16_t> filtered_;
    int64_t position_ = 0; // samples so far
    double phase_ = 0;     // of the bit, 1 in its middle
    float mean_ = 0;       // of the signal: off tune it isn't 0
    float before_ = 0;     // the sample before
    uint32_t bits_ = 0;    // the last as they came, the newest lowest
};
} // namespace decoders::packet
