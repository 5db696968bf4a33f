// Notch filter: one second-order section. The sums run in extended precision; the state is kept as float.
#include "core/frame.h"
#include "filter/notch.h"
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
    const Notch notch(self->sampling_rate, self->frequency, self->bandwidth);
    const extended a0 = notch.gain, a1 = -2 * a0 * notch.cosine;
    Section<extended, float> section = {a0,       a1,       a0,       notch.b1(), notch.b2(),
                                        self->x1, self->x2, self->y1, self->y2};
    for (int32_t n = 0; n < count; ++n) {
        const extended y = section.step(buffer[n]);
        buffer[n] = static_cast<int16_t>(to_nearest32(y)); // the low 16 bits: no saturation
    }
    section.store(*self);
}
