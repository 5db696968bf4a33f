#include "decoders/intake.h"
#include "decoders/decoder.h"
#include <algorithm>
#include <cmath>

namespace decoders {
namespace {
constexpr double kept = 60;          // s of powers
constexpr double lowest_rate = 2000; // Hz; below, there is nothing of a modem's tones
constexpr double half_scale = 1073741824.0;
} // namespace

Intake::Intake(double from, double wanted, size_t block, double level, Take take)
    : block_(block), take_(std::move(take)), resampler_(from, wanted), agc_(ZVAGC_Construct)
{
    if (from < lowest_rate)
        throw NotAtThisRate("audio of " + words::number(from) + " Hz",
                            "too low a rate, under " + words::number(lowest_rate) + " Hz");
    // Down at once, up slowly, so that what is heard isn't torn.
    agc_->target_level = level * 2147483648.0;
    agc_->gain_fall_rate = 1;
    agc_->gain_rise_rate = 0.05;
}

void Intake::push(const int16_t* samples, size_t count)
{
    const std::vector<int32_t>& audio = resampler_.push32(samples, count);
    waiting_.insert(waiting_.end(), audio.begin(), audio.end());
    even_.resize(block_);
    size_t at = 0;
    for (; at + block_ <= waiting_.size(); at += block_) {
        int32_t* const block = &waiting_[at];
        double power = 0;
        for (size_t k = 0; k < block_; ++k) power += double(block[k]) * block[k];
        powers_.push_back(power / double(block_));
        if (double(powers_.size() * block_) > kept * rate()) powers_.pop_front();
        ZVAGC_ProcessBuffer_Mono32(agc_, block, int32_t(block_), 1);
        for (size_t k = 0; k < block_; ++k) even_[k] = int16_t(block[k] >> 16);
        take_(even_.data(), block_, blocks_++ * int64_t(block_));
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + ptrdiff_t(at));
}

void Intake::finish(double seconds)
{
    push_silence((seconds + double(block_) / rate() + resampler_.delay()) * resampler_.input_rate() + 1,
                 *this);
}

double Intake::level(double begin, double end) const
{
    const int64_t gone = blocks_ - int64_t(powers_.size());
    const auto block_at = [&](double time) {
        const double sample = (time + resampler_.delay()) * rate();
        return std::clamp<int64_t>(int64_t(sample / double(block_)) - gone, 0, int64_t(powers_.size()) - 1);
    };
    const int64_t first = block_at(begin), last = block_at(end);
    double power = 0;
    for (int64_t k = first; k <= last; ++k) power += powers_[size_t(k)];
    return decibels(power / double(last - first + 1) / (half_scale * half_scale / 2) + 1e-12);
}
} // namespace decoders
