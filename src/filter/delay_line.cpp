// Sample delay. History, input block and output area share one buffer, so a delayed block is read off in a
// single run.
#include "filter/delay_line.h"
#include "core/blocks.h"
#include "core/frame.h"
#include <algorithm>

namespace zv::delay_line {
template <class Sample>
static void place(ZVDelayLine* self)
{
    auto* start = static_cast<Sample*>(self->storage);
    self->input_position = start + self->delay;
    self->output_area = start + self->delay + self->buffer_size;
}

// The present layout stays good, wherever the block goes.
static bool ensure(ZVDelayLine* self, size_t sample_bytes, int32_t block, int32_t delay)
{
    return grow_laid_out(self->storage, self->storage_bytes,
                         (2 * uint64_t(block) + uint64_t(delay)) * sample_bytes, 0, self->input_position,
                         self->output_area);
}

template <class Sample>
static void rebuild(ZVDelayLine* self)
{
    if (!ensure(self, sizeof(Sample), self->buffer_size, self->delay)) return;
    place<Sample>(self);
    silence(static_cast<Sample*>(self->storage), size_t(self->delay));
}

bool reserve(ZVDelayLine* self, int32_t block, int32_t delay)
{
    // A client's own rebuild doesn't tell the width: there is room for either.
    const bool narrow = self->rebuild == rebuild<int16_t>;
    return ensure(self, narrow ? sizeof(int16_t) : sizeof(int32_t), block, delay);
}

template <class Sample>
static ZVDelayLine* make(ZVDelayLine* self)
{
    const auto build = [](ZVDelayLine* line) {
        *line = {.buffer_size = 1024, .delay = 1, .rebuild = rebuild<Sample>};
        line->rebuild(line);
        return line->storage != nullptr;
    };
    return construct(self, build, ZVDelayLine_Destruct);
}

// The output is the history followed by the start of the block; what follows that becomes the new history.
template <class Sample>
static void process(ZVDelayLine* self, Sample* out, uint32_t count)
{
    auto* line = static_cast<Sample*>(self->storage);
    if (!out) out = static_cast<Sample*>(self->output_area);
    count = up_to_block(count, static_cast<uint32_t>(self->buffer_size));
    std::copy_n(line, count, out);
    std::copy_n(line + count, self->delay, line);
}

template <class Sample>
static void process_stream(ZVDelayLine* self, Sample* out, const Sample* in, int32_t length, int32_t step)
{
    in_blocks(in, started_steps(length, step), step, self->buffer_size,
              [&](const Sample* piece, int32_t count) {
                  gather(static_cast<Sample*>(self->input_position), piece, count, step);
                  process(self, out, static_cast<uint32_t>(count));
                  out = advance(out, count);
              });
}
} // namespace zv::delay_line

using namespace zv;

ZVDelayLine* ZVDelayLine16_Construct(ZVDelayLine* self) { return delay_line::make<int16_t>(self); }
ZVDelayLine* ZVDelayLine32_Construct(ZVDelayLine* self) { return delay_line::make<int32_t>(self); }

void ZVDelayLine_Destruct(ZVDelayLine* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->storage);
    dismiss(self, flags);
}

void ZVDelayLine_BufferSize(ZVDelayLine* self, int32_t samples)
{
    samples = std::max(samples, 1);
    if (samples == self->buffer_size || !delay_line::reserve(self, samples, self->delay)) return;
    self->buffer_size = samples;
    self->rebuild(self);
}

void ZVDelayLine_Delay(ZVDelayLine* self, int32_t samples)
{
    samples = std::max(samples, 0);
    if (samples == self->delay || !delay_line::reserve(self, self->buffer_size, samples)) return;
    self->delay = samples;
    self->rebuild(self);
}

void ZVDelayLine16_Process(ZVDelayLine* self, int16_t* out, uint32_t count)
{
    delay_line::process(self, out, count);
}

void ZVDelayLine32_Process(ZVDelayLine* self, int32_t* out, uint32_t count)
{
    delay_line::process(self, out, count);
}

void ZVDelayLine16_Process_16_16(ZVDelayLine* self, int16_t* out, const int16_t* in, int32_t length,
                                 int32_t step)
{
    delay_line::process_stream(self, out, in, length, step);
}

void ZVDelayLine32_Process_32_32(ZVDelayLine* self, int32_t* out, const int32_t* in, int32_t length,
                                 int32_t step)
{
    delay_line::process_stream(self, out, in, length, step);
}
