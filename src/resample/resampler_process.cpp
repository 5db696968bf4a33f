// One block through a resampler: how many outputs, by which form, and what stays for the next block.
#include "core/blocks.h"
#include "core/frame.h"
#include "resample/resampler.h"
#include <cstring>

namespace zv::resampler {
// The formula itself, for tables that have no room: far more phases than taps. Nothing behind the last new
// sample enters a sum.
static void plain(const ZVResampler32* self, const int32_t* taps, int32_t* out, int32_t outputs,
                  int32_t samples)
{
    const int32_t *x = self->input_area, over = self->over;
    int64_t p = self->phase;
    for (int32_t i = 0; i < outputs; ++i, p += self->under) {
        const auto q = static_cast<int32_t>(p / over), r = static_cast<int32_t>(p % over);
        uint64_t sum = 0;
        int32_t j = q + (r != 0);
        for (int64_t t = r == 0 ? 0 : over - r; t < self->taps_count && j < samples; t += over, ++j)
            sum += static_cast<uint64_t>(int64_t(x[j]) * taps[t]);
        out[i] = scaled(static_cast<int64_t>(sum), over);
    }
}

void wide_scalar(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    for (int32_t i = 0; i < outputs; ++i, at = ahead(t, at, 1)) {
        const int32_t* x = static_cast<const int32_t*>(t.samples) + at.sample + t.lead;
        const int32_t* row = t.rows + ptrdiff_t(at.phase) * t.row_taps;
        uint64_t sum = 0;
        for (int32_t k = 0; k < t.taps; ++k) sum += static_cast<uint64_t>(int64_t(x[k]) * row[k]);
        out[i] = scaled(static_cast<int64_t>(sum), t.over);
    }
}

bool pack_scalar(int16_t* to, const int32_t* from, int32_t count)
{
    int32_t bits = 0;
    for (int32_t k = 0; k < count; ++k) {
        bits |= from[k];
        to[k] = top16(from[k]);
    }
    return (bits & 0xFFFF) == 0;
}

static void convert(ZVResampler32* self, int32_t* out, int32_t outputs, int32_t samples)
{
    constexpr int32_t worth_packing = 4; // outputs
    const Tables& t = tables_of(self);
    if (!t.wide) return plain(self, t.prototype, out, outputs, samples);
    const Position at = {self->phase / self->over, self->phase % self->over};
    auto* narrow = static_cast<int16_t*>(t.samples);
    if (t.narrow && outputs >= worth_packing && t.pack(narrow, self->input_area, samples)) {
        silence(narrow + samples, back_samples);
        return t.narrow(t, out, outputs, at);
    }
    auto* wide = static_cast<int32_t*>(t.samples);
    memcpy(wide, self->input_area, size_t(samples) * sizeof *wide);
    silence(wide + samples, back_samples);
    t.wide(t, out, outputs, at);
}
} // namespace zv::resampler

using namespace zv;

uint32_t ZVResampler32_ProcessIn(ZVResampler32* self, int32_t* out, uint32_t count)
{
    if (!out) out = self->output_buffer;
    count = up_to_block(count, static_cast<uint32_t>(self->buffer_size));
    const int64_t end = int64_t(count) * self->over, left = end - self->phase, under = self->under;
    const auto outputs = static_cast<int32_t>(left <= 0 ? 0 : (left + under - 1) / under);
    if (outputs > 0)
        resampler::convert(self, out, outputs, self->history_length + static_cast<int32_t>(count));
    self->phase = static_cast<int32_t>(outputs * under - left);
    memmove(self->input_area, self->input_area + count, size_t(self->history_length) * sizeof(int32_t));
    return static_cast<uint32_t>(outputs);
}
