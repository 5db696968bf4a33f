#include "spectra/transform.h"
#include <new>

namespace client::spectra {
Transform::Transform(int32_t size, int window, bool iq)
{
    const uint32_t wanted = uint32_t(iq ? 2 * size : size);
    ZVFFT2Float_BufferSize(fft_, wanted);
    if (fft_->buffer_size != wanted) throw std::bad_alloc();
    ZVFFT_WindowType(fft_, window);
    if (iq) {
        i_.resize(size_t(size));
        q_.resize(size_t(size));
    }
    double sum = 0, squares = 0;
    for (uint32_t k = 0; k < wanted; k += iq ? 2 : 1) {
        sum += fft_->window[k];
        squares += double(fft_->window[k]) * fft_->window[k];
    }
    const double full = 32768 * sum / 2;
    scale_ = float(1 / (full * full));
    noise_width_ = squares / (sum * sum) * size;
}

const float* Transform::run(const int16_t* block)
{
    if (i_.empty())
        fft_->compute_16(fft_, block, fft_->buffer_size);
    else {
        for (size_t k = 0; k < i_.size(); ++k) {
            i_[k] = block[2 * k];
            q_[k] = block[2 * k + 1];
        }
        ZVFFT2Float_ComputeComplex_IQ_16(fft_, i_.data(), q_.data(), fft_->half_size);
    }
    auto* power = static_cast<float*>(fft_->module);
    for (uint32_t k = 0; k < fft_->half_size; ++k) power[k] *= scale_;
    return power;
}

std::vector<float> window_table(int32_t size, int window)
{
    const zovek::FFT fft(ZVFFT2Float_Construct);
    ZVFFT2Float_BufferSize(fft, uint32_t(size));
    if (fft->buffer_size != uint32_t(size)) throw std::bad_alloc();
    ZVFFT_WindowType(fft, window);
    return {fft->window, fft->window + size};
}
} // namespace client::spectra
