#include "decoders/packet/baseband.h"
#include <cmath>

namespace decoders::packet {
namespace {
constexpr double rate = Baseband::baud * Baseband::bit_samples;
constexpr int taps = 8 * Baseband::bit_samples + 1;
constexpr double lag = (taps - 1) / 2.0; // samples, of the low-pass
constexpr float mean_share =
    1.0f / (100 * Baseband::bit_samples); // a scrambled signal is on both sides alike
} // namespace

Baseband::Baseband(const Tuning& tuning, Take take)
    : loop_gain_(tuning.loop_gain),
      take_(std::move(take)),
      low_pass_(make_fir(ZVFIRType_LowPass, taps, rate, 0, tuning.cutoff * baud))
{
}

// A loop of first order: a crossing of zero ought to come half a bit from the middles on either side, and
// moves the phase by a share of what it is off (F. M. Gardner, Phaselock Techniques, ch. 2).
void Baseband::push(const int16_t* samples, size_t count)
{
    constexpr double step = 1.0 / bit_samples;
    filtered_.resize(count);
    ZVFIR1616_Process_16_16(low_pass_, filtered_.data(), samples, int32_t(count), 1, 1);
    for (const int16_t sample : filtered_) {
        mean_ += mean_share * (float(sample) - mean_);
        const float value = float(sample) - mean_;
        phase_ += step;
        ++position_;
        if ((value >= 0) != (before_ >= 0)) {
            const double crossing = phase_ - step * double(value / (value - before_));
            phase_ -= loop_gain_ * std::remainder(crossing - 0.5, 1);
        }
        if (phase_ >= 1) {
            phase_ -= 1;
            const double ago = phase_ * bit_samples; // samples
            decide(value - (value - before_) * float(ago), double(position_) - 1 - ago - lag);
        }
        before_ = value;
    }
}

// The scrambler's polynomial is 1 + x^12 + x^17; a wrong bit comes out wrong three times.
void Baseband::decide(float soft, double sample)
{
    bits_ = bits_ << 1 | (soft >= 0);
    const bool level = (bits_ ^ bits_ >> 12 ^ bits_ >> 17) & 1;
    take_(level ? std::fabs(soft) : -std::fabs(soft), sample);
}
} // namespace decoders::packet
