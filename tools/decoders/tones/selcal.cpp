// Selective calls to aircraft: two pulses of a second, 0.2 s apart, each of two tones of sixteen at once. A
// receiver of a sideband that is off tune shifts all four tones alike. The power spectra over each pulse are
// added, and the code is the four tones, two a pulse, that have the greatest likelihood under one shift: for
// lines in noise, the product of their powers (a generalised likelihood ratio test; S. M. Kay, Detection
// Theory, ch. 7).
#include "decoders/tones/spectra.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <utility>

namespace decoders::tones {
namespace {
constexpr char letters[] = "ABCDEFGHJKLMPQRS";
constexpr double tones[] = {312.6, 346.7, 384.6, 426.6, 473.2,  524.8,  582.1,  645.7,
                            716.1, 794.3, 881.0, 977.2, 1083.9, 1202.3, 1333.5, 1479.1}; // Hz
constexpr int count = std::size(tones);

constexpr double most_shift = 60; // Hz
constexpr double most_off = 4;    // Hz, of a tone, the shift taken off
constexpr double side = 4;        // Hz, from a line to where it is no more
constexpr double hop = 0.05;      // s

// Frames, by their middles, from the first pulse's beginning on.
constexpr int pulse_from = 4, pulse_to = 16; // in the first pulse
constexpr int to_second = 24;                // from one pulse to the other
constexpr int before = -8, behind = 52;      // beside both
constexpr int kept = behind - before + 1;
constexpr int patience = 16; // frames in which a better fit may come

constexpr double least_line = 12;      // of a line, over the noise
constexpr double least_contrast = 0.6; // of a line: the part that the other pulse hasn't
constexpr double noise_top = 5;        // noise has no more, over its median
// Of the power over noise in a pulse, the part in its two lines: speech gets to 0.6.
constexpr double least_share = 0.75;
// The geometric over the arithmetic mean of a line in its pulse: fading of 1 Hz gets down to 0.12.
constexpr double least_even = 0.1;
constexpr double most_beside = 0.5; // of a line's power, before the first pulse and behind the second

struct Call {
    std::array<int, 4> code{};
    double fit = 0; // logarithm of the likelihood ratio
    double begin = 0, duration = 0, shift = 0, power = 0;
};

class Selcal : public SpectraDecoder {
public:
    Selcal(double rate, Emit emit)
        : SpectraDecoder(rate, {.rate = 4000, .window = 0.5, .hop = hop}, std::move(emit))
    {
    }

private:
    using Bins = std::vector<float>;
    // A pulse's mean spectrum.
    struct Pulse {
        Bins power;    // of each bin
        Bins own;      // what the other pulse hasn't
        Bins near;     // the greatest of its own within most_off, less the farther it is
        double floor;  // median
        double excess; // of its own, over noise
    };

    void look(double time) override
    {
        const auto bins = spectra_.bins(tones[count - 1] + most_shift + 2 * side);
        if (frames_.empty())
            frames_.assign(size_t(to_second - before), Bins(bins.size())); // silence came before
        frames_.emplace_back(bins.begin(), bins.end());
        step(time);
    }

    void end() override
    {
        const size_t size = frames_.empty() ? 0 : frames_.back().size();
        for (int k = 0; size > 0 && k < kept + patience; ++k) {
            frames_.emplace_back(size);
            step(time_ + hop);
        }
    }

    void step(double time)
    {
        time_ = time;
        if (frames_.size() > size_t(kept)) frames_.pop_front();
        if (frames_.size() < size_t(kept)) return;
        means_.push_back(pulse(to_second));
        if (means_.size() <= size_t(to_second)) return;
        if (means_.size() > size_t(to_second) + 1) means_.pop_front();
        const double begin = time - (behind * hop);
        if (const auto call = judge(begin); call && (!best_ || call->fit > best_->fit)) best_ = call;
        if (best_ && begin - best_->begin > patience * hop) {
            if (best_->begin > last_ + most_near) emit(*best_);
            best_.reset();
        }
    }

    const Bins& frame(int k) const { return frames_[size_t(k - before)]; }
    size_t bin(double frequency) const { return size_t(std::lround(frequency / spectra_.bin_width())); }

    Pulse pulse(int first) const
    {
        constexpr float part = 1.0F / (pulse_to - pulse_from + 1);
        Pulse pulse{.power = Bins(frames_.front().size())};
        for (int k = first + pulse_from; k <= first + pulse_to; ++k)
            for (size_t b = 0; b < pulse.power.size(); ++b) pulse.power[b] += frame(k)[b] * part;
        Bins sorted(pulse.power.begin() + ptrdiff_t(bin(tones[0] - most_shift)), pulse.power.end());
        std::ranges::nth_element(sorted, sorted.begin() + ptrdiff_t(sorted.size() / 2));
        pulse.floor = sorted[sorted.size() / 2] + 1e-9 / spectra_.line_scale();
        return pulse;
    }

    void compare(Pulse& pulse, const Pulse& other) const
    {
        const size_t size = pulse.power.size(), from = bin(tones[0] - most_shift - side);
        pulse.own.assign(size, 0);
        pulse.excess = 0;
        for (size_t b = from; b < size; ++b) {
            pulse.own[b] = std::max(pulse.power[b] - other.power[b], 0.0F);
            if (pulse.own[b] > noise_top * pulse.floor) pulse.excess += double(pulse.own[b]);
        }
    }

    // Whether a pulse can have two lines that hold as much as they must, each of up to so many bins over
    // noise.
    bool concentrated(const Pulse& pulse) const
    {
        const auto strong = std::ranges::count_if(
            pulse.own, [&](float power) { return double(power) > least_line * pulse.floor; });
        return strong >= 2 && top_sum(pulse.own, 2 * (2 * bin(side) + 1)) > least_share * pulse.excess;
    }
    static double top_sum(Bins bins, size_t most)
    {
        std::ranges::nth_element(bins, bins.begin() + ptrdiff_t(most), std::greater());
        double sum = 0;
        for (size_t k = 0; k < most; ++k) sum += double(bins[k]);
        return sum;
    }

    void spread(Pulse& pulse) const
    {
        const size_t size = pulse.power.size(), from = bin(tones[0] - most_shift - side);
        pulse.near.assign(size, 0);
        const auto reach = int(bin(most_off));
        for (int d = -reach; d <= reach; ++d)
            for (size_t b = from + size_t(reach); b + size_t(reach) < size; ++b)
                pulse.near[b] =
                    std::max(pulse.near[b], pulse.own[b + size_t(d)] * (1 - 0.03F * float(d * d)));
    }

    // The call that begins at a time, if there is one.
    std::optional<Call> judge(double begin) const
    {
        std::array<Pulse, 2> pulses{means_.front(), means_.back()};
        compare(pulses[0], pulses[1]);
        compare(pulses[1], pulses[0]);
        for (Pulse& pulse : pulses) {
            if (!concentrated(pulse)) return {};
            spread(pulse);
        }
        Call best;
        for (int hz = -int(most_shift); hz <= int(most_shift); ++hz) {
            const double shift = hz;
            Call call{.shift = shift};
            for (size_t p = 0; p < 2; ++p) {
                int first = 0, second = 0; // the two strongest
                float most = -1, next = -1;
                for (int k = 0; k < count; ++k) {
                    const float power = pulses[p].near[bin(tones[k] + shift)];
                    if (power > most)
                        second = std::exchange(first, k), next = std::exchange(most, power);
                    else if (power > next)
                        second = k, next = power;
                }
                call.code[2 * p] = std::min(first, second);
                call.code[2 * p + 1] = std::max(first, second);
                call.fit += std::log(double(most) / pulses[p].floor + 1e-9) +
                            std::log(double(next) / pulses[p].floor + 1e-9);
            }
            if (best.fit == 0 || call.fit > best.fit) best = call;
        }
        return holds(best, pulses, begin) ? std::optional(best) : std::nullopt;
    }

    // Whether the lines stand in their pulses alone, and little else does.
    bool holds(Call& call, const std::array<Pulse, 2>& pulses, double begin) const
    {
        double least = 1e9, most = -1e9, even = 1;
        std::array<size_t, 4> lines{};
        for (size_t p = 0; p < 2; ++p) {
            double share = 0;
            for (const size_t k : {2 * p, 2 * p + 1}) {
                const Pulse& pulse = pulses[p];
                const size_t at = bin(tones[call.code[k]] + call.shift), reach = bin(most_off);
                const size_t line = size_t(std::max_element(pulse.own.begin() + ptrdiff_t(at - reach),
                                                            pulse.own.begin() + ptrdiff_t(at + reach + 1)) -
                                           pulse.own.begin());
                const Bins& beside = frame(p ? behind : before);
                if (pulse.own[line] < least_line * pulse.floor ||
                    pulse.own[line] < least_contrast * pulse.power[line] ||
                    beside[line] > most_beside * pulse.power[line])
                    return false;
                for (size_t b = line - bin(side); b <= line + bin(side) && b < pulse.own.size(); ++b)
                    share += double(pulse.own[b]) / pulse.excess;
                double logs = 0;
                for (int j = pulse_from; j <= pulse_to; ++j)
                    logs += std::log(double(frame(int(p) * to_second + j)[line]) / double(pulse.power[line]) +
                                     1e-9);
                even = std::min(even, std::exp(logs / (pulse_to - pulse_from + 1)));
                const double off = double(line) * spectra_.bin_width() - tones[call.code[k]];
                least = std::min(least, off);
                most = std::max(most, off);
                call.power += double(pulse.power[line]) * spectra_.line_scale() / 2;
                lines[k] = line;
            }
            if (share < least_share) return false;
        }
        if (even < least_even || (most - least) / 2 > most_off) return false;
        auto sorted = call.code; // none comes twice in a code
        std::ranges::sort(sorted);
        call.shift = (least + most) / 2;
        // A pulse begins and ends where its lines have a quarter of their power.
        const auto strong = [&](int k, size_t p) {
            const auto power = [&](const Bins& bins) { return bins[lines[2 * p]] + bins[lines[2 * p + 1]]; };
            return power(frame(k)) > edge_power * double(power(pulses[p].power));
        };
        int first = 10, last = to_second + 10;
        while (first > before && strong(first - 1, 0)) --first;
        while (last < behind && strong(last + 1, 1)) ++last;
        call.begin = begin + first * hop;
        call.duration = (last - first) * hop;
        return std::fabs(call.shift) <= most_shift && std::ranges::adjacent_find(sorted) == sorted.end();
    }

    void emit(const Call& call)
    {
        last_ = call.begin;
        Message message{.time = std::max(call.begin, 0.0), .level = decibels(call.power)};
        for (const int letter : call.code) {
            message.text += letters[letter];
            if (message.text.size() == 2) message.text += '-';
        }
        message.fields.add("shift", tenth(call.shift) + 0.0).add("duration", call.duration);
        emit_(message);
    }

    static constexpr double most_near = 1.5; // s, from a call to what is the same
    std::deque<Bins> frames_;
    std::deque<Pulse> means_; // a step each, from the first pulse to the second
    double time_ = 0;         // s, of the last frame
    std::optional<Call> best_;
    double last_ = -1e9; // s, of the last call
};
} // namespace

MadeDecoder make_selcal(double rate, Emit emit)
{
    require(rate, tones[count - 1] + most_shift, "a tone of " + words::number(tones[count - 1]) + " Hz");
    return std::make_unique<Selcal>(rate, std::move(emit));
}
} // namespace decoders::tones
