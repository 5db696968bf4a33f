// Where the phase of a steady tone breaks: another transmitter, with the same tone, has taken over.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace decoders::tones {
class PhaseBreak {
public:
    static constexpr double span = 2; // s that are compared on each side

    // Samples are clipped hard: all of one magnitude.
    explicit PhaseBreak(double rate) : rate_(rate) {}

    void push(const std::vector<int32_t>& samples)
    {
        samples_.insert(samples_.end(), samples.begin(), samples.end());
    }
    // Of what came before a sample no more is asked than span seconds.
    void forget(int64_t sample)
    {
        for (; gone_ < sample - int64_t(span * rate_) && !samples_.empty(); ++gone_) samples_.pop_front();
    }
    // Looks at a sample and its time, s, one after the other, for a tone whose frequency is known to a part
    // of it. Gives the time of a break when none that is greater can come of it any more.
    std::optional<double> look(int64_t sample, double time, double frequency, double range)
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
    // There is no tone, or another: nothing is known of its phase.
    void drop() { sign_.reset(); }

private:
    static constexpr double least_loss = 0.14; // at the first sign: noise has less; more hides small turns
    // s from there to the decision: over the span, so that the best fit has been.
    static constexpr double settled = 2.2;
    static constexpr double least_share = 0.28; // of the best fit: with less, voice or noise breaks
    struct Fit {
        double share = 0; // of the power of a clipped tone alone in two sines: greatest where the break is
        double loss = 0;  // of theirs, what one misses: 0 for a tone that goes on, 0.2 to 0.8 near a break
    };
    // Two sines, one up to a sample and one from there on, against one.
    Fit fit(int64_t sample, double frequency, double range) const
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
        double off = -range * frequency;
        while (off <= range * frequency) {
            std::complex<double> half[2]{}, turn = 1;
            const auto turns = std::polar(1.0, -2 * M_PI * off * double(part) / rate_);
            for (size_t k = 0; k < 2 * side; ++k, turn *= turns) half[k / side] += sums[k] * turn;
            one = std::max(one, std::norm(half[0] + half[1]) / 2);
            before = std::max(before, std::norm(half[0]));
            behind = std::max(behind, std::norm(half[1]));
            off += step;
        }
        const bool both = std::min(before, behind) > least_half * std::max(before, behind);
        return {.share = alone > 0 ? (before + behind) / alone : 0,
                .loss = both ? 1 - one / (before + behind) : 0};
    }

    struct Sign {
        double seen;                // s, first
        double time = 0, share = 0; // s, of the greatest share since; that share
    };
    const double rate_; // Hz
    std::deque<int32_t> samples_;
    int64_t gone_ = 0; // samples forgotten
    std::optional<Sign> sign_;
};
} // namespace decoders::tones
