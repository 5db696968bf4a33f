// Typed streams in and out of a resampler: push, where the input's length decides, and pull, where the
// request does.
#include "core/blocks.h"
#include "core/fixed.h"
#include "core/frame.h"
#include <algorithm>
#include <zovek/resampler.h>

namespace zv::resampler {
// 8-bit samples have their zero at 128.
constexpr int32_t widen(uint8_t v) { return static_cast<int8_t>(v ^ 0x80) * (1 << 24); }
constexpr int32_t widen(int16_t v) { return left_justified(v); }
constexpr int32_t widen(int32_t v) { return v; }
constexpr void narrow(int32_t v, uint8_t& to) { to = static_cast<uint8_t>((v >> 24) ^ 0x80); }
constexpr void narrow(int32_t v, int16_t& to) { to = top16(v); }
constexpr void narrow(int32_t v, int32_t& to) { to = v; }

template <class Sample>
static void take(ZVResampler32* self, const Sample* in, int32_t count, int32_t step)
{
    gather(self->input_write, in, count, step, [](Sample v) { return widen(v); });
}

template <class Sample>
static void hand_over(Sample* out, const int32_t* from, uint32_t count)
{
    for (uint32_t k = 0; k < count; ++k) narrow(from[k], out[k]);
}

template <class Sample>
static uint32_t push(ZVResampler32* self, Sample* out, const Sample* in, int32_t length, int32_t step)
{
    uint32_t total = 0;
    in_blocks(in, started_steps(length, step), step, self->buffer_size,
              [&](const Sample* piece, int32_t count) {
                  take(self, piece, count, step);
                  const uint32_t made = ZVResampler32_ProcessIn(self, nullptr, static_cast<uint32_t>(count));
                  if (out) hand_over(out, self->output_buffer, made);
                  out = advance(out, made);
                  total += made;
              });
    return total;
}

template <class Sample>
static void pull(ZVResampler32* self, Sample* out, const Sample* in, uint32_t wanted, int32_t step)
{
    while (wanted > 0 && step > 0) {
        const uint32_t ready = std::min(wanted, static_cast<uint32_t>(self->pending_count));
        hand_over(out, self->pending_read, ready);
        out += ready;
        wanted -= ready;
        self->pending_read += ready;
        self->pending_count -= static_cast<int32_t>(ready);
        if (wanted == 0) return;

        const uint32_t need = ZVResampler32_InSamples(self, wanted);
        const auto count = static_cast<int32_t>(std::min(need, static_cast<uint32_t>(self->buffer_size)));
        take(self, in, count, step);
        in += ptrdiff_t(count) * step;
        self->pending_count = static_cast<int32_t>(ZVResampler32_ProcessIn(self, nullptr, uint32_t(count)));
        self->pending_read = self->output_buffer;
    }
}
} // namespace zv::resampler

using namespace zv;

uint32_t ZVResampler32_InSamples(ZVResampler32* self, uint32_t outputs)
{
    const int64_t missing = int64_t(outputs) - self->pending_count, over = self->over;
    return missing <= 0 ? 0 : static_cast<uint32_t>((missing * self->under + over - 1) / over);
}

uint32_t ZVResampler32_ProcessIn_8_8(ZVResampler32* self, uint8_t* out, const uint8_t* in, int32_t length,
                                     int32_t step)
{
    return resampler::push(self, out, in, length, step);
}

uint32_t ZVResampler32_ProcessIn_16_16(ZVResampler32* self, int16_t* out, const int16_t* in, int32_t length,
                                       int32_t step)
{
    return resampler::push(self, out, in, length, step);
}

uint32_t ZVResampler32_ProcessIn_32_32(ZVResampler32* self, int32_t* out, const int32_t* in, int32_t length,
                                       int32_t step)
{
    return resampler::push(self, out, in, length, step);
}

void ZVResampler32_ProcessOut_8_8(ZVResampler32* self, uint8_t* out, const uint8_t* in, uint32_t outputs,
                                  int32_t step)
{
    resampler::pull(self, out, in, outputs, step);
}

void ZVResampler32_ProcessOut_16_16(ZVResampler32* self, int16_t* out, const int16_t* in, uint32_t outputs,
                                    int32_t step)
{
    resampler::pull(self, out, in, outputs, step);
}
