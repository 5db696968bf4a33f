// Pitch shifter: a delay line and a Hilbert transformer side by side, and an oscillator that turns their
// pair.
#include "core/blocks.h"
#include "core/frame.h"
#include "filter/delay_line.h"
#include "filter/fir.h"
#include "receiver/oscillator.h"
#include <algorithm>
#include <zovek/pitch_shift.h>

namespace zv::pitch_shift {
// An entry of the table: the oscillator's place, the sine negated, full scale 32767.
struct Turn {
    int16_t c, s;
};

// The setters; each says whether it had its memory, and changes nothing where not.
static bool set_buffer_size(ZVPitchShift* self, uint32_t samples)
{
    samples = std::max(samples, 1u);
    if (samples == self->buffer_size) return true;
    const int32_t block = std::max(static_cast<int32_t>(samples), 1); // as the filter will have it
    if (!fir::reserve(&self->filter, self->filter.taps_count, block) ||
        !delay_line::reserve(&self->delay_line, block, self->delay_line.delay) ||
        !grow(self->buffer, uint64_t(block) * sizeof(int16_t)))
        return false;
    ZVFIR_BufferSize(&self->filter, block);
    ZVDelayLine_BufferSize(&self->delay_line, block);
    self->buffer_size = static_cast<uint32_t>(self->filter.buffer_size);
    return true;
}

static bool set_sampling_rate(ZVPitchShift* self, int32_t hz)
{
    const float rate = std::max(static_cast<float>(hz), 4.0f); // as the filter will have it
    if (!grow(self->table, static_cast<uint64_t>(rate) * sizeof(Turn))) return false;
    ZVFIR_SamplingRate(&self->filter, rate);
    self->table_length = to_nearest32(self->filter.sampling_rate);
    self->table_index = 0;
    oscillator::fill(reinterpret_cast<Turn*>(self->table), self->table_length, 32767);
    return true;
}

static bool set_taps(ZVPitchShift* self, int32_t taps)
{
    taps = std::max(taps, 3);
    if (!fir::reserve(&self->filter, taps, self->filter.buffer_size) ||
        !delay_line::reserve(&self->delay_line, self->delay_line.buffer_size, taps >> 1))
        return false;
    ZVFIR_TapsNum(&self->filter, taps);
    self->taps_count = self->filter.taps_count;
    ZVDelayLine_Delay(&self->delay_line, self->taps_count >> 1); // the filter's delay
    return true;
}

static void run_block(ZVPitchShift* self, int16_t* out, int32_t count)
{
    MemoryCopy(self->delay_line.input_position, self->buffer, uint32_t(count) * uint32_t(sizeof(int16_t)));
    ZVDelayLine16_Process(&self->delay_line, nullptr, static_cast<uint32_t>(count));
    ZVFIR1616_Process_16_16(&self->filter, nullptr, self->buffer, count, 1, 1);
    const auto* in_phase = static_cast<const int16_t*>(self->delay_line.output_area);
    const auto* quadrature = static_cast<const int16_t*>(self->filter.out_buffer);
    const auto* table = reinterpret_cast<const Turn*>(self->table);
    oscillator::Phase phase(self->table_index, self->shift, self->table_length);
    for (int32_t k = 0; k < count; ++k, phase.advance()) {
        const auto [c, s] = table[phase.place()];
        const int32_t q30 = wrap_add(quadrature[k] * c, in_phase[k] * s);
        out[k] = top16(wrap_add(q30, q30)); // Q31, its upper half
    }
    self->table_index = phase.place();
}
} // namespace zv::pitch_shift

using namespace zv;

ZVPitchShift* ZVPitchShift1616_Construct(ZVPitchShift* self)
{
    const auto build = [](ZVPitchShift* shifter) {
        *shifter = {};
        if (!ZVDelayLine16_Construct(&shifter->delay_line) || !ZVFIR1616_Construct(&shifter->filter))
            return false;
        ZVFIR_FIRType(&shifter->filter, ZVFIRType_Hilbert);
        return pitch_shift::set_buffer_size(shifter, 1024) &&
               pitch_shift::set_sampling_rate(shifter, 11025) && pitch_shift::set_taps(shifter, 63);
    };
    return construct(self, build, ZVPitchShift_Destruct);
}

void ZVPitchShift_Destruct(ZVPitchShift* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->table);
    MemoryFree(self->buffer);
    ZVDelayLine_Destruct(&self->delay_line, 0);
    ZVFIR_Destruct(&self->filter, 0);
    dismiss(self, flags);
}

void ZVPitchShift1616_BufferSize(ZVPitchShift* self, uint32_t samples)
{
    pitch_shift::set_buffer_size(self, samples);
}

void ZVPitchShift1616_SamplingRate(ZVPitchShift* self, int32_t hz)
{
    pitch_shift::set_sampling_rate(self, hz);
}

void ZVPitchShift1616_TapsNum(ZVPitchShift* self, int32_t taps) { pitch_shift::set_taps(self, taps); }

void ZVPitchShift1616_Process_16_16(ZVPitchShift* self, int16_t* out, const int16_t* in, int32_t length,
                                    int32_t step)
{
    in_blocks(in, whole_steps(length, step), step, static_cast<int32_t>(self->buffer_size),
              [&](const int16_t* piece, int32_t count) {
                  gather(self->buffer, piece, count, step);
                  pitch_shift::run_block(self, out, count);
                  out += count;
              });
}
