// Audio on its way into a decoder: at its rate, at an even level, in whole blocks however it was cut.
#pragma once
#include "decoders/blocks.h"
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace decoders {
class Intake {
public:
    // Takes a block; its first sample is number `first` of the stream at rate().
    using Take = std::function<void(const int16_t* samples, size_t count, int64_t first)>;
    // Blocks of so many samples at the wanted rate go to take. level is their mean magnitude, a part of full
    // scale.
    Intake(double from, double wanted, size_t block, double level, Take take);

    void push(const int16_t* samples, size_t count);
    // So many seconds of silence, and what fills the last block: brings out what is in the filters behind.
    void finish(double seconds);

    double rate() const { return resampler_.rate(); }
    // Where in the audio a sample of the blocks belongs, s.
    double time(double sample) const { return sample / rate() - resampler_.delay(); }
    // Power of the audio between two times, dB: 0 is a sine of full scale.
    double level(double begin, double end) const;

private:
    const size_t block_;
    const Take take_;
    Resampler resampler_;
    zovek::AGC agc_;
    std::vector<int32_t> waiting_; // less than a block
    std::vector<int16_t> even_;
    std::deque<double> powers_; // of the last blocks
    int64_t blocks_ = 0;
};
} // namespace decoders
