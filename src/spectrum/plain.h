// The transform in its plain form: decimation in time, radix 2, in place, one pass of memory a stage (J. W.
// Cooley and J. W. Tukey, 1965). Real is what the object stores, Work what the passes store; in registers
// all is double, in which products of floats are exact, and results are rounded at the stores.
#pragma once
#include "spectrum/fft_kernels.h"

namespace zv::fft::plain {
template <class T>
T* array(void* field)
{
    return static_cast<T*>(field);
}

// Even samples are real parts, odd ones imaginary parts.
template <class Work, class Sample>
void load_real(const ZVFFT* self, const Sample* x, Work* work)
{
    const float* w = self->window;
    for (uint32_t j = 0; j < self->half_size; ++j) {
        const size_t p = 2 * size_t(self->bit_reverse[j]);
        work[2 * j] = static_cast<Work>(double(x[p]) * w[p]);
        work[2 * j + 1] = static_cast<Work>(double(x[p + 1]) * w[p + 1]);
    }
}

// The even entries of the window serve as a window of H points.
template <class Work, class Sample>
void load_pairs(const ZVFFT* self, Pairs<Sample> x, Work* work)
{
    for (uint32_t j = 0; j < self->half_size; ++j) {
        const size_t p = self->bit_reverse[j];
        const double w = self->window[2 * p];
        work[2 * j] = static_cast<Work>(x.i[p] * w);
        work[2 * j + 1] = static_cast<Work>(x.q[p] * w);
    }
}

template <class Work>
void passes(const ZVFFT* self, Work* work)
{
    const size_t half = self->half_size;
    for (size_t m = 1; m < half; m *= 2)
        for (size_t j = 0; j < m; ++j) {
            const float* pair = self->twiddle + 2 * j * (half / m);
            const double sn = pair[0], cs = pair[1];
            for (size_t i = j; i < half; i += 2 * m) {
                Work *a = work + 2 * i, *b = work + 2 * (i + m);
                const double t_re = b[0] * cs - b[1] * sn, t_im = b[1] * cs + b[0] * sn;
                const double a_re = a[0], a_im = a[1];
                b[0] = static_cast<Work>(a_re - t_re);
                b[1] = static_cast<Work>(a_im - t_im);
                a[0] = static_cast<Work>(a_re + t_re);
                a[1] = static_cast<Work>(a_im + t_im);
            }
        }
}

template <class Real>
void module(ZVFFT* self, const Real* a, const Real* b)
{
    Real* module = array<Real>(self->module);
    for (uint32_t k = 0; k < self->half_size; ++k)
        module[k] = static_cast<Real>(0.25 * (double(a[k]) * a[k] + double(b[k]) * b[k]));
}

// From the transform Z of the packed points to that of the real samples: with a = Z[k], b = Z[H-k] and the
// twiddle e of k, a + conj(b) - i e (a - conj(b)), which is twice the spectrum.
template <class Real, class Work>
void unpack(ZVFFT* self, const Work* z)
{
    const size_t half = self->half_size;
    Real *re = array<Real>(self->re), *im = array<Real>(self->im);
    re[0] = static_cast<Real>(double(z[0]) + z[1]);
    im[0] = 0;
    for (size_t k = 1; k < half; ++k) {
        const Work *a = z + 2 * k, *b = z + 2 * (half - k);
        const double sn = self->twiddle[2 * k], cs = self->twiddle[2 * k + 1];
        const double sum_re = double(a[0]) + b[0], sum_im = double(a[1]) + b[1];
        const double dif_re = double(a[0]) - b[0], dif_im = double(a[1]) - b[1];
        re[k] = static_cast<Real>(sum_re + sn * dif_re + cs * sum_im);
        im[k] = static_cast<Real>(dif_im + sn * sum_im - cs * dif_re);
    }
    module(self, re, im);
}

// The halves change places: slot H/2 is frequency 0.
template <class Real, class Work>
void reorder(ZVFFT* self, const Work* z)
{
    const uint32_t half = self->half_size;
    Real *re = array<Real>(self->re), *im = array<Real>(self->im);
    for (uint32_t k = 0; k < half; ++k) {
        const uint32_t slot = k ^ (half / 2);
        re[slot] = static_cast<Real>(z[2 * k]);
        im[slot] = static_cast<Real>(z[2 * k + 1]);
    }
    module(self, re, im);
}

template <class Real, class Work, class Sample>
void real(ZVFFT* self, const Sample* samples, uint32_t count, Work* work)
{
    load_real(self, real_block(self, samples, count), work);
    passes(self, work);
    unpack<Real>(self, work);
}

template <class Real, class Work, class Sample>
void pairs(ZVFFT* self, const Sample* i, const Sample* q, uint32_t count, Work* work)
{
    load_pairs(self, pair_block(self, i, q, count), work);
    passes(self, work);
    reorder<Real>(self, work);
}

// As kernels: the passes run in the object's work array.
template <class Real, class Sample>
void real_kernel(ZVFFT* self, const Sample* samples, uint32_t count)
{
    real<Real>(self, samples, count, array<Real>(self->work));
}

template <class Real, class Sample>
void pair_kernel(ZVFFT* self, const Sample* i, const Sample* q, uint32_t count)
{
    pairs<Real>(self, i, q, count, array<Real>(self->work));
}
} // namespace zv::fft::plain
