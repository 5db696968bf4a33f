#include "spectra/peaks.h"
#include "spectra/transform.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <queue>

namespace client::spectra {
namespace {
constexpr int32_t model = 512; // samples of the window on which a kernel is measured
constexpr int fine = 128;      // steps of a bin
constexpr size_t around = 48;  // bins on either side of a peak that make its surroundings
} // namespace

Kernel::Kernel(int window) : lobe_(3 * fine / 2 + 2), skirt_(model / 2 - 8)
{
    const auto factors = window_table(model, window);
    const auto spectrum = [&](double bins) { // |W|^2, bins off the middle
        std::complex<double> sum = 0;
        for (int32_t t = 0; t < model; ++t)
            sum += double(factors[size_t(t)]) * std::polar(1.0, -2 * std::numbers::pi * bins * t / model);
        return std::norm(sum);
    };
    const double whole = spectrum(0);
    for (size_t k = 0; k < lobe_.size(); ++k) lobe_[k] = spectrum(double(k) / fine) / whole;
    // Half a bin off is where the skirts are highest, but for the main lobe.
    for (size_t k = 0; k < skirt_.size(); ++k)
        skirt_[k] = std::max(spectrum(double(k)), spectrum(std::max(double(k) - 0.5, 0.0))) / whole;
    for (size_t k = skirt_.size() - 1; k-- > 0;) skirt_[k] = std::max(skirt_[k], skirt_[k + 1]);
}

double Kernel::main_lobe(double off) const
{
    const double place = std::abs(off) * fine;
    const auto k = size_t(place);
    return lobe_[k] + (place - double(k)) * (lobe_[k + 1] - lobe_[k]);
}

double Kernel::place(const double* neighbours) const
{
    const auto fit = [&](double off) { // part of the powers' energy that the tone explains
        double product = 0, energy = 0;
        for (int k = -1; k <= 1; ++k) {
            const double lobe = main_lobe(k - off);
            product += neighbours[k + 1] * lobe;
            energy += lobe * lobe;
        }
        return product * product / energy;
    };
    double best = 0;
    for (const double step : {0.05, 0.005, 0.0005})
        for (int k = -10, middle = int(std::lround(best / step)); k <= 10; ++k) {
            const double off = (middle + k) * step;
            if (std::abs(off) <= 0.5 && fit(off) > fit(best)) best = off;
        }
    return best;
}

std::vector<Peak> find_peaks(const std::vector<double>& power, const Kernel& kernel, double margin,
                             size_t most)
{
    std::vector<size_t> tops;
    for (size_t k = 1; k + 1 < power.size(); ++k)
        if (power[k] > power[k - 1] && power[k] >= power[k + 1]) tops.push_back(k);
    std::sort(tops.begin(), tops.end(), [&](size_t a, size_t b) { return power[a] > power[b]; });

    std::vector<Peak> peaks;
    std::vector<size_t> taken;
    std::vector<double> bins;
    // A tone between two bins is stronger than its top. So lower tops are looked at until none can be among
    // the strongest tones; strongest holds the powers of these, the least of them on top.
    const double most_above_top = 1 / kernel.main_lobe(0.5);
    std::priority_queue<double, std::vector<double>, std::greater<>> strongest;
    for (const size_t top : tops) {
        if (most == 0 || (strongest.size() == most && power[top] * most_above_top < strongest.top())) break;
        const size_t first = top < around ? 0 : top - around, last = std::min(top + around + 1, power.size());
        bins.assign(power.begin() + ptrdiff_t(first), power.begin() + ptrdiff_t(last));
        const auto middle = bins.begin() + ptrdiff_t(bins.size() / 2);
        std::nth_element(bins.begin(), middle, bins.end());
        double skirts = 0; // of stronger peaks
        for (const size_t other : taken)
            skirts += power[other] * kernel.skirt(other < top ? top - other : other - top);
        if (power[top] < margin * *middle || power[top] < 4 * skirts) continue;
        const double off = kernel.place(&power[top - 1]);
        peaks.push_back({double(top) + off, power[top] / kernel.main_lobe(off), *middle});
        taken.push_back(top);
        strongest.push(peaks.back().power);
        if (strongest.size() > most) strongest.pop();
    }
    std::ranges::stable_sort(peaks, std::greater(), &Peak::power);
    if (peaks.size() > most) peaks.resize(most);
    return peaks;
}
} // namespace client::spectra
