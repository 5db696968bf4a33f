// FIR design by the windowed ideal response (Oppenheim, Schafer, Discrete-Time Signal Processing, ch. 7),
// plus the impulse and the mean. h(n) is the tap at offset n from the centre, n = -H .. H, H = (N-1)/2; +n
// weights a sample n places newer than the centre one.
#include "core/window.h"
#include "filter/fir.h"
#include <algorithm>
#include <cmath>
#include <numeric>

namespace zv::fir {
namespace {
class Taps {
public:
    Taps(double* h, int32_t count) : first_(h), count_(count) {}

    double& operator()(int32_t n) const { return first_[half() + n]; }
    double* begin() const { return first_; }
    double* end() const { return first_ + count_; }
    int32_t half() const { return (count_ - 1) / 2; }

    // h(n) = h(-n) = side(n)
    template <class Side>
    void symmetric(extended centre, Side side) const
    {
        (*this)(0) = static_cast<double>(centre);
        for (int32_t n = 1; n <= half(); ++n) (*this)(n) = (*this)(-n) = static_cast<double>(side(n));
    }

    // 1 at the centre, 0 at n = H.
    extended blackman(int32_t n) const { return window::blackman_of_taps(pi * (1 - extended(n) / half())); }

private:
    double* first_;
    int32_t count_;
};

// 2f sinc(2fn) under the window, f the cut-off as a part of the sampling rate; a DC gain of 1.
void low_pass(const Taps& h, extended f)
{
    h.symmetric(2 * f, [&](int32_t n) { return h.blackman(n) * sinl(2 * pi * f * n) / (pi * n); });
    const extended scale = 1 / std::accumulate(h.begin(), h.end(), extended(0));
    for (double& tap : h) tap = static_cast<double>(tap * scale);
}

// The low-pass less a unit impulse: the centre brings the sum of all taps to 0. Passband gain -1.
void high_pass(const Taps& h, extended f)
{
    low_pass(h, f);
    h(0) = static_cast<double>(-2 * std::accumulate(h.begin(), &h(0), extended(0)));
}

// Difference of two low-passes: 2(high - low) sinc((high - low)n) cos(pi (high + low) n) under the window.
void band_pass(const Taps& h, extended low, extended high)
{
    h.symmetric(2 * (high - low), [&](int32_t n) {
        return 2 * h.blackman(n) * sinl(pi * n * (high - low)) * cosl(pi * n * (high + low)) / (pi * n);
    });
}

// A unit impulse less the band-pass. Passband gain +1.
void band_stop(const Taps& h, extended low, extended high)
{
    band_pass(h, low, high);
    for (double& tap : h) tap = -tap;
    h(0) += 1;
}

// 2/(pi n) at odd n under a Hamming window, odd about the centre.
void hilbert(const Taps& h)
{
    h(0) = 0;
    for (int32_t n = 1; n <= h.half(); ++n) {
        const extended hamming = window::hamming_of_taps(pi * n / h.half());
        h(n) = n % 2 ? static_cast<double>(2 * hamming / (pi * n)) : 0;
        h(-n) = -h(n);
    }
}
} // namespace

void redesign(ZVFIR* self)
{
    const Taps h(static_cast<double*>(self->storage), self->taps_count);
    const extended low = extended(self->cut_off_low) / self->sampling_rate;
    const extended high = extended(self->cut_off_high) / self->sampling_rate;
    const int32_t type = self->fir_type;
    if (type == ZVFIRType_PassThrough) h.symmetric(1, [](int32_t) { return 0; });
    if (type == ZVFIRType_LowPass) low_pass(h, high);
    if (type == ZVFIRType_HighPass) high_pass(h, low);
    if (type == ZVFIRType_BandPass) band_pass(h, low, high);
    if (type == ZVFIRType_BandStop) band_stop(h, low, high);
    if (type == ZVFIRType_Hilbert) hilbert(h);
    if (type == ZVFIRType_MovingAverage) std::fill(h.begin(), h.end(), 1.0 / self->taps_count);
    self->set_taps_double(self, h.begin(), self->taps_count);
}
} // namespace zv::fir
