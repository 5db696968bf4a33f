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
constexpr int32_t model = 512;        // samples of the window on which a kernel is measured
constexpr int fine = 128;             // steps of a bin
constexpr size_t around = 36;         // bins on either side of a top that make its surroundings
constexpr size_t lobe = 3;            // of these its main lobe may have
constexpr size_t fewest = 8;          // bins that make a floor
constexpr double false_alarms = 1e-4; // the chance that the noise of a spectrum makes a tone
constexpr double least_ratio = 1.26;  // 1 dB: filters and aerials bend the floor by as much

// The value that a normal variable of variance 1 exceeds with a probability.
double normal_quantile(double exceeding)
{
    double low = 0, high = 40;
    for (int k = 0; k < 60; ++k) {
        const double middle = (low + high) / 2;
        (std::erfc(middle / std::numbers::sqrt2) / 2 > exceeding ? low : high) = middle;
    }
    return low;
}

// Noise of mean power 1 in a mean of so many spectra is chi-squared with twice as many degrees of freedom,
// divided by them. The value z standard deviations up, after Wilson and Hilferty (1931): within 1 %, for one
// spectrum up to 8 % too high.
double noise_quantile(double averages, double z)
{
    const double variance = 1 / (9 * averages);
    return std::pow(1 - variance + z * std::sqrt(variance), 3);
}

// The noise around a top, from the bins beside it.
class Surroundings {
public:
    explicit Surroundings(const Mean& mean) : mean_(mean) {}

    void look(size_t top)
    {
        const size_t size = mean_.power.size();
        const size_t first = top < around ? 0 : top - around, end = std::min(top + around + 1, size);
        // Noise that comes and goes (overs, clicks) scatters as fewer averages of steady noise would. Each
        // power of noise is exponential, so of n averages mean square / squared mean is 2 n / (n + 1).
        const double unrest = median(first, end, [&](size_t k) {
            const double power = mean_.power[k];
            return power > 0 ? mean_.square[k] / (power * power) : 1;
        });
        averages_ = std::clamp(2 * mean_.averages / unrest - 1, 1.0, mean_.averages);
        // Where the floor has a step or a slope, the side counts on which it is higher.
        const size_t left = top > lobe ? top - lobe : 0, right = std::min(top + lobe + 1, end);
        floor_ = bins_ = 0;
        if (left - std::min(first, left) >= fewest) take(first, left);
        if (end - right >= fewest) take(right, end);
        if (bins_ == 0) take(first, end);
        floor_ /= noise_quantile(averages_, 0);
    }

    // Mean power of the noise in a bin.
    double floor() const { return floor_; }
    // What a bin of noise is above the floor, z standard deviations up. The floor scatters too: a median of
    // bins by pi / 2 of their variance over their number, which a window makes twice as large.
    double height(double z) const { return noise_quantile(averages_ / (1 + 3 / double(bins_)), z); }

private:
    void take(size_t first, size_t end)
    {
        const double side = median(first, end, [&](size_t k) { return mean_.power[k]; });
        if (bins_ == 0 || side > floor_) {
            floor_ = side;
            bins_ = end - first;
        }
    }

    template <class Value>
    double median(size_t first, size_t end, Value value)
    {
        values_.clear();
        for (size_t k = first; k < end; ++k) values_.push_back(value(k));
        const auto middle = values_.begin() + ptrdiff_t(values_.size() / 2);
        std::nth_element(values_.begin(), middle, values_.end());
        return *middle;
    }

    const Mean& mean_;
    std::vector<double> values_;
    double floor_ = 0, averages_ = 1; // that the noise scatters by
    size_t bins_ = 0;                 // that made the floor
};
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

// Detection at a constant rate of false alarms (Van Trees, Detection, Estimation, and Modulation Theory III):
// the threshold is the noise's own quantile, which the rate and the number of bins tell.
std::vector<Peak> find_peaks(const Mean& mean, const Kernel& kernel, size_t most)
{
    const std::vector<double>& power = mean.power;
    std::vector<size_t> tops;
    for (size_t k = 1; k + 1 < power.size(); ++k)
        if (power[k] > power[k - 1] && power[k] >= power[k + 1]) tops.push_back(k);
    std::sort(tops.begin(), tops.end(), [&](size_t a, size_t b) { return power[a] > power[b]; });

    const double z = normal_quantile(false_alarms / double(std::max<size_t>(power.size(), 1)));
    Surroundings noise(mean);
    std::vector<Peak> peaks;
    std::vector<size_t> taken;
    // A tone between two bins is stronger than its top. So lower tops are looked at until none can be among
    // the strongest tones; strongest holds the powers of these, the least of them on top.
    const double most_above_top = 1 / kernel.main_lobe(0.5);
    std::priority_queue<double, std::vector<double>, std::greater<>> strongest;
    for (const size_t top : tops) {
        if (most == 0 || (strongest.size() == most && power[top] * most_above_top < strongest.top())) break;
        noise.look(top);
        double skirts = 0; // of stronger peaks
        for (const size_t other : taken)
            skirts += power[other] * kernel.skirt(other < top ? top - other : other - top);
        if (power[top] < std::max(noise.height(z), least_ratio) * noise.floor() + 4 * skirts) continue;
        double tone[3]; // without the noise
        for (size_t k = 0; k < 3; ++k) tone[k] = std::max(power[top + k - 1] - noise.floor(), 0.0);
        const double off = kernel.place(tone);
        peaks.push_back({double(top) + off, tone[1] / kernel.main_lobe(off), noise.floor(), power[top]});
        taken.push_back(top);
        strongest.push(peaks.back().power);
        if (strongest.size() > most) strongest.pop();
    }
    std::ranges::stable_sort(peaks, std::greater(), &Peak::power);
    if (peaks.size() > most) peaks.resize(most);
    return peaks;
}
} // namespace client::spectra
