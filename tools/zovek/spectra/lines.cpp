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

float decibels(float power) { return 10 * std::log10(std::max(power, 1e-20f)); }

Range range_of(std::vector<float> levels)
{
    const auto at = [&](double part) {
        const auto place = levels.begin() + ptrdiff_t(part * double(levels.size() - 1));
        std::nth_element(levels.begin(), place, levels.end());
        return *place;
    };
    const float ceiling = std::max(5 * std::ceil(at(0.999) / 5) + 0, -120.0f); // + 0: no -0
    const float floor = 5 * std::floor((at(0.1) - 2) / 5);
    return {std::clamp(floor, ceiling - 90, ceiling - 30), ceiling};
}
} // namespace client::spectra
