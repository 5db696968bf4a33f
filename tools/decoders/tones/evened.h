// A stream evened out in time and frequency: each cell of its short-time spectra, 0.1 s by 20 Hz, keeps its
// phase and gets the magnitude 1, as robust array processing does with snapshots (S. Visuri, H. Oja,
// V. Koivunen, Subspace-Based Direction-of-Arrival Estimation Using Nonparametric Statistics, IEEE Trans.
// Signal Processing 49, 2001). A steady tone counts in each cell where it is the strongest, and a syllable,
// however loud, no more than that.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace decoders::tones {
class Evened {
public:
    static constexpr double rate = 600; // Hz, of the samples
    static constexpr size_t delay = 45; // samples: as many come out before the first one that went in

    Evened() : waiting_(delay), sum_(window)
    {
        for (size_t n = 0; n < window; ++n)
            shape_.push_back(float(std::sin(M_PI * (double(n) + 0.5) / double(window))));
        for (int k = 0; lowest + k * apart <= highest; ++k) {
            const double hertz = lowest + k * apart;
            Cell& cell = cells_.emplace_back();
            for (size_t n = 0; n < window; ++n) {
                const double turn = 2 * M_PI * hertz / rate * double(n);
                cell.cosine.push_back(shape_[n] * float(std::cos(turn)));
                cell.sine.push_back(shape_[n] * float(std::sin(turn)));
            }
        }
    }

    // The samples that these complete, until the next call; 1 is full scale.
    const std::vector<int32_t>& push(const std::vector<double>& samples)
    {
        for (const double sample : samples) waiting_.push_back(float(sample));
        out_.clear();
        size_t at = 0;
        for (; at + window <= waiting_.size(); at += hop) {
            for (const Cell& cell : cells_) even(cell, &waiting_[at]);
            for (size_t n = 0; n < hop; ++n) out_.push_back(int32_t(std::lrint(sum_[n] * unit)));
            std::shift_left(sum_.begin(), sum_.end(), hop);
            std::fill(sum_.end() - hop, sum_.end(), 0.0f);
        }
        waiting_.erase(waiting_.begin(), waiting_.begin() + ptrdiff_t(at));
        return out_;
    }

private:
    struct Cell {
        std::vector<float> cosine, sine; // under the window
    };

    // Adds a cell to the sum: the root of a Hann window goes before and behind, as in any overlap-add.
    void even(const Cell& cell, const float* samples)
    {
        float in_phase = 0, quadrature = 0;
        for (size_t n = 0; n < window; ++n) {
            in_phase += samples[n] * cell.cosine[n];
            quadrature += samples[n] * cell.sine[n];
        }
        const float scale = 1 / (std::hypot(in_phase, quadrature) + silence);
        for (size_t n = 0; n < window; ++n)
            sum_[n] += scale * (in_phase * cell.cosine[n] + quadrature * cell.sine[n]);
    }

    static constexpr size_t window = 60, hop = window / 4;         // samples
    static constexpr double lowest = 55, highest = 270, apart = 5; // Hz
    static constexpr float silence = 1e-3f; // magnitude of a cell: that of a few steps of 16 bits
    static constexpr float unit = 1 << 22;  // of a cell: all of them together stay below full scale
    std::vector<float> shape_;
    std::vector<Cell> cells_;
    std::vector<float> waiting_, sum_;
    std::vector<int32_t> out_;
};
} // namespace decoders::tones
