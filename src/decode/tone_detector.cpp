// Tone detector: a band-pass section between two sums. The sums and the section run in extended precision, the
// section's state is double from one sample to the next.
#include "core/blocks.h"
#include "core/frame.h"
#include "core/real.h"
#include <zovek/tone_detector.h>

namespace zv::tone_detector {
// The recurrence is as fast as one product, one sum and one rounding follow each other: the product with y1 is
// taken last.
template <class Sample>
static void process(ZVToneDetector* self, const Sample* in, uint32_t length, uint32_t step)
{
    const double a0 = self->a0, a1 = self->a1, a2 = self->a2, b1 = self->b1, b2 = self->b2;
    double x1 = self->x1, x2 = self->x2, y1 = self->y1, y2 = self->y2;
    extended input_level = self->input_level, tone_level = self->tone_level;
    for (uint32_t samples = whole_steps(length, step); samples > 0; --samples, in += step) {
        const double x = *in;
        const extended y =
            extended(a2) * x2 + extended(a1) * x1 + extended(a0) * x + extended(b2) * y2 + extended(b1) * y1;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = as_double(y);
        input_level += fabsl(x);
        tone_level += fabsl(y);
    }
    self->x1 = x1;
    self->x2 = x2;
    self->y1 = y1;
    self->y2 = y2;
    self->input_level = static_cast<double>(input_level);
    self->tone_level = static_cast<double>(tone_level);
}
} // namespace zv::tone_detector

using namespace zv;

ZVToneDetector* ZVToneDetector_Construct(ZVToneDetector* self)
{
    const auto build = [](ZVToneDetector* detector) {
        *detector = {.sampling_rate = 44100, .frequency = 1000, .bandwidth = 10};
        ZVToneDetector_Update(detector);
        return true;
    };
    return construct(self, build, ZVToneDetector_Destruct);
}

void ZVToneDetector_Destruct(ZVToneDetector* self, uint32_t flags)
{
    if (self) dismiss(self, flags);
}

void ZVToneDetector_SamplingRate(ZVToneDetector* self, double hz)
{
    if (change(self->sampling_rate, hz)) ZVToneDetector_Update(self);
}

void ZVToneDetector_Frequency(ZVToneDetector* self, double hz)
{
    if (change(self->frequency, hz)) ZVToneDetector_Update(self);
}

void ZVToneDetector_Bandwidth(ZVToneDetector* self, double hz)
{
    if (change(self->bandwidth, hz)) ZVToneDetector_Update(self);
}

void ZVToneDetector_Update(ZVToneDetector* self)
{
    const extended fs = self->sampling_rate;
    const extended radius = 1 - 3 * extended(self->bandwidth) / fs;
    const extended cosine = cosl(2 * pi * self->frequency / fs);
    const extended k = (1 - 2 * radius * cosine + radius * radius) / (2 - 2 * cosine);
    self->a0 = static_cast<double>(1 - k);
    self->a1 = static_cast<double>(2 * (k - radius) * cosine);
    self->a2 = static_cast<double>(radius * radius - k);
    self->b1 = static_cast<double>(2 * radius * cosine);
    self->b2 = static_cast<double>(-radius * radius);
    self->x2 = self->x1 = self->y1 = self->y2 = 0;
    ZVToneDetector_Init(self);
}

void ZVToneDetector_Init(ZVToneDetector* self) { self->input_level = self->tone_level = 0; }

void ZVToneDetector_Process_16(ZVToneDetector* self, const int16_t* in, uint32_t length, uint32_t step)
{
    tone_detector::process(self, in, length, step);
}

void ZVToneDetector_Process_double(ZVToneDetector* self, const double* in, uint32_t length, uint32_t step)
{
    tone_detector::process(self, in, length, step);
}
