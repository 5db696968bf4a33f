// Spectrum objects in single precision.
#include "core/frame.h"
#include "spectrum/plain.h"
#include <algorithm>
#include <bit>

namespace zv::fft {
ZVFFT* make_float(ZVFFT* self, const Kernel& kernel)
{
    const auto build = [&](ZVFFT* fft) {
        *fft = {.compute_16 = kernel.real_16,
                .compute_32 = kernel.real_32,
                .compute_band_16 = kernel.band_16,
                .compute_band_32 = kernel.band_32};
        return resize<float>(fft, 512, kernel);
    };
    return construct(self, build, ZVFFT_Destruct);
}
} // namespace zv::fft

using namespace zv;

ZVFFT* ZVFFT2Float_Construct(ZVFFT* self) { return fft::make_float(self, *select(fft::float_rows).kernel); }

void ZVFFT2Float_BufferSize(ZVFFT* self, uint32_t size)
{
    size = std::bit_ceil(std::clamp(size, 4u, 1u << 30));
    if (size != self->buffer_size) fft::resize<float>(self, size, *fft::private_of(self)->kernel);
}

void ZVFFT2Float_ComputeComplex_IQ_16(ZVFFT* self, const int16_t* i_samples, const int16_t* q_samples,
                                      uint32_t count)
{
    fft::private_of(self)->kernel->pair_16(self, i_samples, q_samples, count);
}

void ZVFFT2Float_ComputeComplex_IQ_32(ZVFFT* self, const int32_t* i_samples, const int32_t* q_samples,
                                      uint32_t count)
{
    fft::private_of(self)->kernel->pair_32(self, i_samples, q_samples, count);
}

void ZVFFT2Float_Compute_Module(ZVFFT* self, const float* a, const float* b)
{
    fft::plain::module(self, a, b);
}
