#include "spectra/lines.h"
#include <algorithm>
#include <cmath>

namespace client::spectra {
void Lines::add(const float* power)
{
    if (blocks_ == 0 && count() >= most_) pair();
    for (size_t k = 0; k < sum_.size(); ++k) sum_[k] += power[k];
    if (++blocks_ == each_) close();
}

void Lines::close()
{
    for (auto bin = sum_.begin(); bin != sum_.end(); bin += ptrdiff_t(group_))
        powers_.push_back(float(*std::max_element(bin, bin + ptrdiff_t(group_)) / double(blocks_)));
    std::fill(sum_.begin(), sum_.end(), 0.0);
    blocks_ = 0;
}

void Lines::pair()
{
    const size_t pairs = count() / 2;
    for (size_t k = 0; k < pairs; ++k)
        for (size_t c = 0; c < columns_; ++c)
            powers_[k * columns_ + c] =
                (powers_[2 * k * columns_ + c] + powers_[(2 * k + 1) * columns_ + c]) / 2;
    powers_.resize(pairs * columns_);
    each_ *= 2;
}

Range fitted(Range found, std::optional<double> floor, std::optional<double> ceiling)
{
    if (floor) found.floor = float(*floor);
    if (ceiling) found.ceiling = float(*ceiling);
    if (!ceiling)
        found.ceiling = std::max(found.ceiling, found.floor + 30);
    else if (!floor)
        found.floor = std::min(found.floor, found.ceiling - 30);
    return found;
}

float decibels(float power) { return 10 * std::log10(std::max(power, 1e-20f)); }

namespace {
// The value that so large a part of them doesn't reach.
float quantile(std::vector<float> values, double part)
{
    const auto place = values.begin() + ptrdiff_t(part * double(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

// First and last column between edges that a filter has emptied; all of them where there are no such edges.
std::pair<size_t, size_t> filled(const std::vector<float>& levels, size_t columns)
{
    constexpr float step = 20;       // dB
    constexpr ptrdiff_t narrow = 10; // less than this part of the band is a station, not a filter
    std::vector<float> middles(columns);
    for (size_t c = 0; c < columns; ++c) {
        std::vector<float> column;
        for (size_t k = c; k < levels.size(); k += columns) column.push_back(levels[k]);
        middles[c] = quantile(std::move(column), 0.5);
    }
    const float least = quantile(middles, 0.05) + step;
    const auto above = [least](float level) { return level > least; };
    const auto first = std::find_if(middles.begin(), middles.end(), above);
    const auto behind = std::find_if(middles.rbegin(), middles.rend(), above).base();
    if ((behind - first) * narrow < ptrdiff_t(columns) || quantile({first, behind}, 0.1) <= least)
        return {0, columns - 1};
    return {size_t(first - middles.begin()), size_t(behind - middles.begin()) - 1};
}
} // namespace

Range range_of(const std::vector<float>& levels, size_t columns, float rounding)
{
    constexpr float ample = 60; // dB: empty parts may take what is beyond
    const float ceiling = std::max(5 * std::ceil(quantile(levels, 0.999) / 5) + 0, -120.0f); // + 0: no -0
    const auto below = [ceiling](const std::vector<float>& noise) {
        return std::clamp(5 * std::floor((quantile(noise, 0.1) - 2) / 5), ceiling - 90, ceiling - 30);
    };
    const float floor = below(levels);
    if (ceiling - floor <= ample) return {floor, ceiling};
    const auto [first, last] = filled(levels, columns);
    std::vector<float> counted;
    for (size_t k = 0; k < levels.size(); ++k)
        if (const size_t c = k % columns; c >= first && c <= last && levels[k] >= rounding)
            counted.push_back(levels[k]);
    return {counted.empty() ? floor : below(counted), ceiling};
}
} // namespace client::spectra
