// Speech, told from noise and silence by its syllables: levels that rise and fall again and again.
#pragma once
#include "decoders/decoder.h"
#include <algorithm>
#include <deque>
#include <optional>
#include <vector>

namespace decoders::tones {
class Syllables {
public:
    static constexpr double hop = 0.05; // s between levels

    // A level's time, s, and the power of the voice's band then.
    void push(double time, double power)
    {
        levels_.push_back(decibels(power + 1e-12));
        if (levels_.size() > kept) levels_.pop_front();
        time_ = time;
        const auto first = levels_.end() - ptrdiff_t(std::min(levels_.size(), judged));
        std::vector<double> sorted(first, levels_.end());
        std::ranges::sort(sorted);
        const double low = sorted[sorted.size() / 10], high = sorted[sorted.size() * 9 / 10];
        middle_ = (low + high) / 2;
        int rises = 0;
        bool up = false;
        for (auto level = first; level != levels_.end(); ++level) {
            const double edge = low + (up ? down_from : up_from) * (high - low);
            rises += !up && *level > edge;
            up = *level > edge;
        }
        const bool heard = high - low > least_swing && rises >= least_rises;
        if (!heard)
            began_.reset();
        else if (!began_)
            began_ = time_of(std::find_if(first, levels_.end(), [this](double x) { return x > middle_; }));
    }
    std::optional<double> began() const { return began_; } // s, if there is speech
    // Whether there is speech, and some of it stood between two times of the last seconds.
    bool between(double from, double to) const
    {
        for (auto level = levels_.begin(); began_ && level != levels_.end(); ++level)
            if (*level > middle_ && time_of(level) > from && time_of(level) < to) return true;
        return false;
    }

private:
    using Level = std::deque<double>::const_iterator;
    double time_of(const Level& level) const { return time_ - double(levels_.end() - level - 1) * hop; }

    // Levels that are judged, 2 s: with fewer, slow words lack syllables; with more, all is known later.
    // Levels that are kept, 5 s: how far back is asked what stood between two times.
    static constexpr size_t judged = 40, kept = 100;
    static constexpr double least_swing = 8; // dB, lowest tenth to highest: steady noise has less
    static constexpr int least_rises = 3;    // in what is judged: a click, or an over's beginning, has fewer
    // Of the swing: what wavers about its middle doesn't rise.
    static constexpr double up_from = 0.6, down_from = 0.4;
    std::deque<double> levels_;    // dB
    double time_ = 0, middle_ = 0; // s, of the last level; dB, between what is low and what is high
    std::optional<double> began_;
};
} // namespace decoders::tones
