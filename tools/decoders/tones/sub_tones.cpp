#include "decoders/tones/sub_tones.h"
#include "decoders/decibels.h"
#include <algorithm>
#include <cmath>
#include <complex>

namespace decoders::tones {
namespace {
// Pauses.
constexpr size_t blocks = 20, block = 30, span = blocks * block; // 1 s; samples a block: 0.05 s
constexpr size_t pausing = 5;    // blocks that are taken for the pause; more reach into the syllables
constexpr double silence = 1e-9; // power of a sample, a step of 16 bits: nothing has no share

// Candidates.
constexpr double beside = 3;     // Hz, from a line to another: a window of 1 s is 2 Hz wide to either side
constexpr double memory = 0.95;  // of the evidence, from a frame to the next
constexpr double most_clear = 8; // dB that a frame adds: more, and few loud frames make a tone
constexpr double steady = 0.5;   // Hz that a tone seems to move: a line that moves more adds nothing
constexpr double settle = 0.2;   // of that, taken into its frequency
constexpr size_t kept = 100;     // frames, 5 s: how far back a run is looked for
} // namespace

void Pauses::forget(int64_t sample)
{
    for (; gone_ < sample - int64_t(span) && !samples_.empty(); ++gone_) samples_.pop_front();
}

double Pauses::share(int64_t sample, double frequency) const
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

void Candidates::see(double time, const Spectra& spectra)
{
    const Peak line = spectra.peak(64, 260), other = spectra.peak_beside(60, 265, line.frequency, beside);
    const auto* nearest = std::ranges::min_element(
        sub_tones, {}, [&](const double& tone) { return std::fabs(tone - line.frequency); });
    const bool near = std::fabs(line.frequency / *nearest - 1) < sub_tone_reach;
    for (Candidate& candidate : candidates_) candidate.evidence *= memory;
    sights_.push_back({.time = time, .power = line.power});
    if (sights_.size() > kept) sights_.pop_front();
    if (!near) return;
    const auto tone = int(nearest - sub_tones);
    sights_.back().tone = tone;
    Candidate& seen = candidates_[size_t(tone)];
    if (lost(tone)) seen.frequency = line.frequency;
    const double moved = line.frequency - seen.frequency;
    seen.frequency += settle * moved;
    if (std::fabs(moved) < steady)
        seen.evidence += std::clamp(decibels_over(line.power, other.power), 0.0, most_clear);
}

int Candidates::best() const
{
    return int(std::ranges::max_element(candidates_, {}, &Candidate::evidence) - candidates_.begin());
}

Candidates::Run Candidates::run(int tone, double most_hidden) const
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
} // namespace decoders::tones
