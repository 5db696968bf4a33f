// Spectra of either kind through one object, and their distance from what they should be.
#pragma once
#include "support/signals.h"
#include <complex>
#include <vector>
#include <zovek/fft2_float.h>

namespace test {
using Bins = std::vector<std::complex<long double>>;

// Owns an object; Real is double for a ZVFFT, float for a ZVFFT2Float.
template <class Real>
class Fft {
public:
    static constexpr bool twice = sizeof(Real) == 8;
    explicit Fft(uint32_t size = 512, int32_t window = ZVWindowType_Rectangular)
        : Fft((twice ? ZVFFT_Construct : ZVFFT2Float_Construct)(nullptr), size, window)
    {
    }
    Fft(ZVFFT* made, uint32_t size, int32_t window) : self(made)
    {
        resize(size);
        ZVFFT_WindowType(self, window);
    }
    ~Fft() { ZVFFT_Destruct(self, 1); }
    Fft(const Fft&) = delete;
    Fft& operator=(const Fft&) = delete;

    ZVFFT* operator->() const { return self; }
    void resize(uint32_t size) { (twice ? ZVFFT_BufferSize : ZVFFT2Float_BufferSize)(self, size); }
    void compute(const int16_t* x, uint32_t count)
    {
        (twice ? ZVFFT_Compute_16 : self->compute_16)(self, x, count);
    }
    void compute(const int32_t* x, uint32_t count)
    {
        (twice ? ZVFFT_Compute_32 : self->compute_32)(self, x, count);
    }
    void compute(const int16_t* i, const int16_t* q, uint32_t count)
    {
        (twice ? ZVFFT_ComputeComplex_IQ_16 : ZVFFT2Float_ComputeComplex_IQ_16)(self, i, q, count);
    }
    void compute(const int32_t* i, const int32_t* q, uint32_t count)
    {
        (twice ? ZVFFT_ComputeComplex_IQ_32 : ZVFFT2Float_ComputeComplex_IQ_32)(self, i, q, count);
    }
    void band(const int16_t* x, uint32_t count, uint32_t first, uint32_t last)
    {
        self->compute_band_16(self, x, count, first, last);
    }
    void band(const int32_t* x, uint32_t count, uint32_t first, uint32_t last)
    {
        self->compute_band_32(self, x, count, first, last);
    }

    Real re(size_t k) const { return static_cast<Real*>(self->re)[k]; }
    Real im(size_t k) const { return static_cast<Real*>(self->im)[k]; }
    Real module(size_t k) const { return static_cast<Real*>(self->module)[k]; }
    Bins bins() const
    {
        Bins all(self->half_size);
        for (size_t k = 0; k < all.size(); ++k) all[k] = {re(k), im(k)};
        return all;
    }

    ZVFFT* const self;
};

// The error's power over the spectrum's.
inline double error_db(const Bins& got, const Bins& wanted)
{
    long double error = 0, power = 0;
    for (size_t k = 0; k < wanted.size(); ++k) {
        error += std::norm(got[k] - wanted[k]);
        power += std::norm(wanted[k]);
    }
    return static_cast<double>(10 * std::log10(error / power + 1e-50L));
}

// Whether module is a quarter of the power of re and im as they stand, to the last place but one.
template <class Real>
testing::AssertionResult module_fits(const Fft<Real>& fft)
{
    for (size_t k = 0; k < fft->half_size; ++k) {
        const long double wanted = std::norm(std::complex<long double>(fft.re(k), fft.im(k))) / 4;
        if (std::abs(fft.module(k) - wanted) > 2 * std::numeric_limits<Real>::epsilon() * wanted)
            return testing::AssertionFailure() << "bin " << k << ": " << fft.module(k) << ", not " << wanted;
    }
    return testing::AssertionSuccess();
}
} // namespace test
