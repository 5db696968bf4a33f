#include "radio/wide.h"
#include <algorithm>
#include <cmath>

namespace client {
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
    : filter_(rate, cutoff, taps), history_(filter_.size())
{
}

void WideAudio::take(std::span<const int32_t> detector, std::optional<Deemphasis>& deemphasis)
{
    std::copy(history_.end() - ptrdiff_t(filter_.size()), history_.end(), history_.begin());
    history_.resize(filter_.size() + detector.size());
    std::ranges::transform(detector, history_.begin() + ptrdiff_t(filter_.size()), [&](int32_t sample) {
        return deemphasis ? deemphasis->push(float(sample)) : float(sample);
    });
}

double WideAudio::at(size_t place) const { return filter_(&history_[place + 1]); }
} // namespace client
