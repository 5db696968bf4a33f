// A block of samples to its power spectrum, calibrated: a sine of full scale reads 1 (0 dBFS) in every
// window.
//
// The library's module is (A W / 2)^2 for a sine of amplitude A whose frequency is that of a bin, W being the
// sum of the window; in I/Q for a complex tone, W being the sum of the factors that it uses, every second
// one. So dividing by (32768 W / 2)^2, with W summed up from the very table, is right for every window,
// scaled or not. The triangular one, whose mean is (H - 1) / S and not 1, needs no row of its own.
//
// Between two bins a tone reads less (scalloping): at worst 3.92 dB rectangular, 1.82 triangular, 1.42 Hann,
// 1.75 Hamming, 1.10 Blackman. Noise reads by the bin: its power density times the noise width.
#pragma once
#include <cstdint>
#include <vector>
#include <zovek.hpp>

namespace client::spectra {
constexpr const char* window_names[] = // by ZVWindowType
    {"rectangular", "triangular", "hann", "hamming", "blackman"};

class Transform {
public:
    // size: samples, or I/Q pairs, a block takes; a power of two, at least 4. window: place in window_names.
    Transform(int32_t size, int window, bool iq);

    // Power of each bin of a block of size samples or interleaved pairs. Real: bin k stands for k fs / size,
    // k below size / 2. I/Q: for (k - size / 2) fs / size, k below size. Valid up to the next call.
    const float* run(const int16_t* block);

    size_t bins() const { return fft_->half_size; }
    // Equivalent noise bandwidth, in bins: sum of squares over the square of the sum, times size.
    double noise_width() const { return noise_width_; }

private:
    zovek::FFT fft_{ZVFFT2Float_Construct};
    std::vector<int16_t> i_, q_; // I/Q alone
    float scale_ = 0;
    double noise_width_ = 0;
};

// The library's own table of a window: size factors of that period.
std::vector<float> window_table(int32_t size, int window);
} // namespace client::spectra
