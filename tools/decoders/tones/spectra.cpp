#include "decoders/tones/spectra.h"
#include <algorithm>
#include <bit>
#include <cmath>

namespace decoders::tones {
Spectra::Spectra(double rate, const Plan& plan)
    : to_rate_(rate, plan.rate),
      fft_(ZVFFT2Float_Construct),
      window_(size_t(std::lround(plan.window * plan.rate))),
      hop_(size_t(std::lround(plan.hop * plan.rate)))
{
    const uint32_t size = 2 * std::bit_ceil(uint32_t(window_));
    ZVFFT2Float_BufferSize(fft_, size);
    if (fft_->buffer_size != size) throw std::bad_alloc();
    double sum = 0, squares = 0;
    for (size_t k = 0; k < size; ++k) {
        const double value =
            k < window_ ? 0.5 - 0.5 * std::cos(2 * M_PI * (double(k) + 0.5) / double(window_)) : 0;
        fft_->window[k] = float(value);
        sum += value;
        squares += value * value;
    }
    // The module of a sine of amplitude a: (a sum / 2)^2 at its peak, a^2 size squares / 4 over all bins.
    constexpr double full = 1 << 30; // scale of push32
    line_scale_ = 4 / (full * sum * full * sum);
    sum_scale_ = 4 / (full * full * size * squares);
    waiting_.assign(window_ / 2, 0); // the first window's middle is where the audio begins
}

void Spectra::push(const int16_t* samples, size_t count, const std::function<void(double time)>& frame)
{
    const std::vector<int32_t>& audio = to_rate_.push32(samples, count);
    push32(audio.data(), audio.size(), [&](double time) { frame(time - to_rate_.delay()); });
}

void Spectra::push32(const int32_t* samples, size_t count, const std::function<void(double time)>& frame)
{
    waiting_.insert(waiting_.end(), samples, samples + count);
    size_t at = 0;
    for (; at + window_ <= waiting_.size(); at += hop_) {
        fft_->compute_32(fft_, &waiting_[at], uint32_t(window_));
        left_.clear();
        frame(double(frames_++) * hop());
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + ptrdiff_t(at));
}

void Spectra::finish(const std::function<void(double time)>& frame)
{
    const double silent = (double(window_) / rate() + to_rate_.delay()) * to_rate_.input_rate();
    push_silence(silent + 1, *this, frame);
}

void Spectra::leave_out(std::span<const float> floor)
{
    constexpr float little = 4; // 6 dB
    const auto all = bins(rate() / 2);
    left_.assign(all.begin(), all.end());
    for (size_t k = 0; k < floor.size(); ++k)
        if (left_[k] < little * floor[k]) left_[k] = 0;
}

int Spectra::bin(double frequency) const
{
    const auto bin = int(std::lround(frequency / rate() * fft_->buffer_size));
    return std::clamp(bin, 1, int(fft_->half_size) - 2);
}

// A parabola through the logarithms of three bins.
Peak Spectra::line(int bin) const
{
    const auto level = [&](int k) { return std::log(double(module()[k]) + 1e-9); };
    const double before = level(bin - 1), top = level(bin), behind = level(bin + 1);
    const double curve = before - 2 * top + behind;
    const double offset = curve < 0 ? std::clamp(0.5 * (before - behind) / curve, -0.5, 0.5) : 0;
    return {(bin + offset) * rate() / fft_->buffer_size,
            std::exp(top - 0.25 * (before - behind) * offset) * line_scale_};
}

Peak Spectra::peak(double low, double high) const
{
    const float* heard = this->heard();
    return line(int(std::max_element(heard + bin(low), heard + bin(high) + 1) - heard));
}

Peak Spectra::peak_beside(double low, double high, double other, double distance) const
{
    const Peak below = other - distance > low ? peak(low, other - distance) : Peak{};
    const Peak above = other + distance < high ? peak(other + distance, high) : Peak{};
    return below.power > above.power ? below : above;
}

double Spectra::power(double low, double high) const
{
    const float* heard = this->heard();
    double sum = 0;
    for (int k = bin(low); k <= bin(high); ++k) sum += double(heard[k]);
    return sum * sum_scale_;
}
} // namespace decoders::tones
