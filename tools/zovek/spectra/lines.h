// The rows of a waterfall: spectra of equally many blocks averaged each, in power, so that no block is lost.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace client::spectra {
class Lines {
public:
    // At most most rows (an even number). A column is the highest of group bins: a carrier never vanishes
    // between two. A row holds each blocks at first; when there would be too many, neighbours become one.
    Lines(size_t bins, size_t group, size_t most, int64_t each)
        : columns_(bins / group), group_(group), most_(most), each_(each), sum_(columns_ * group)
    {
    }

    void add(const float* power);
    // Completes a last row of fewer blocks.
    void finish()
    {
        if (blocks_ > 0) close();
    }

    size_t columns() const { return columns_; }
    size_t count() const { return powers_.size() / columns_; }
    const std::vector<float>& powers() const { return powers_; } // row by row
    int64_t each() const { return each_; }                       // blocks a row holds

private:
    void close();
    void pair();

    size_t columns_, group_, most_;
    int64_t each_, blocks_ = 0; // blocks in sum_
    std::vector<double> sum_;   // by bins
    std::vector<float> powers_;
};

// dB of a power; -200 for none.
float decibels(float power);

// What levels a picture shows, dB.
struct Range {
    float floor, ceiling;
};
// With the limits that are asked for; the other one gives way, so that 30 dB are shown.
Range fitted(Range found, std::optional<double> floor, std::optional<double> ceiling);
// From a little below the noise (the lowest tenth of the levels) to above all but the highest thousandth, in
// steps of 5 dB; 30 dB at least and 90 at most. Where that is more than 60 dB, what is empty isn't taken for
// noise: levels below rounding, which is what rounding to 16 bits makes, and the band's edges where they lie
// 20 dB and more below all that is between them.
Range range_of(const std::vector<float>& levels, size_t columns, float rounding);
} // namespace client::spectra
