// Which sub-audible tone there is. A line near a tone of the table is one if it stands clear of all other
// lines, keeps its frequency, and goes on while the voice pauses: a voice that keeps to one pitch doesn't.
#pragma once
#include "decoders/tones/spectra.h"
#include <array>
#include <cstdint>
#include <deque>
#include <optional>

namespace decoders::tones {
constexpr double sub_tones[] = {67.0,  69.3,  71.9,  74.4,  77.0,  79.7,  82.5,  85.4,  88.5,  91.5,  94.8,
                                97.4,  100.0, 103.5, 107.2, 110.9, 114.8, 118.8, 123.0, 127.3, 131.8, 136.5,
                                141.3, 146.2, 151.4, 156.7, 159.8, 162.2, 165.5, 167.9, 171.3, 173.8, 177.3,
                                179.9, 183.5, 186.2, 189.9, 192.8, 196.6, 199.5, 203.5, 206.5, 210.7, 218.1,
                                225.7, 229.1, 233.6, 241.8, 250.3, 254.1}; // Hz, EIA
// Part of a tone's frequency by which it may be off: less than half of what the nearest two are apart,
// 0.0145.
constexpr double sub_tone_reach = 0.0065;

// What there is below 300 Hz while the voice pauses.
class Pauses {
public:
    explicit Pauses(double rate) : rate_(rate) {}

    void push(double sample) { samples_.push_back(sample); } // of full scale 1
    // No more is asked of what came more than a second before a sample.
    void forget(int64_t sample);
    // The tone's share of the power in the quietest parts of the second before a sample.
    double share(int64_t sample, double frequency) const;

private:
    const double rate_; // Hz
    std::deque<double> samples_;
    int64_t gone_ = 0; // samples forgotten
};

// Evidence for each tone, frame after frame. Tones go by their place in the table.
class Candidates {
public:
    // A frame: the line that is the strongest, and the strongest beside it.
    void see(double time, const Spectra& spectra);

    int best() const; // has the most evidence
    bool clear(int tone) const { return candidates_[size_t(tone)].evidence > enough; }
    bool lost(int tone) const { return candidates_[size_t(tone)].evidence < gone; }
    // As it was seen of late, Hz.
    double frequency(int tone) const { return candidates_[size_t(tone)].frequency; }

    // The present run of a tone, s.
    struct Run {
        double begin, end;
    };
    Run run(int tone, double most_hidden) const; // s that it may be hidden and still be one run
    double last_time() const { return sights_.back().time; }

private:
    // dB summed with a memory of 1 s, at most 160. A clear tone counts after half a second and is lost 2.8 s
    // after its end at the latest. With less than enough the voice's own tones count, which move on before
    // they have as much.
    static constexpr double enough = 66, gone = 10;
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
