#include "decoders/pages/bit_clock.h"
#include <algorithm>

namespace decoders::pages {
BitClock::BitClock(double samples_per_bit, double gain, double most_off, Take take)
    : nominal_(samples_per_bit),
      gain_(gain),
      most_off_(most_off),
      take_(std::move(take)),
      loop_(ZVDataFormatter2_Construct),
      period_(samples_per_bit)
{
    loop_->sampling_rate = samples_per_bit;
    loop_->bit_rate = 1;
    loop_->loop_gain = gain;
    loop_->user_data = reinterpret_cast<uintptr_t>(this);
    loop_->callback = [](uintptr_t self, ZVDataFormatter2* loop, int32_t, int32_t) {
        reinterpret_cast<BitClock*>(self)->decide(loop->next_bit_point);
    };
}

// The loop moved this bit by gain times the error that it saw. A period moved by gain / 4 of that makes a
// loop of second order with a damping of 1 (F. M. Gardner, Phaselock Techniques, ch. 2).
void BitClock::decide(double ahead)
{
    const double middle = double(position_) + ahead;
    period_ += gain_ / 4 * (middle - last_ - period_);
    period_ = std::clamp(period_, nominal_ * (1 - most_off_), nominal_ * (1 + most_off_));
    last_ = middle;
    loop_->bit_rate = nominal_ / period_;
    take_(level_, middle);
}
} // namespace decoders::pages
