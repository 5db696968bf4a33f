// Bit timing of a soft stream, sample by sample: the library's loop on the zero crossings, and around it one
// that learns how far the sender's rate is off.
#pragma once
#include "decoders/blocks.h"
#include <cstdint>
#include <functional>

namespace decoders::pages {
class BitClock {
public:
    // Takes the soft value in the middle of a bit, and where that is, in samples from the first one on.
    using Take = std::function<void(int16_t soft, double position)>;
    // The loop's gain is that of ZVDataFormatter2; the rate may be off by a part most_off of itself.
    BitClock(double samples_per_bit, double gain, double most_off, Take take);
    BitClock(const BitClock&) = delete;

    void push(int16_t soft)
    {
        level_ = soft;
        ZVDataFormatter2_DPLL_16(loop_, &soft, 1, 1);
        ++position_;
    }

private:
    void decide(double ahead);

    const double nominal_, gain_, most_off_;
    const Take take_;
    zovek::DataFormatter loop_;
    double period_, last_ = 0; // samples: of a bit; middle of the last one
    int64_t position_ = 0;
    int16_t level_ = 0;
};
} // namespace decoders::pages
