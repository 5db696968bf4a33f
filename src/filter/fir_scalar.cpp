// FIR convolution in plain C++, for processors without vector sets; the one exact 32 x 32 form.
#include "filter/fir_kernels.h"

namespace zv::fir {
// Q15 x Q15, modulo 2^32.
static ZV_INLINE uint32_t dot(const int16_t* taps, const int16_t* x, int32_t count)
{
    uint32_t sum = 0;
    for (int32_t t = 0; t < count; ++t) sum += uint32_t(taps[t] * x[t]);
    return sum;
}

// Q31 x Q31, modulo 2^64; bits 31 to 62 of the sum. Samples and taps step elements apart.
static ZV_INLINE int32_t dot_exact(const int32_t* taps, const int32_t* x, int32_t count, int32_t step)
{
    uint64_t sum = 0;
    for (int32_t t = 0; t < count; t += step) sum += uint64_t(int64_t(taps[t]) * x[t]);
    return static_cast<int32_t>(sum >> 31);
}

void fir1616_scalar(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto* taps = static_cast<const int16_t*>(self->taps);
    convolve<int16_t, int16_t>(self, out, count, decimation, [=, n = self->taps_count](const int16_t* x) {
        return q30_to_q15(dot(taps, x, n));
    });
}

void fir1632_scalar(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto* taps = static_cast<const int16_t*>(self->taps);
    convolve<int16_t, int32_t>(self, out, count, decimation, [=, n = self->taps_count](const int16_t* x) {
        return q30_to_q31(dot(taps, x, n));
    });
}

void fir3232_exact(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto* taps = static_cast<const int32_t*>(self->taps);
    convolve<int32_t, int32_t>(self, out, count, decimation, [=, n = self->taps_count](const int32_t* x) {
        return dot_exact(taps, x, n, 1);
    });
}

// The tap behind the last one is zero, so either phase runs over N + 1 places.
void process2_exact(ZVFIR* self, int32_t* out, int32_t count, int32_t phase)
{
    convolve2(self, out, count, phase, [n = self->taps_count](const int32_t* taps, const int32_t* x) {
        return dot_exact(taps, x, n, 2);
    });
}
} // namespace zv::fir
