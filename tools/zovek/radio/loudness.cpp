#include "radio/loudness.h"
#include <algorithm>
#include <cmath>

namespace client {
namespace {
constexpr double frame_seconds = 0.02, ahead_seconds = 0.005, limiter_seconds = 0.1;
constexpr double target = 0.016;            // power of speech: its peaks are near full scale
constexpr double nothing = 3e-9;            // power: what is fainter is no speech
constexpr double over_floor = 4;            // power of speech over that of its pauses, at least
constexpr double weak = 1.0 / 300;          // of the level: what is fainter is no speech beside it
constexpr size_t floor_pieces = 8;          // s over which the least power is that of the pauses
constexpr double patience = 15;             // s without speech, after which what there is counts
constexpr double long_frames = 250;         // that the level is a mean of
constexpr double short_frames = 10;         // of a mean that shows another speaker
constexpr size_t try_frames = 75;           // in which a fainter speaker has shown all
constexpr double other = 6;                 // of the level, or one in so many: another speaker
constexpr double most = 4, most_short = 40; // of the level, as a frame counts in the means: a crash is short

} // namespace

float Limiter::push(float sample, float up)
{
    const size_t ahead = gains_.size(), slot = size_t(place_ % ahead);
    const float bears = std::fabs(sample) > 1 ? 1 / std::fabs(sample) : 1.0F;
    while (!least_.empty() && least_.back().gain >= bears) least_.pop_back();
    least_.push_back({bears, place_});
    if (least_.front().place + ahead <= place_) least_.pop_front();
    gain_ = std::min(least_.front().gain, gain_ + up * (1 - gain_));
    sum_ += double(gain_) - double(gains_[slot]);
    gains_[slot] = gain_;
    waiting_[slot] = sample;
    ++place_;
    return std::clamp(waiting_[size_t(place_ % ahead)] * float(sum_ / double(ahead)), -1.0F, 1.0F);
}

Loudness::Loudness(double rate)
    : frame_(std::max<size_t>(1, size_t(frame_seconds * rate))),
      ahead_(std::max<size_t>(2, size_t(ahead_seconds * rate))),
      up_(float(1 - std::exp(-1 / (limiter_seconds * rate)))),
      limiter_(ahead_),
      gain_(float(std::sqrt(target / nothing)))
{
}

float Loudness::push(float sample, bool gap)
{
    power_ += double(sample) * sample;
    gap_ = gap_ || gap;
    if (++taken_ == frame_) end_frame();
    gain_ += step_;
    return limiter_.push(sample * gain_, up_);
}

void Loudness::end_frame()
{
    const double power = power_ / double(frame_);
    if (!gap_ && power > nothing && is_speech(power)) take(power);
    const double gain = std::sqrt(target / std::max(level_, nothing));
    step_ = float((gain - double(gain_)) / double(frame_));
    power_ = 0;
    taken_ = 0;
    gap_ = false;
}

// Speech is what stands over the least that was heard lately: the noise in its pauses (minimum statistics: R.
// Martin, IEEE Trans. Speech Audio Proc. 9, 2001).
bool Loudness::is_speech(double power)
{
    smooth_ += 0.4 * (power - smooth_);
    if (floors_.empty() || ++frames_ * frame_seconds >= 1) {
        floors_.push_back(smooth_);
        frames_ = 0;
        if (floors_.size() > floor_pieces) floors_.pop_front();
    }
    floors_.back() = std::min(floors_.back(), smooth_);
    const double floor = *std::ranges::min_element(floors_);
    idle_ = power > std::max(over_floor * floor, weak * level_) ? 0 : idle_ + frame_seconds;
    return level_ == 0 || power > level_ || idle_ == 0 || idle_ > patience;
}

// The level is the mean power of a speaker's frames, and begins anew with another one.
void Loudness::take(double power)
{
    if (level_ == 0) level_ = short_ = power;
    short_ += (std::min(power, most_short * level_) - short_) / short_frames;
    recent_.push_back(short_);
    if (recent_.size() > try_frames) recent_.pop_front();
    const double loudest = *std::ranges::max_element(recent_);
    const bool fainter = recent_.size() == try_frames && loudest * other < level_;
    if (short_ > other * level_ || fainter) {
        level_ = fainter ? loudest / 2 : short_;
        count_ = short_frames;
        recent_.clear();
    }
    count_ = std::min(count_ + 1, long_frames);
    level_ += (std::min(power, most * level_) - level_) / count_;
}
} // namespace client
