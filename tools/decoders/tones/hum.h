// Takes mains hum out of what is below 300 Hz. Hum is known by its harmonics: several steady lines at
// multiples of one frequency near 50 or 60 Hz. A single line at such a place is a tone.
#pragma once
#include "decoders/tones/evened.h"
#include "decoders/tones/spectra.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <deque>
#include <vector>

namespace decoders::tones {
class Hum {
public:
    // Leaves samples at Evened::rate, 1 being full scale, without the hum that was heard before them.
    void take_out(std::vector<double>& samples)
    {
        for (double& sample : samples) {
            piece_.push_back(sample);
            for (Notch& notch : notches_) sample = notch.pass(sample);
            if (piece_.size() == piece) look();
        }
    }
    // Whether a line is what is left of it.
    bool has(double frequency) const
    {
        return std::ranges::any_of(
            notches_, [=](const Notch& notch) { return std::fabs(notch.frequency - frequency) < left; });
    }

private:
    static constexpr double rate = Evened::rate, window = 4, hop = 0.5; // Hz; s, of spectra
    static constexpr size_t piece = size_t(hop * rate);
    static constexpr double highest = 262;      // Hz, of a harmonic here
    static constexpr double reach = 2e-3;       // of a frequency that the mains may be off
    static constexpr double together = 0.06;    // Hz, that a line may be off its multiple
    static constexpr double left = 0.7;         // Hz, to either side of a notch
    static constexpr double around = 10;        // Hz, to either side of a line
    static constexpr double least_share = 0.15; // of the power around it, evened out
    static constexpr double most_apart = 20; // dB, from the strongest line: a tone's own harmonics are weaker
    static constexpr double own = 15;        // dB, over all others: such a line is a tone beside the hum
    static constexpr int patience = 20;      // spectra without a line before it counts as gone, 10 s

    // A family of lines, and how many of them make it hum. None but the mains has three.
    struct Mains {
        double frequency; // Hz
        size_t least;
    };
    static constexpr Mains mains[] = {{50, 3}, {60, 3}, {100, 2}, {120, 2}};

    struct Harmonic {
        double frequency, level; // Hz, dB
    };

    // A second-order notch, 1 Hz wide.
    struct Notch {
        void tune(double hertz)
        {
            frequency = hertz;
            turn = 2 * std::cos(2 * M_PI * hertz / rate);
        }
        double pass(double in)
        {
            constexpr double radius = 1 - M_PI / rate;
            const double out = in + first;
            first = second - turn * (in - radius * out);
            second = in - radius * radius * out;
            return out;
        }
        double frequency, turn;       // Hz; twice the cosine of what that is in a sample
        int unseen = 0;               // spectra since
        double first = 0, second = 0; // state, in transposed direct form II
    };

    // At the end of a piece.
    void look()
    {
        recent_.insert(recent_.end(), piece_.begin(), piece_.end());
        if (recent_.size() > size_t(window * rate)) recent_.erase(recent_.begin(), recent_.begin() + piece);
        const std::vector<int32_t>& even = evened_.push(piece_);
        piece_.clear();
        spectra_.push32(even.data(), even.size(), [this](double) {
            for (Notch& notch : notches_) ++notch.unseen;
            for (const Mains& family : mains) {
                const std::vector<Harmonic> found = harmonics(family);
                if (found.size() < family.least) continue;
                set(found);
                break;
            }
            std::erase_if(notches_, [](const Notch& notch) { return notch.unseen > patience; });
        });
    }

    // Those of one frequency that stand out, the strongest and those not far below it.
    std::vector<Harmonic> harmonics(const Mains& family) const
    {
        std::vector<Harmonic> lines;
        const double step = together / 2 * family.frequency / highest;
        const auto steps = int(2 * reach * family.frequency / step);
        for (int k = 0; k <= steps; ++k) {
            const double base = family.frequency * (1 - reach) + k * step;
            std::vector<Harmonic> found;
            for (int harmonic = 1; harmonic * base < highest; ++harmonic) {
                const double at = harmonic * base;
                const Peak line = spectra_.peak(at - together, at + together);
                if (std::fabs(line.frequency - at) > together ||
                    line.power < least_share * spectra_.power(at - around, at + around))
                    continue;
                found.push_back({line.frequency, level(line.frequency)});
            }
            if (found.size() > lines.size()) lines = std::move(found);
        }
        std::ranges::sort(lines, std::greater(), &Harmonic::level);
        const double least = lines.empty() ? 0 : lines[0].level - most_apart;
        std::erase_if(lines, [=](const Harmonic& line) { return line.level < least; });
        return lines;
    }

    // Of a line in the last seconds as they came, dB.
    double level(double frequency) const
    {
        std::complex<double> sum = 0;
        for (size_t k = 0; k < recent_.size(); ++k)
            sum += recent_[k] * std::polar(1.0, -2 * M_PI * frequency / rate * double(k));
        return decibels(std::norm(sum) + 1e-12);
    }

    // Notches for lines, the strongest first.
    void set(std::vector<Harmonic> lines)
    {
        if (lines[0].level > lines[1].level + own) lines.erase(lines.begin());
        for (const Harmonic& line : lines) {
            auto notch = std::ranges::find_if(
                notches_, [&](const Notch& old) { return std::fabs(old.frequency - line.frequency) < left; });
            if (notch == notches_.end()) notch = notches_.emplace(notch);
            notch->tune(line.frequency);
            notch->unseen = 0;
        }
    }

    Evened evened_;
    Spectra spectra_{rate, {.rate = rate, .window = window, .hop = hop}};
    std::vector<double> piece_;
    std::deque<double> recent_;
    std::vector<Notch> notches_;
};
} // namespace decoders::tones
