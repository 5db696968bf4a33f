// A few bins of the spectrum by the direct sum, for bands so narrow that S multiplications a bin are
// cheaper than the whole transform. Sines and cosines of one bin come from a rotating pair in extended
// precision.
#include "core/real.h"
#include "spectrum/fft_kernels.h"
#include <algorithm>

namespace zv::fft {
void band_dft(ZVFFT* self, uint32_t first, uint32_t last)
{
    const uint32_t half = self->half_size, size = self->buffer_size;
    const auto* work = static_cast<const float*>(self->work);
    auto *re = static_cast<float*>(self->re), *im = static_cast<float*>(self->im);
    auto* module = static_cast<float*>(self->module);
    for (float* results : {re, im, module}) std::fill_n(results, half, 0.0f);

    for (uint32_t k = first; k <= std::min(last, half - 1); ++k) {
        const extended angle = pi * k / half, turn_cos = cosl(angle), turn_sin = sinl(angle);
        extended u = 1, v = 0, sum_cos = 0, sum_sin = 0;
        for (uint32_t t = 0; t < size; ++t) {
            sum_cos += work[t] * u;
            sum_sin -= work[t] * v;
            const extended next = u * turn_cos - v * turn_sin;
            v = u * turn_sin + v * turn_cos;
            u = next;
        }
        re[k] = static_cast<float>(sum_sin);
        im[k] = static_cast<float>(sum_cos);
        module[k] = static_cast<float>(sum_sin * sum_sin + sum_cos * sum_cos);
    }
}

template <class Sample>
static void band(ZVFFT* self, const Sample* samples, uint32_t count, uint32_t first, uint32_t last)
{
    const Sample* x = real_block(self, samples, count);
    auto* work = static_cast<float*>(self->work);
    for (uint32_t t = 0; t < self->buffer_size; ++t)
        work[t] = static_cast<float>(double(x[t]) * self->window[t]);
    band_dft(self, first, last);
}

void band_16(ZVFFT* self, const int16_t* samples, uint32_t count, uint32_t first, uint32_t last)
{
    band(self, samples, count, first, last);
}

void band_32(ZVFFT* self, const int32_t* samples, uint32_t count, uint32_t first, uint32_t last)
{
    band(self, samples, count, first, last);
}
} // namespace zv::fft
