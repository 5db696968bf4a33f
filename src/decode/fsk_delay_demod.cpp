// FSK discriminator by delay. The stages meet in the members' own buffers: the first filter's results go
// straight to the delay line's input, the signs straight to the second filter's history.
#include "core/blocks.h"
#include "core/frame.h"
#include "filter/delay_line.h"
#include "filter/fir.h"
#include <algorithm>
#include <zovek/fsk_delay_demod.h>

namespace zv::fsk_delay_demod {
// Product of the signs of two samples, 0 being positive: 16383 for equal ones, else -16384.
constexpr int16_t sign_product(int16_t a, int16_t b)
{
    return static_cast<int16_t>(0x3FFF ^ ((a ^ b) >> 15));
}

// Half the difference to the sample before, rounding toward minus infinity: always within 16 bits.
static void gather_differences(ZVFSKDelayDemod* self, const int16_t* in, int32_t count, int32_t step)
{
    auto* to = static_cast<int16_t*>(self->pre_filter->history_write);
    int32_t previous = self->previous_sample;
    for (int32_t k = 0; k < count; ++k) {
        const int32_t x = in[ptrdiff_t(k) * step];
        to[k] = static_cast<int16_t>((x - previous) >> 1);
        previous = x;
    }
}

static void process(ZVFSKDelayDemod* self, int16_t* out, const int16_t* in, int32_t count, int32_t step)
{
    ZVFIR *const pre_filter = self->pre_filter, *const post_filter = self->post_filter;
    ZVDelayLine* const line = self->delay_line;
    if (self->differentiate)
        gather_differences(self, in, count, step);
    else
        gather(static_cast<int16_t*>(pre_filter->history_write), in, count, step);
    self->previous_sample = in[ptrdiff_t(count - 1) * step];
    pre_filter->kernel(pre_filter, line->input_position, count, 1);

    ZVDelayLine16_Process(line, nullptr, static_cast<uint32_t>(count)); // its input stays in place
    const auto* undelayed = static_cast<const int16_t*>(line->input_position);
    const auto* delayed = static_cast<const int16_t*>(line->output_area);
    auto* signs = static_cast<int16_t*>(post_filter->history_write);
    for (int32_t k = 0; k < count; ++k) signs[k] = sign_product(undelayed[k], delayed[k]);
    post_filter->kernel(post_filter, out, count, 1);
}

static bool build(ZVFSKDelayDemod* self)
{
    *self = {};
    self->pre_filter = ZVFIR1616_Construct(&self->pre_filter_object);
    self->delay_line = ZVDelayLine16_Construct(&self->delay_line_object);
    self->post_filter = ZVFIR1616_Construct(&self->post_filter_object);
    if (!self->pre_filter || !self->delay_line || !self->post_filter) return false;
    ZVFIR_FIRType(self->pre_filter, ZVFIRType_LowPass);
    ZVFIR_FIRType(self->post_filter, ZVFIRType_LowPass);
    ZVFSKDelayDemod16_BufferSize(self, 1024);
    return self->buffer_size == 1024;
}

// Memory for blocks of size samples in all three members.
static bool reserve(ZVFSKDelayDemod* self, uint32_t size)
{
    if (size > INT32_MAX) return false;
    const auto block = static_cast<int32_t>(size);
    const auto room = [=](ZVFIR* filter) { return fir::reserve(filter, filter->taps_count, block); };
    return room(self->pre_filter) && delay_line::reserve(self->delay_line, block, self->delay_line->delay) &&
           room(self->post_filter);
}
} // namespace zv::fsk_delay_demod

using namespace zv;

ZVFSKDelayDemod* ZVFSKDelayDemod16_Construct(ZVFSKDelayDemod* self)
{
    return construct(self, fsk_delay_demod::build, ZVFSKDelayDemod_Destruct);
}

void ZVFSKDelayDemod_Destruct(ZVFSKDelayDemod* self, uint32_t flags)
{
    if (!self) return;
    ZVFIR_Destruct(self->pre_filter, 0);
    ZVDelayLine_Destruct(self->delay_line, 0);
    ZVFIR_Destruct(self->post_filter, 0);
    dismiss(self, flags);
}

void ZVFSKDelayDemod16_BufferSize(ZVFSKDelayDemod* self, uint32_t size)
{
    size = std::max(size, 1u);
    if (size == self->buffer_size || !fsk_delay_demod::reserve(self, size)) return;
    self->buffer_size = size;
    ZVFIR_BufferSize(self->pre_filter, static_cast<int32_t>(size));
    ZVDelayLine_BufferSize(self->delay_line, static_cast<int32_t>(size));
    ZVFIR_BufferSize(self->post_filter, static_cast<int32_t>(size));
}

void ZVFSKDelayDemod_SamplingRate(ZVFSKDelayDemod* self, float hz)
{
    ZVFIR_SamplingRate(self->pre_filter, hz);
    ZVFIR_SamplingRate(self->post_filter, hz);
}

void ZVFSKDelayDemod16_Process(ZVFSKDelayDemod* self, int16_t* out, const int16_t* in, int32_t length,
                               int32_t step)
{
    in_blocks(in, whole_steps(length, step), step, static_cast<int32_t>(self->buffer_size),
              [&](const int16_t* piece, int32_t count) {
                  fsk_delay_demod::process(self, out, piece, count, step);
                  out = advance(out, size_t(count));
              });
}
