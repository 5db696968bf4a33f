#include "decoders/packet/baseband.h"
#include <algorithm>
#include <cmath>

namespace decoders::packet {
namespace {
constexpr int taps = 8 * Baseband::bit_samples + 1;
constexpr double lag = (taps - 1) / 2.0; // samples, of the low-pass
constexpr float mean_share = 1.0f / (100 * Baseband::bit_samples), size_share = 1e-3f;
constexpr double rate_share = 0.02; // of a correction times the loop's gain, into the length of a bit
constexpr double most_off = 0.01;   // of the bit rate
} // namespace

zovek::FIR Baseband::low_pass(double cutoff)
{
    return make_fir(ZVFIRType_LowPass, taps, rate, 0, cutoff * baud);
}

Baseband::Baseband(const Tuning& tuning, Take take)
    : loop_gain_(tuning.loop_gain),
      take_(std::move(take)),
      low_pass_(low_pass(tuning.cutoff)),
      sequence_(tuning.offset_share, tuning.both)
{
}

void Baseband::push(const int16_t* samples, const int16_t* crossing, size_t count)
{
    filtered_.resize(count);
    ZVFIR1616_Process_16_16(low_pass_, filtered_.data(), samples, int32_t(count), 1, 1);
    for (size_t k = 0; k < count; ++k) {
        mean_ += mean_share * (float(crossing[k]) - mean_);
        const float value = float(crossing[k]) - mean_;
        size_ += size_share * (std::fabs(value) - size_);
        last_[size_t(position_++) % kept] = float(filtered_[k]) - mean_;
        phase_ += step_;
        correct(value);
        if (phase_ >= 1.5) decide();
    }
}

// A loop of second order: a crossing of zero ought to come half a bit from the middles on either side (F. M.
// Gardner, Phaselock Techniques, ch. 2).
void Baseband::correct(float value)
{
    if ((value >= 0) != (before_ >= 0)) {
        const double crossing = phase_ - step_ * double(value / (value - before_));
        const double correction = loop_gain_ * std::remainder(crossing - 0.5, 1);
        phase_ -= correction;
        step_ = std::clamp(step_ - rate_share * loop_gain_ * correction / bit_samples,
                           (1 - most_off) / bit_samples, (1 + most_off) / bit_samples);
    }
    before_ = value;
}

void Baseband::decide()
{
    phase_ -= 1;
    const double ago = (phase_ - 0.5) * bit_samples; // samples, the bit's end
    const float scale = 1 / std::max(size_, 1.0f);
    const float soft = sequence_.push(sample_at(ago + bit_samples / 2.0) * scale, sample_at(ago) * scale);
    levels_ = levels_ << 1 | (soft >= 0);
    const bool level = (levels_ ^ levels_ >> echoes[0] ^ levels_ >> echoes[1]) & 1;
    take_(level ? std::fabs(soft) : -std::fabs(soft),
          double(position_ - 1) - ago - lag - LevelSequence::delay * bit_samples);
}

float Baseband::sample_at(double ago) const
{
    const double place = double(position_ - 1) - ago, whole = std::floor(place);
    const float a = last_[size_t(whole) % kept], b = last_[size_t(whole + 1) % kept];
    return a + (b - a) * float(place - whole);
}
} // namespace decoders::packet
