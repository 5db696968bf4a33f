// Tone detector: a band-pass section between two sums. The sums and the section run in extended precision,
// the section's state is double from one sample to the next.
#include "core/blocks.h"
#include "core/frame.h"
#include "filter/notch.h"
#include <zovek/tone_detector.h>

namespace zv::tone_detector {
template <class Sample>
static void process(ZVToneDetector* self, const Sample* in, uint32_t length, uint32_t step)
{
    Section<double, double> section = {self->a0, self->a1, self->a2, self->b1, self->b2,
                                       self->x1, self->x2, self->y1, self->y2};
    extended input_level = self->input_level, tone_level = self->tone_level;
    for (uint32_t samples = whole_steps(length, step); samples > 0; --samples, in += step) {
        const double x = *in;
        const extended y = section.step(x);
        input_level += fabsl(x);
        tone_level += fabsl(y);
    }
    section.store(*self);
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
    const Notch notch(self->sampling_rate, self->frequency, self->bandwidth);
    const auto [radius, cosine, k] = notch; // the band-pass is what the notch takes away
    self->a0 = static_cast<double>(1 - k);
    self->a1 = static_cast<double>(2 * (k - radius) * cosine);
    self->a2 = static_cast<double>(radius * radius - k);
    self->b1 = static_cast<double>(notch.b1());
    self->b2 = static_cast<double>(notch.b2());
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
