// The prototype: a windowed sinc, cut off at 85 % of the lower of the two Nyquist frequencies, under a
// Blackman window, scaled to the sum 1 (A. V. Oppenheim, R. W. Schafer, Discrete-Time Signal Processing, ch.
// 7).
#include "core/frame.h"
#include "core/taps.h"
#include "core/window.h"
#include "resample/resampler.h"
#include <algorithm>

namespace zv::resampler {
void design(ZVResampler32* self)
{
    auto* taps = static_cast<double*>(self->work_block);
    const int32_t count = self->taps_count, centre = (count - 1) / 2;
    const extended gain = extended(0.85f) / std::max(self->over, self->under); // of the rate input * over
    const extended omega = pi * gain;
    taps[centre] = static_cast<double>(gain);
    extended sum = gain;
    for (int32_t n = 1; n <= centre; ++n) {
        const extended u = 1 - 2 * extended(n) / (count - 1);
        const extended v = window::blackman_of_taps(pi * u) * sinl(n * omega) / (pi * n);
        taps[centre - n] = taps[centre + n] = static_cast<double>(v);
        sum += 2 * v;
    }
    const extended scale = 1 / sum;
    for (int32_t n = 0; n < count; ++n) taps[n] = static_cast<double>(taps[n] * scale);
    self->store_routine(self, taps, count);
}

void store(ZVResampler32* self, const double* taps, int32_t count)
{
    silence(self->coefficients, size_t(self->taps_count));
    count = std::min(count, self->taps_count);
    for (int32_t n = 0; n < count; ++n) self->coefficients[n] = quantised<int32_t>(taps[n]);
    build_tables(self);
}
} // namespace zv::resampler
