#include "radio/gate.h"
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace client {
constexpr double fade_seconds = 0.005;

Gate::Gate(Squelch& squelch, double rate, size_t channels, bool overs_only)
    : squelch_(squelch),
      rate_(rate),
      channels_(channels),
      overs_only_(overs_only),
      step_(float(1 / (fade_seconds * rate)))
{
}

const std::vector<int32_t>& Gate::pass(const std::vector<int32_t>& audio)
{
    held_.insert(held_.end(), audio.begin(), audio.end());
    return give(squelch_.decided());
}

const std::vector<int32_t>& Gate::finish() { return give(std::numeric_limits<double>::infinity()); }

const std::vector<int32_t>& Gate::give(double until)
{
    out_.clear();
    stretches_.clear();
    size_t at = 0;
    bool gap = true;
    for (; at < held_.size() && double(taken_) / rate_ < until; at += channels_, ++taken_) {
        const bool open = squelch_.open_at(double(taken_) / rate_);
        while (open && begins_.size() < squelch_.overs_reached()) begins_.push_back(double(given_) / rate_);
        gain_ = std::clamp(gain_ + (open ? step_ : -step_), 0.0F, 1.0F);
        if (overs_only_ && gain_ == 0) {
            gap = true;
            continue;
        }
        if (std::exchange(gap, false)) stretches_.push_back({out_.size(), decided()});
        for (size_t c = 0; c < channels_; ++c)
            out_.push_back(int32_t(std::llrint(double(gain_) * held_[at + c])));
        ++given_;
    }
    held_.erase(held_.begin(), held_.begin() + ptrdiff_t(at));
    return out_;
}
} // namespace client
