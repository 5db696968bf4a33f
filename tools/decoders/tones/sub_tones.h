// Which sub-audible tone there is. A line near a tone of the table is one if it stands clear of all other
// lines, keeps its frequency, and goes on while the voice pauses: a voice that keeps to one pitch doesn't.
#pragma once
#include "decoders/tones/spectra.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <deque>
#include <optional>

namespace decoders::tones {
constexpr double sub_tones[] = {67.0,  69.3,  71.9,  74.4,  77.0,  79.7,  82.5,  85.4,  88.5,  91.5,  94.8,
                                97.4,  100.0, 103.5, 107.2, 110.9, 114.8, 118.8, 123.0, 127.3, 131.8, 136.5,
                                141.3, 146.2, 151.4, 156.7, 159.8, 162.2, 165.5, 167.9, 171.3, 173.8, 177.3,
                                179.9, 183.5, 186.2, 189.9, 192.8, 196.6, 199.5, 203.5, 206.5, 210.7, 218.1,
                                225.7, 229.1, 233.6, 241.8, 250.3, 254.1}; // Hz, EIA
// Part of a frequency by which it may be off: less than half of what the nearest two are apart, 0.0145.
constexpr double sub_tone_reach = 0.0065;

// What there is below 300 Hz while the voice pauses.
class Pauses {
public:
    explicit Pauses(double rate) : rate_(rate) {}

    void push(double sample) { samples_.push_back(sample); } // of full scale 1
    // No more is asked of what came more than a second before a sample.
    void forget(int64_t sample)
    {
        for (; gone_ < sample - int64_t(span) && !samples_.empty(); ++gone_) samples_.pop_front();
    }
    // The tone's share of the power in the quietest parts of the second before a sample.
    double share(int64_t sample, double frequency) const
    {
        const int64_t first = sample - int64_t(span) - gone_;
        if (first < 0 || first + int64_t(span) > int64_t(samples_.size())) return 0;
        struct Part {
            std::complex<double> sum = 0;
            double power = 0;
        };
        std::array<Part, blocks> parts;
        const double omega = 2 * M_PI * frequency / rate_;
        for (size_t k = 0; k < span; ++k) {
            Part& part = parts[k / block];
            const double value = samples_[size_t(first) + k];
            part.sum += value * std::polar(1.0, -omega * double(k));
            part.power += value * value + silence;
        }
        std::ranges::sort(parts, {}, &Part::power);
        Part quiet;
        for (size_t k = 0; k < pausing; ++k) {
            quiet.sum += parts[k].sum;
            quiet.power += parts[k].power;
        }
        return 2 * std::norm(quiet.sum) / (quiet.power * double(pausing * block));
    }

private:
    static constexpr size_t blocks = 20, block = 30, span = blocks * block; // 1 s; samples a block: 0.05 s
    static constexpr size_t pausing = 5;    // blocks taken for the pause; more reach into the syllables
    static constexpr double silence = 1e-9; // power of a sample, a step of 16 bits: nothing has no share
    const double rate_;                     // Hz
    std::deque<double> samples_;
    int64_t gone_ = 0; // samples forgotten
};

// Evidence for each tone, frame after frame. Tones go by their place in the table.
class Candidates {
public:
    // A frame: the line that is the strongest, and the strongest beside it.
    void see(double time, const Spectra& spectra)
    {
        const Peak line = spectra.peak(64, 260), other = spectra.peak_beside(60, 265, line.frequency, beside);
        const int tone = nearest(sub_tones, line.frequency);
        const bool near = std::fabs(line.frequency / sub_tones[tone] - 1) < sub_tone_reach;
        for (Candidate& candidate : candidates_) candidate.evidence *= memory;
        sights_.push_back({.time = time, .power = line.power});
        if (sights_.size() > kept) sights_.pop_front();
        if (!near) return;
        sights_.back().tone = tone;
        Candidate& seen = candidates_[size_t(tone)];
        if (lost(tone)) seen.frequency = line.frequency;
        const double moved = line.frequency - seen.frequency;
        seen.frequency += settle * moved;
        if (std::fabs(moved) < steady)
            seen.evidence += std::clamp(decibels_over(line.power, other.power), 0.0, most_clear);
    }

    // The one with the most evidence.
    int best() const
    {
        return int(std::ranges::max_element(candidates_, {}, &Candidate::evidence) - candidates_.begin());
    }
    bool clear(int tone) const { return candidates_[size_t(tone)].evidence > enough; }
    bool lost(int tone) const { return candidates_[size_t(tone)].evidence < gone; }
    // As it was seen of late, Hz.
    double frequency(int tone) const { return candidates_[size_t(tone)].frequency; }

    // The present run of a tone, s.
    struct Run {
        double begin, end;
    };
    // It may be hidden for so many s and still be one run.
    Run run(int tone, double most_hidden) const
    {
        double begin = sights_.back().time, end = 0, peak = 0;
        for (const Sight& sight : sights_)
            if (sight.tone == tone) peak = std::max(peak, sight.power);
        for (auto sight = sights_.rbegin(); sight != sights_.rend(); ++sight) {
            if (sight->tone != tone || sight->power < edge_power * peak) continue;
            if (end != 0 && begin - sight->time > most_hidden) break;
            if (end == 0) end = sight->time;
            begin = sight->time;
        }
        return {begin, end};
    }
    double last_time() const { return sights_.back().time; }

private:
    // dB summed with a memory of 1 s, at most 160. A clear tone counts after half a second and is lost 2.8 s
    // after its end at the latest. With less than enough the voice's own tones count, which soon move on.
    static constexpr double enough = 66, gone = 10;
    static constexpr double memory = 0.95;  // of the evidence, from a frame to the next
    static constexpr double most_clear = 8; // dB that a frame adds: more, and few loud frames make a tone
    static constexpr double beside = 3;     // Hz, between lines: a window of 1 s is 2 Hz wide to either side
    static constexpr double steady = 0.5; // Hz that a tone seems to move: a line that moves more adds nothing
    static constexpr double settle = 0.2; // of that, taken into its frequency
    static constexpr size_t kept = 100;   // frames, 5 s: how far back a run is looked for
    struct Candidate {
        double frequency = 0; // Hz
        double evidence = 0;  // dB
    };
    struct Sight {
        double time;             // s
        std::optional<int> tone; // that the line is near to
        double power;
    };
    std::array<Candidate, std::size(sub_tones)> candidates_{};
    std::deque<Sight> sights_;
};
} // namespace decoders::tones
