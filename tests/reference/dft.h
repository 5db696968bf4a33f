// Spectra by the plain sums, in extended precision: no fast transform, no table but exact roots of unity.
#pragma once
#include "fixed.h"
#include <complex>

namespace reference {
// Bins of the transform over points complex values, one at a time.
class Dft {
public:
    explicit Dft(size_t points) : roots_(points)
    {
        for (size_t n = 0; n < points; ++n) {
            const real angle = 2 * pi * real(n) / real(points);
            roots_[n] = {std::cos(angle), -std::sin(angle)};
        }
    }
    std::complex<real> operator()(const std::vector<std::complex<real>>& x, size_t bin) const
    {
        std::complex<real> sum = 0;
        for (size_t t = 0, n = 0; t < x.size(); ++t, n = (n + bin) % x.size()) sum += x[t] * roots_[n];
        return sum;
    }

private:
    std::vector<std::complex<real>> roots_;
};

// What re and im of bin k hold for real samples: twice the transform, but for bin 0.
template <class Sample>
std::vector<std::complex<real>> spectrum(const std::vector<Sample>& x, const float* window,
                                         const std::vector<size_t>& bins)
{
    std::vector<std::complex<real>> windowed(x.size()), result;
    for (size_t t = 0; t < x.size(); ++t) windowed[t] = real(x[t]) * window[t];
    const Dft dft(x.size());
    for (const size_t k : bins) result.push_back(dft(windowed, k) * real(k == 0 ? 1 : 2));
    return result;
}

// What slot n holds for I/Q pairs: bin n - H/2 over H points, under every second entry of the window.
template <class Sample>
std::vector<std::complex<real>> spectrum(const std::vector<Sample>& i, const std::vector<Sample>& q,
                                         const float* window, const std::vector<size_t>& slots)
{
    const size_t half = i.size();
    std::vector<std::complex<real>> windowed(half), result;
    for (size_t p = 0; p < half; ++p)
        windowed[p] = std::complex<real>(real(i[p]), real(q[p])) * real(window[2 * p]);
    const Dft dft(half);
    for (const size_t slot : slots) result.push_back(dft(windowed, (slot + half / 2) % half));
    return result;
}
} // namespace reference
