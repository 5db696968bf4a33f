// Notch filter: one second-order section, zeros on the unit circle at the frequency, poles just inside it.
// The sums run in extended precision; the state is kept as float.
#include "core/frame.h"
#include "core/real.h"
#include <zovek/notch_filter.h>

using namespace zv;

ZVNotchFilter2* ZVNotchFilter2_Construct(ZVNotchFilter2* self)
{
    const auto build = [](ZVNotchFilter2* filter) {
        *filter = {.sampling_rate = 11025, .frequency = 3000, .bandwidth = 200};
        return true;
    };
    return construct(self, build, ZVNotchFilter2_Destruct);
}

void ZVNotchFilter2_Destruct(ZVNotchFilter2* self, uint32_t flags)
{
    if (self) dismiss(self, flags);
}

void ZVNotchFilter2_Process16(ZVNotchFilter2* self, int16_t* buffer, int32_t count)
{
    const extended fs = self->sampling_rate;
    const extended radius = 1 - 3 * extended(self->bandwidth) / fs;
    const extended cosine = cosl(2 * pi * self->frequency / fs);
    const extended k = (1 - 2 * radius * cosine + radius * radius) / (2 - 2 * cosine);
    const extended a0 = k, a1 = -2 * k * cosine, a2 = k, b1 = 2 * radius * cosine, b2 = -radius * radius;

    float x1 = self->x1, x2 = self->x2, y1 = self->y1, y2 = self->y2;
    for (int32_t n = 0; n < count; ++n) {
        const float x = buffer[n];
        const extended y = a2 * x2 + a1 * x1 + a0 * x + b2 * y2 + b1 * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = static_cast<float>(y);
        buffer[n] = static_cast<int16_t>(to_nearest32(y)); // the low 16 bits: no saturation
    }
    self->x1 = x1;
    self->x2 = x2;
    self->y1 = y1;
    self->y2 = y2;
}
