#include "radio/wide.h"
#include "radio/channel.h"
#include <algorithm>
#include <cmath>
#include <numeric>

namespace client {
static constexpr size_t lanes = 8; // sums that run side by side, in registers

// By the formulas of half angles: tan(v / 2) = sin v / (1 + cos v), twice.
std::complex<double> Straightener::push(std::complex<double> station)
{
    const double re = station.real() * before_.real() + station.imag() * before_.imag(),
                 im = station.imag() * before_.real() - station.real() * before_.imag();
    before_ = station;
    constexpr double least = 1e-9; // next to half a cycle
    const double half = im / std::max(1 + re, least);
    const double sine = half / (1 + std::sqrt(1 + half * half)), cosine = std::sqrt(1 - sine * sine);
    const double i = shown_.real() * cosine - shown_.imag() * sine,
                 q = shown_.real() * sine + shown_.imag() * cosine;
    const double whole = 1.5 - 0.5 * (i * i + q * q); // one step of Newton's towards 1 / magnitude
    shown_ = {i * whole, q * whole};
    return shown_;
}

WideAudio::WideAudio(double rate, double cutoff, int32_t taps)
{
    const std::vector<double> design = windowed_sinc(rate, cutoff, taps);
    taps_.assign((design.size() + lanes - 1) / lanes * lanes, 0);
    std::copy(design.begin(), design.end(), taps_.end() - ptrdiff_t(design.size()));
    history_.assign(taps_.size(), 0);
}

void WideAudio::take(std::span<const int32_t> detector, std::optional<Deemphasis>& deemphasis)
{
    std::copy(history_.end() - ptrdiff_t(taps_.size()), history_.end(), history_.begin());
    history_.resize(taps_.size() + detector.size());
    std::ranges::transform(detector, history_.begin() + ptrdiff_t(taps_.size()), [&](int32_t sample) {
        return deemphasis ? deemphasis->push(float(sample)) : float(sample);
    });
}

double WideAudio::at(size_t place) const
{
    const float* x = &history_[place + 1];
    float sums[lanes] = {};
    for (size_t t = 0; t < taps_.size(); t += lanes)
        for (size_t lane = 0; lane < lanes; ++lane) sums[lane] += taps_[t + lane] * x[t + lane];
    return std::accumulate(sums, sums + lanes, 0.0);
}
} // namespace client
