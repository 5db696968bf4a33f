// Blocks of the library as decoders use them: owned, and fed with streams; and what goes with them.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>
#include <zovek.hpp>

namespace decoders {
// A filter of 16-bit samples.
zovek::FIR make_fir(ZVFIRType design, int32_t taps, double rate, double low, double high);

// Correlators with two tones, Hz, over a bit of so many samples.
zovek::FSKCorrDemod make_correlator(double rate, int bit_samples, double tone_1, double tone_2);

// The Blackman window, by the phase from its end, radians over its length.
inline double blackman(double phase) { return 0.42 - 0.5 * std::cos(phase) + 0.08 * std::cos(2 * phase); }

// Pushes silence of so many samples, by pieces.
template <class To, class... More>
void push_silence(double samples, To& to, const More&... more)
{
    constexpr size_t piece = 1 << 16;
    const std::vector<int16_t> silence(std::min(size_t(samples), piece));
    for (size_t left = size_t(samples), count; left > 0; left -= count) {
        count = std::min(left, piece);
        to.push(silence.data(), count, more...);
    }
}

// A stream at another rate. Far down it goes in stages, each with a short filter that keeps free of what
// folds what the last one leaves (R. E. Crochiere, L. R. Rabiner, Multirate Digital Signal Processing, ch.
// 5).
class Resampler {
public:
    // The rate that comes out is within 1e-5 of the wanted one: see rate(). The last filter is as long as so
    // many samples, at least, at the lower of its two rates: as sharp whatever is decimated.
    Resampler(double from, double to, uint32_t taps = 32);

    // The outputs of these samples, until the next call.
    const std::vector<int16_t>& push(const int16_t* samples, size_t count);
    // The same, not narrowed: 32-bit samples at half scale, which leaves room for what the filter overshoots.
    const std::vector<int32_t>& push32(const int16_t* samples, size_t count);
    double rate() const { return rate_; }
    double input_rate() const { return from_; }
    // Time that the filters take, s: an output stands for the input so long before.
    double delay() const { return delay_; }

private:
    struct Stage {
        zovek::Resampler resampler{ZVResampler32_Construct};
        std::vector<int32_t> out;
    };
    // To another rate, behind the stages that there are.
    void add(double to, uint32_t taps);

    std::vector<Stage> stages_;
    const double from_;
    double rate_, delay_ = 0;
    std::vector<int16_t> out_;
    std::vector<int32_t> in32_;
};
} // namespace decoders
