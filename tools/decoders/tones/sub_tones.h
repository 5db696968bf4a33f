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
#include <vector>

namespace decoders::tones {
constexpr double sub_tones[] = {67.0,  69.3,  71.9,  74.4,  77.0,  79.7,  82.5,  85.4,  88.5,  91.5,  94.8,
                                97.4,  100.0, 103.5, 107.2, 110.9, 114.8, 118.8, 123.0, 127.3, 131.8, 136.5,
                                141.3, 146.2, 151.4, 156.7, 159.8, 162.2, 165.5, 167.9, 171.3, 173.8, 177.3,
                                179.9, 183.5, 186.2, 189.9, 192.8, 196.6, 199.5, 203.5, 206.5, 210.7, 218.1,
                                225.7, 229.1, 233.6, 241.8, 250.3, 254.1}; // Hz, EIA
// Part of a frequency by which it may be off: less than half of what the nearest two are apart, 0.0145.
constexpr double sub_tone_reach = 0.0065;

// What there is below 300 Hz while the voice pauses, and while it doesn't.
class Pauses {
public:
    explicit Pauses(double rate) : rate_(rate) {}

    void push(double sample) { samples_.push_back(sample); } // of full scale 1
    // No more is asked of what came more than so many seconds before a sample.
    void forget(int64_t sample, double seconds)
    {
        const int64_t gone = sample - int64_t(std::llround(seconds * rate_));
        for (; gone_ < gone && !samples_.empty(); ++gone_) samples_.pop_front();
    }
    // Whether a line stands in the quietest quarter of the seconds before a sample as it does in the rest,
    // and no weaker than a power, that of a sine of full scale being 1. A voice's pitch swells with its
    // syllables, however long it keeps to one.
    bool stands(int64_t sample, double seconds, double frequency, double least) const
    {
        const size_t count = size_t(std::lround(seconds / part_time)),
                     part = size_t(std::lround(part_time * rate_));
        const int64_t first = sample - int64_t(count * part) - gone_;
        if (first < 0 || first + int64_t(count * part) > int64_t(samples_.size())) return false;
        struct Part {
            std::complex<double> sum = 0;
            double power = 0;
        };
        std::vector<Part> parts(count);
        const double omega = 2 * M_PI * frequency / rate_;
        for (size_t k = 0; k < count * part; ++k) {
            Part& now = parts[k / part];
            const double value = samples_[size_t(first) + k];
            now.sum += value * std::polar(1.0, -omega * double(k));
            now.power += value * value + silence;
        }
        std::ranges::sort(parts, {}, &Part::power);
        Part quiet, loud;
        const size_t quarter = count / 4;
        for (size_t k = 0; k < count; ++k) {
            Part& of = k < quarter ? quiet : loud;
            of.sum += parts[k].sum;
            of.power += parts[k].power;
        }
        const auto in_quiet = double(quarter), in_loud = double(count - quarter);
        const double share = 2 * std::norm(quiet.sum) / (quiet.power * in_quiet * double(part));
        const double swell = decibels_over(std::norm(loud.sum / in_loud), std::norm(quiet.sum / in_quiet));
        const double power = std::norm(2.0 * (quiet.sum + loud.sum) / double(count * part));
        return share > least_share && std::fabs(swell) < most_swell && power > least;
    }

private:
    static constexpr double part_time = 0.05;  // s: shorter than the pauses between syllables
    static constexpr double least_share = 0.2; // of the power in the quietest quarter
    static constexpr double most_swell = 3;    // dB, from there to the rest
    static constexpr double silence = 1e-9;    // power of a sample, a step of 16 bits: nothing has no share
    const double rate_;                        // Hz
    std::deque<double> samples_;
    int64_t gone_ = 0; // samples forgotten
};

// The line of a spectrum that is the strongest, and how it stands.
struct Line {
    Line(const Spectra& spectra, double window)
    {
        const Peak line = spectra.peak(64, 260);
        const Peak other = spectra.peak_beside(60, 265, line.frequency, 3 / window);
        frequency = line.frequency;
        power = line.power;
        clear = decibels_over(line.power, other.power);
        const int next = nearest(sub_tones, line.frequency);
        if (std::fabs(line.frequency / sub_tones[next] - 1) < sub_tone_reach) tone = next;
    }
    double frequency; // Hz
    double power;
    double clear;            // dB, over the strongest line beside it
    std::optional<int> tone; // its place in the table, if it is near to one
};

// Evidence for each tone, frame after frame. Tones go by their place in the table.
class Candidates {
public:
    // A frame of the shorter spectra.
    void see(double time, const Line& line)
    {
        for (Candidate& candidate : candidates_) {
            candidate.evidence *= memory;
            candidate.standing *= memory;
        }
        sights_.push_back({.time = time, .power = line.power});
        if (sights_.size() > kept) sights_.pop_front();
        if (!line.tone) return;
        if (line.clear > least_clear) sights_.back().tone = line.tone;
        Candidate& seen = candidates_[size_t(*line.tone)];
        if (lost(*line.tone)) seen.frequency = line.frequency;
        const double moved = line.frequency - seen.frequency;
        seen.frequency += settle * moved;
        if (std::fabs(moved) < steady) seen.evidence += std::clamp(line.clear, 0.0, most_clear);
    }
    // A line of the frame, in spectra of any length, that is clear of all others and stands in the pauses
    // too.
    void stand(int tone) { candidates_[size_t(tone)].standing += 1; }

    // The one that stands best.
    int best() const
    {
        return int(std::ranges::max_element(candidates_, {}, &Candidate::standing) - candidates_.begin());
    }
    bool clear(int tone) const { return candidates_[size_t(tone)].standing > enough; }
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
    static constexpr double enough = 8;    // frames in which it stands: a voice gets to that nowhere
    static constexpr double gone = 10;     // dB of evidence: a tone is lost 2.8 s after its end at the latest
    static constexpr double memory = 0.95; // of evidence, from a frame to the next: 1 s
    static constexpr double least_clear = 1; // dB, of a sight: a voice passes by all tones
    static constexpr double most_clear = 8;  // dB that a frame adds: more, and few loud frames make a tone
    static constexpr double steady = 0.5; // Hz that a tone seems to move: a line that moves more adds nothing
    static constexpr double settle = 0.2; // of that, taken into its frequency
    static constexpr size_t kept = 100;   // frames, 5 s: how far back a run is looked for
    struct Candidate {
        double frequency = 0; // Hz
        double evidence = 0;  // dB, summed
        double standing = 0;  // frames
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
