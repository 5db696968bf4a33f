#include "radio/front.h"
#include "radio/channel.h"
#include <algorithm>
#include <cmath>
#include <complex>

namespace client {
namespace {
constexpr size_t lanes = 8;                        // sums that run side by side, in registers
constexpr double full_scale = 2147483648.0;        // of 32-bit samples
constexpr double rounding = 1 / 1073741824.0 / 12; // mean square, of full scale, of rounding to 16 bits
} // namespace

// Each tap is off by its rounding; these errors have a spectrum like noise, which is seldom 7 dB above its
// mean. The mixer's I and Q are rounded as well: white up to half the rate, or 6 dB worse at frequencies
// where the oscillator takes few values, so that the error goes with the sign.
Front::Front(double rate, double cutoff, int32_t taps, int32_t decimation)
    : low_pass_(windowed_sinc(rate, cutoff, taps)),
      decimation_(size_t(decimation)),
      leak_(5 * taps * rounding),
      rounded_(4 * 2 * rounding * std::min(1.0, 2 * cutoff / rate)),
      real_((low_pass_.size() + lanes - 1) / lanes * lanes),
      imaginary_(real_.size()),
      history_(real_.size())
{
}

// A translating filter (Crochiere, Rabiner, Multirate Digital Signal Processing, ch. 2): the low-pass is
// turned up to the frequency once, and the few results down.
void Front::turn_taps()
{
    const auto taps = int64_t(low_pass_.size());
    const size_t zeros = real_.size() - low_pass_.size();
    for (int64_t t = 0; t < taps; ++t) {
        const double angle = -2 * M_PI * double((t - taps / 2) * step_ % cycle_) / cycle_;
        real_[zeros + size_t(t)] = float(low_pass_[size_t(t)] * std::cos(angle));
        imaginary_[zeros + size_t(t)] = float(low_pass_[size_t(t)] * std::sin(angle));
    }
}

void Front::take(std::span<const int32_t> band, int32_t place, int32_t step, int32_t cycle)
{
    if (step != step_ || cycle != cycle_) {
        step_ = step;
        cycle_ = cycle;
        turn_taps();
    }
    place_ = place;
    std::copy(history_.end() - ptrdiff_t(real_.size()), history_.end(), history_.begin());
    count_ = band.size();
    history_.resize(real_.size() + count_);
    double sum = 0;
    for (size_t k = 0; k < count_; ++k) {
        const double sample = band[k] / full_scale;
        history_[real_.size() + k] = float(sample);
        sum += sample * sample;
    }
    before_ = power_;
    power_ = count_ > 0 ? sum / double(count_) : 0;
}

// The newest sample of a result is the first of its decimation.
void Front::run(int32_t* i, int32_t* q) const
{
    constexpr double limit = full_scale - 1;
    const auto late = int64_t(low_pass_.size() / 2);
    for (size_t at = 0; at < count_; at += decimation_) {
        const float* x = &history_[at + 1];
        float re[lanes] = {}, im[lanes] = {};
        for (size_t t = 0; t < real_.size(); t += lanes)
            for (size_t lane = 0; lane < lanes; ++lane) {
                re[lane] += real_[t + lane] * x[t + lane];
                im[lane] += imaginary_[t + lane] * x[t + lane];
            }
        std::complex<double> sum = 0;
        for (size_t lane = 0; lane < lanes; ++lane) sum += std::complex<double>(re[lane], im[lane]);
        const int64_t turn = (place_ + (int64_t(at) - late) * step_) % cycle_;
        sum *= std::polar(full_scale, -2 * M_PI * double(turn) / cycle_);
        *i++ = int32_t(std::clamp(sum.real(), -limit, limit));
        *q++ = int32_t(std::clamp(sum.imag(), -limit, limit));
    }
}
} // namespace client
