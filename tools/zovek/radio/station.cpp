#include "radio/station.h"
#include "line/failure.h"
#include "radio/neighbours.h"
#include <algorithm>
#include <cmath>
#include <span>

namespace client {
// Negative frequencies are for recordings with a centre.
static Plan plan_for(const Input& input, Wishes wishes)
{
    if (!input.centre && !input.tuned && wishes.frequency.value_or(0) < 0)
        throw WrongUsage("frequencies below 0 are for I/Q: --iq");
    wishes.centre = input.centre;
    wishes.origin = input.origin;
    return make_plan(input.rate, wishes);
}

Station::Station(Input& input, const Wishes& wishes, const Level& level)
    : plan_(plan_for(input, wishes)), radio_(plan_, level), band_(input)
{
    if (plan_.over == plan_.under) return;
    for (int side = 0; side < (plan_.mode == ZVDemodMode_ISB ? 2 : 1); ++side)
        converters_.push_back(std::make_unique<Converter>(plan_.over, plan_.under, plan_.resampler_taps()));
    late_ = converters_[0]->delay();
}

void Station::record(std::function<void(std::span<const float> pairs)> take)
{
    take_ = std::move(take);
    pairs_late_ = std::llround(plan_.detector_delay());
    radio_.listen([this](std::span<const int32_t> i, std::span<const int32_t> q) { take_pairs(i, q); });
}

// Pairs stand where they stood in the recording, and there are no more of them than it had.
void Station::take_pairs(std::span<const int32_t> i, std::span<const int32_t> q)
{
    const float scale = float(plan_.stuffing) / 1073741824.0f; // the mixer leaves half of a sine, in 32 bits
    const auto late = size_t(std::min<int64_t>(pairs_late_, int64_t(i.size())));
    pairs_late_ -= int64_t(late);
    const int64_t due = std::llround(seconds() * plan_.detector_rate()) - pairs_taken_;
    const size_t end = late + size_t(std::clamp<int64_t>(due, 0, int64_t(i.size() - late)));
    pairs_.clear();
    for (size_t k = late; k < end; ++k) {
        pairs_.push_back(scale * float(i[k]));
        pairs_.push_back(scale * float(q[k]));
    }
    pairs_taken_ += int64_t(end - late);
    take_(pairs_);
}

// Sees to it that there are samples to hear; false at the band's end.
bool Station::read()
{
    if (given_ < ahead_.size()) return true;
    if (ended_) return false;
    given_ = 0;
    ahead_.resize(size_t(plan_.block));
    ahead_.resize(band_.read(ahead_.data(), ahead_.size()));
    ended_ = ahead_.empty();
    if (ended_)
        readings_ = radio_.readings();
    else if (!settled_)
        settle();
    return !ended_;
}

// Silence before the station doesn't count, and at high rates less than a second is long enough.
void Station::settle()
{
    if (is_silent(ahead_)) return;
    const auto block = size_t(plan_.block), first = size_t(std::min(plan_.rate, 1 << 24));
    band_.append(ahead_, (first + block - 1) / block * block - block);
    const double before = plan_.detector_delay();
    plan_ = beside_neighbours(plan_, ahead_);
    if (plan_.crowded) radio_.change_width(plan_);
    pairs_late_ += std::llround(plan_.detector_delay() - before);
    radio_.settle(ahead_);
    settled_ = true;
}

const std::vector<int32_t>& Station::hear()
{
    const size_t count = std::min(ahead_.size() - given_, size_t(plan_.block));
    heard_ += int64_t(count);
    const auto& audio = radio_.receive(std::span(ahead_).subspan(given_, count));
    given_ += count;
    overloads_ += radio_.overload();
    return audio;
}

// Frames of audio that belong to what has been heard.
int64_t Station::due() const { return std::llround(seconds() * plan_.output_rate()); }

const std::vector<int32_t>& Station::resampled(const std::vector<int32_t>& audio)
{
    if (converters_.empty()) return audio;
    for (size_t side = 0; side < converters_.size(); ++side) {
        sides_[side].clear();
        converters_[side]->run(audio.data() + side, audio.size() / 2, 2, sides_[side]);
    }
    stereo_.clear();
    for (size_t k = 0; k < sides_[0].size(); ++k) {
        if (late_-- > 0) continue;
        stereo_.push_back(sides_[0][k]);
        stereo_.push_back(sides_[converters_.size() - 1][k]);
    }
    return stereo_;
}

// A block may be shorter than the delay, so that it brings none. Silence behind the end brings out what still
// is in the filters.
const std::vector<int32_t>& Station::next()
{
    audio_.clear();
    while (audio_.empty() && (read() || frames_ < due())) {
        audio_ = resampled(ended_ ? radio_.drain() : hear());
        const int64_t frames = std::min(int64_t(audio_.size() / 2), due() - frames_);
        audio_.resize(2 * size_t(frames));
        frames_ += frames;
    }
    if (ended_) { // the carrier's waited for that long
        const int32_t noise_level = readings_.noise_level;
        readings_ = radio_.readings();
        readings_.noise_level = noise_level;
    }
    return audio_;
}

const std::vector<int32_t>& Station::next_left()
{
    const std::vector<int32_t>& stereo = next();
    left_.resize(stereo.size() / 2);
    for (size_t k = 0; k < left_.size(); ++k) left_[k] = stereo[2 * k];
    return left_;
}
} // namespace client
