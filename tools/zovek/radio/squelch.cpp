#include "radio/squelch.h"
#include <algorithm>
#include <cmath>

namespace client {
namespace {
constexpr double piece_seconds = 0.01;
constexpr double hysteresis = 3; // dB
// Of the mean fourth power over the squared mean square: 2 is noise, 1 a constant envelope, and with a signal
// to noise ratio s it is 1 + (2 s + 1) / (s + 1)^2.
constexpr double opens = 1.42, closes = 1.6; // 5 dB, 3 dB
} // namespace

void Squelch::look(std::span<const float> pairs, double rate)
{
    piece_ = size_t(std::max(1L, std::lround(piece_seconds * rate)));
    seconds_ = double(piece_) / rate;
    for (size_t k = 0; k + 1 < pairs.size(); k += 2) {
        const double re = pairs[k], im = pairs[k + 1], power = re * re + im * im;
        power_ += power;
        squares_ += power * power;
        if (++taken_ == piece_) end_piece();
    }
}

// The signal to noise ratio of a constant envelope by its moments (D. R. Pauluzzi, N. C. Beaulieu, IEEE
// Trans. Comm. 48, 2000), over two pieces.
void Squelch::end_piece()
{
    const double power = power_ / double(piece_), both = power_ + before_power_;
    const double moments = both > 0 ? (squares_ + before_squares_) * 2 * double(piece_) / (both * both) : 2;
    const double least = threshold_ ? std::pow(10, (*threshold_ - (open_ ? hysteresis : 0)) / 10) : 0;
    const bool sends = threshold_ ? power >= least : moments < (open_ ? closes : opens);
    quiet_ = sends ? 0 : quiet_ + seconds_;
    if (sends && !open_) {
        overs_.push_back(
            {std::max({time_ - before_seconds, 0.0, overs_.empty() ? 0 : overs_.back().end}), time_, 0});
        sum_ = 0;
        heard_ = 0;
        open_ = true;
    }
    time_ += seconds_;
    if (sends) {
        sum_ += power;
        ++heard_;
        overs_.back().end = time_;
        overs_.back().level = 10 * std::log10(sum_ / double(heard_) + 1e-20);
    }
    open_ = open_ && quiet_ < pause_;
    before_power_ = power_;
    before_squares_ = squares_;
    power_ = squares_ = 0;
    taken_ = 0;
}

bool Squelch::open_at(double time)
{
    while (asked_ < overs_.size() && time >= overs_[asked_].end && (asked_ + 1 < overs_.size() || !open_))
        ++asked_;
    return asked_ < overs_.size() && time >= overs_[asked_].begin && time < overs_[asked_].end;
}
} // namespace client
