// FIR filter object: storage, settings, quantised taps. One block holds everything of variable size, each
// part on a 64-byte boundary: design (N doubles) | taps, zeros up to the boundary | history | output.
#include "filter/fir.h"
#include "core/frame.h"
#include "core/taps.h"
#include "filter/fir_kernels.h"
#include <algorithm>
#include <iterator>

namespace zv::fir {
template <class Tap, class Real>
static void set_taps(ZVFIR* self, const Real* array, int32_t count);
template <int K>
static void rebuild(ZVFIR* self);

struct Kind {
    void (*rebuild)(ZVFIR*);
    void (*set_taps_double)(ZVFIR*, const double*, int32_t);
    void (*set_taps_float)(ZVFIR*, const float*, int32_t);
    uint32_t tap, sample, result; // bytes
    uint32_t margin;              // bytes for aligning the parts, and for reads past the history
};

// clang-format off
static constexpr Kind kinds[] = {
    {rebuild<0>, set_taps<int16_t>, set_taps<int16_t>, 2, 2, 2, 250}, // ZVFIR1616
    {rebuild<1>, set_taps<int16_t>, set_taps<int16_t>, 2, 2, 4, 238}, // ZVFIR1632
    {rebuild<2>, set_taps<int32_t>, set_taps<int32_t>, 4, 4, 4, 232}, // ZVFIR3232
};
// clang-format on

// Points the record's fields into the block.
static void place(ZVFIR* self, const Kind& kind)
{
    const size_t taps = self->taps_count, block = self->buffer_size;
    char* at = static_cast<char*>(self->storage) + to_line(taps * sizeof(double));
    self->taps = at;
    self->history = at += to_line(taps * kind.tap);
    self->history_write = at + (taps - 1) * kind.sample;
    self->out_buffer = at + to_line((taps - 1 + block) * kind.sample);
}

static uint64_t bytes_of(const Kind& kind, int32_t taps, int32_t block)
{
    return uint64_t(taps) * (sizeof(double) + kind.tap + kind.sample) +
           uint64_t(block) * (kind.sample + kind.result) + kind.margin;
}

// The present layout stays good, wherever the block goes.
static bool ensure(ZVFIR* self, uint64_t bytes)
{
    return grow_laid_out(self->storage, self->storage_bytes, bytes, slack(bytes), self->taps, self->history,
                         self->history_write, self->out_buffer);
}

template <int K>
static void rebuild(ZVFIR* self)
{
    const Kind& kind = kinds[K];
    if (!ensure(self, bytes_of(kind, self->taps_count, self->buffer_size))) return;
    place(self, kind);
    silence(static_cast<char*>(self->history), size_t(self->taps_count) * kind.sample);
}

bool reserve(ZVFIR* self, int32_t taps, int32_t block)
{
    // A client's own rebuild doesn't tell the kind: there is room for any that it may go on to.
    const auto* own =
        std::find_if(kinds, std::end(kinds), [=](const Kind& k) { return k.rebuild == self->rebuild; });
    uint64_t bytes = 0;
    for (const Kind& kind : kinds)
        if (own == std::end(kinds) || own == &kind)
            bytes = std::max(bytes, bytes_of(kind, odd_taps(taps), std::max(block, 1)));
    return ensure(self, bytes);
}

template <class Tap, class Real>
static void set_taps(ZVFIR* self, const Real* array, int32_t count)
{
    ZVFIR_TapsNum(self, count);
    if (self->taps_count < count) return; // no memory for so many: the filter stays as it is
    auto* taps = static_cast<Tap*>(self->taps);
    silence(static_cast<char*>(self->taps), to_line(size_t(self->taps_count) * sizeof(Tap)));
    for (int32_t t = 0; t < count; ++t) taps[t] = quantised<Tap>(array[t]);
}

static ZVFIR* make(ZVFIR* self, const Kind& kind, Rows<Kernel> rows)
{
    const auto build = [&](ZVFIR* fir) {
        *fir = {.set_taps_double = kind.set_taps_double,
                .set_taps_float = kind.set_taps_float,
                .kernel = select(rows).kernel,
                .cut_off_high = 3000,
                .cut_off_low = 1000,
                .sampling_rate = 11025,
                .buffer_size = 1024,
                .taps_count = 1,
                .rebuild = kind.rebuild};
        ZVFIR_TapsNum(fir, 31);
        return fir->storage != nullptr;
    };
    return construct(self, build, ZVFIR_Destruct);
}
} // namespace zv::fir

using namespace zv;

ZVFIR* ZVFIR1616_Construct(ZVFIR* self) { return fir::make(self, fir::kinds[0], fir::rows_1616); }
ZVFIR* ZVFIR1632_Construct(ZVFIR* self) { return fir::make(self, fir::kinds[1], fir::rows_1632); }
ZVFIR* ZVFIR3232_Construct(ZVFIR* self) { return fir::make(self, fir::kinds[2], fir::rows_3232); }

void ZVFIR_Destruct(ZVFIR* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->storage);
    dismiss(self, flags);
}

void ZVFIR_TapsNum(ZVFIR* self, int32_t taps)
{
    taps = odd_taps(taps);
    if (taps == self->taps_count || !fir::reserve(self, taps, self->buffer_size)) return;
    self->taps_count = taps;
    self->rebuild(self);
    fir::redesign(self);
}

void ZVFIR_BufferSize(ZVFIR* self, int32_t samples)
{
    samples = std::max(samples, 1);
    if (samples == self->buffer_size || !fir::reserve(self, self->taps_count, samples)) return;
    self->buffer_size = samples;
    self->rebuild(self);
}

void ZVFIR_FIRType(ZVFIR* self, int32_t type)
{
    if (type < ZVFIRType_PassThrough || type > ZVFIRType_MovingAverage) return;
    if (change(self->fir_type, type)) fir::redesign(self);
}

void ZVFIR_CutOffHigh(ZVFIR* self, float hz)
{
    hz = std::max(hz, 2.0f);
    if (2 * hz > self->sampling_rate) hz = self->sampling_rate / 2;
    if (!change(self->cut_off_high, hz)) return;
    if (!(hz > self->cut_off_low)) self->cut_off_low = hz - 1;
    fir::redesign(self);
}

void ZVFIR_CutOffLow(ZVFIR* self, float hz)
{
    hz = std::max(hz, 1.0f);
    if (!(2 * hz < self->sampling_rate)) hz = self->sampling_rate / 2 - 1;
    if (!change(self->cut_off_low, hz)) return;
    if (!(hz < self->cut_off_high)) self->cut_off_high = hz + 1;
    fir::redesign(self);
}

void ZVFIR_SamplingRate(ZVFIR* self, float hz)
{
    if (!change(self->sampling_rate, std::max(hz, 4.0f))) return;
    if (2 * self->cut_off_high > self->sampling_rate) self->cut_off_high = self->sampling_rate / 2;
    if (!(self->cut_off_high > self->cut_off_low)) self->cut_off_low = self->cut_off_high - 1;
    fir::redesign(self);
}
