#include "decoders/tones/phase_break.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <utility>

namespace decoders::tones {
namespace {
constexpr double least_loss = 0.14; // at the first sign: with less, noise is one; more hides small turns
constexpr double settled = 2.2; // s from there to the decision: over the span, so that the best fit has been
constexpr double least_share = 0.28; // of the best fit: with less, it is voice or noise that breaks
} // namespace

void PhaseBreak::forget(int64_t sample)
{
    for (; gone_ < sample - int64_t(span * rate_) && !samples_.empty(); ++gone_) samples_.pop_front();
}

std::optional<double> PhaseBreak::look(int64_t sample, double time, double frequency, double range)
{
    const Fit fit = this->fit(sample, frequency, range);
    if (!sign_ && fit.loss > least_loss) sign_ = {.seen = time};
    if (!sign_) return {};
    if (fit.share > sign_->share) {
        sign_->time = time;
        sign_->share = fit.share;
    }
    if (time - sign_->seen <= settled) return {};
    const Sign sign = *std::exchange(sign_, {});
    return sign.share > least_share ? std::optional(sign.time) : std::nullopt;
}

PhaseBreak::Fit PhaseBreak::fit(int64_t sample, double frequency, double range) const
{
    constexpr size_t side = 40;         // sums on each side
    constexpr double least_half = 0.35; // a side with so much less has the tone in a part of it alone
    constexpr double step = 0.05;       // Hz: a twentieth of a turn in 1 s
    const auto part = int64_t(span * rate_ / double(side));
    const int64_t begin = sample - int64_t(side) * part;
    if (begin < gone_ || gone_ + int64_t(samples_.size()) < begin + 2 * int64_t(side) * part) return {};
    const auto first = size_t(begin - gone_);
    // Sums over so short a time that the range doesn't matter in them.
    std::array<std::complex<double>, 2 * side> sums{};
    const double omega = 2 * M_PI * frequency / rate_;
    double alone = 0; // power of a clipped tone alone: a square wave's sine has 2 / pi of its sum
    for (size_t k = 0; k < 2 * side * size_t(part); ++k) {
        sums[k / size_t(part)] += double(samples_[first + k]) * std::polar(1.0, -omega * double(k));
        alone += std::abs(double(samples_[first + k])) * M_2_PI;
    }
    alone *= alone / 2;
    double one = 0, before = 0, behind = 0;
    for (double off = -range * frequency; off <= range * frequency; off += step) {
        std::complex<double> half[2]{}, turn = 1;
        const auto turns = std::polar(1.0, -2 * M_PI * off * double(part) / rate_);
        for (size_t k = 0; k < 2 * side; ++k, turn *= turns) half[k / side] += sums[k] * turn;
        one = std::max(one, std::norm(half[0] + half[1]) / 2);
        before = std::max(before, std::norm(half[0]));
        behind = std::max(behind, std::norm(half[1]));
    }
    const bool both = std::min(before, behind) > least_half * std::max(before, behind);
    return {.share = alone > 0 ? (before + behind) / alone : 0,
            .loss = both ? 1 - one / (before + behind) : 0};
}
} // namespace decoders::tones
