// The plain transform with a complex value, or a pair of real ones, in each MMX register, rounded to single
// precision at each operation. Included by the file of each of the two instruction sets, which defines
// before it
//
//   ZV_SET              the target attribute
//   floats(x)           two samples of 16 or 32 bits as floats
//   Factor              what turned needs of a twiddle, in registers; factor_of(pair) makes it of sin, cos
//   turned(b, e)        b (cos + i sin)
//
// in an unnamed namespace in zv::fft. Unpacking and power run on the floating-point unit afterwards.
#include "spectrum/plain.h"

namespace zv::fft {
namespace {
ZV_SET ZV_INLINE Floats& pair_at(float* p) { return *reinterpret_cast<Floats*>(p); }

template <class Sample>
ZV_SET ZV_NOINLINE void load_real(const ZVFFT* self, const Sample* x, float* work)
{
    for (size_t j = 0; j < self->half_size; ++j) {
        const size_t p = 2 * size_t(self->bit_reverse[j]);
        pair_at(work + 2 * j) = product(floats(x + p), pair_at(self->window + p));
    }
}

template <class Sample>
ZV_SET ZV_NOINLINE void load_band(const ZVFFT* self, const Sample* x, float* work)
{
    for (size_t t = 0; t < self->buffer_size; t += 2)
        pair_at(work + t) = product(floats(x + t), pair_at(self->window + t));
}

template <class Real>
ZV_SET ZV_NOINLINE void passes(const ZVFFT* self, Real* work)
{
    const size_t half = self->half_size;
    for (size_t m = 1; m < half; m *= 2)
        for (size_t j = 0; j < m; ++j) {
            const Factor e = factor_of(pair_at(self->twiddle + 2 * j * (half / m)));
            for (size_t i = j; i < half; i += 2 * m) {
                Floats &first = pair_at(work + 2 * i), &second = pair_at(work + 2 * (i + m));
                const Floats a = first, t = turned(second, e);
                second = difference(a, t);
                first = sum2(a, t);
            }
        }
}

template <class Sample>
ZV_ENTRY void real(ZVFFT* self, const Sample* samples, uint32_t count)
{
    auto* work = static_cast<float*>(self->work);
    {
        const MmxScope mmx;
        load_real(self, real_block(self, samples, count), work);
        passes(self, work);
    }
    plain::unpack<float>(self, work);
}

template <class Sample>
ZV_ENTRY void band(ZVFFT* self, const Sample* samples, uint32_t count, uint32_t first, uint32_t last)
{
    {
        const MmxScope mmx;
        load_band(self, real_block(self, samples, count), static_cast<float*>(self->work));
    }
    band_dft(self, first, last);
}

constexpr Kernel float_row()
{
    return {.real_16 = real<int16_t>,
            .real_32 = real<int32_t>,
            .pair_16 = plain::pair_kernel<float>,
            .pair_32 = plain::pair_kernel<float>,
            .band_16 = band<int16_t>,
            .band_32 = band<int32_t>};
}
} // namespace
} // namespace zv::fft
