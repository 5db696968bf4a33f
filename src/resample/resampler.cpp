// Resampler: the object, its layout and the search for a ratio.
//
//   work_block:  design, doubles | taps, up to 4 | input area, up to 4 | output area | private tables
#include "resample/resampler.h"
#include "core/frame.h"
#include "core/round_up.h"
#include "core/taps.h"
#include <algorithm>

namespace zv::resampler {
// What a layout follows from.
struct Sizes {
    int32_t block, over, under, taps;
};

static Sizes sizes_of(const ZVResampler32* self)
{
    return {self->buffer_size, self->over, self->under, self->taps_count};
}

static int32_t history_of(const Sizes& s) { return (s.taps - 1) / s.over; }
static uint64_t input_of(const Sizes& s) { return round_up<4>(uint64_t(history_of(s)) + uint64_t(s.block)); }

static uint64_t bytes(const Sizes& s)
{
    const uint64_t under = uint64_t(s.under),
                   outputs = (uint64_t(s.block) * uint64_t(s.over) + under - 1) / under;
    return uint64_t(s.taps) * sizeof(double) +
           (round_up<4>(uint64_t(s.taps)) + input_of(s) + outputs) * sizeof(int32_t);
}

static bool reserve(ZVResampler32* self, uint64_t need)
{
    return grow(self->work_block, self->work_block_bytes, need, private_bytes(need));
}

static void place(ZVResampler32* self)
{
    const Sizes sizes = sizes_of(self);
    self->history_length = history_of(sizes);
    self->coefficients = reinterpret_cast<int32_t*>(static_cast<double*>(self->work_block) + sizes.taps);
    self->input_area = self->coefficients + round_up<4>(uint64_t(sizes.taps));
    self->input_write = self->input_area + self->history_length;
    self->output_buffer = self->input_area + input_of(sizes);
}

static void rebuild(ZVResampler32* self)
{
    if (!reserve(self, bytes(sizes_of(self)))) return;
    place(self);
    silence(self->input_area, size_t(self->history_length));
    design(self);
    if (self->store_routine != store)
        build_tables(self); // a client's routine knows of the public table alone
    self->phase = 0;
    self->pending_count = 0;
}

// The common end of all setters: the layout that the new value asks for is reserved before the value is
// stored.
static void set(ZVResampler32* self, int32_t ZVResampler32::*field, int32_t Sizes::*size, int32_t value)
{
    if (self->*field == value) return;
    Sizes sizes = sizes_of(self);
    sizes.*size = value;
    if (!reserve(self, bytes(sizes))) return;
    self->*field = value;
    self->rebuild(self);
}

// The smallest over whose nearest under meets the tolerance. A comparison with a NaN (a rate of 0) ends the
// search, so under is a real until then.
static void find_ratio(extended input, extended output, extended tolerance, int64_t& over, int32_t& under)
{
    extended nearest;
    for (over = 1;; ++over) {
        nearest = rintl(input * extended(over) / output);
        if (!(fabsl(output * nearest / extended(over) / input - 1) > tolerance)) break;
    }
    under = to_nearest32(nearest);
}
} // namespace zv::resampler

using namespace zv;

ZVResampler32* ZVResampler32_Construct(ZVResampler32* self)
{
    const auto build = [](ZVResampler32* resampler) {
        *resampler = {.buffer_size = 1024,
                      .over = 1,
                      .taps_count = 1,
                      .under = 1,
                      .rebuild = resampler::rebuild,
                      .store_routine = resampler::store};
        ZVResampler32_TapsNum(resampler, 127);
        return resampler->work_block != nullptr;
    };
    return construct(self, build, ZVResampler32_Destruct);
}

void ZVResampler32_Destruct(ZVResampler32* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->work_block);
    dismiss(self, flags);
}

void ZVResampler32_BufferSize(ZVResampler32* self, int32_t samples)
{
    resampler::set(self, &ZVResampler32::buffer_size, &resampler::Sizes::block, std::max(samples, 1));
}

void ZVResampler32_Over(ZVResampler32* self, int32_t factor)
{
    resampler::set(self, &ZVResampler32::over, &resampler::Sizes::over, std::max(factor, 1));
}

void ZVResampler32_Under(ZVResampler32* self, int32_t factor)
{
    resampler::set(self, &ZVResampler32::under, &resampler::Sizes::under, std::max(factor, 1));
}

void ZVResampler32_TapsNum(ZVResampler32* self, int32_t taps)
{
    resampler::set(self, &ZVResampler32::taps_count, &resampler::Sizes::taps, odd_taps(taps));
}

void ZVResampler32_Setup(ZVResampler32* self, float input_rate, float output_rate, float tolerance,
                         uint32_t taps_per_phase)
{
    int64_t found;
    int32_t under;
    resampler::find_ratio(input_rate, output_rate, tolerance, found, under);
    const int32_t over = static_cast<int32_t>(found);
    const int32_t taps = static_cast<int32_t>(uint32_t(over) * taps_per_phase);

    // The setters pass through mixed layouts; with room for the largest of them none can fail halfway.
    resampler::Sizes sizes = resampler::sizes_of(self);
    uint64_t need = 0;
    const auto pass = [&](int32_t& size, int32_t value) {
        size = value;
        need = std::max(need, resampler::bytes(sizes));
    };
    pass(sizes.over, over);
    pass(sizes.under, std::max(under, 1));
    pass(sizes.taps, odd_taps(taps));
    if (!resampler::reserve(self, need)) return;

    ZVResampler32_Over(self, over);
    ZVResampler32_Under(self, under);
    ZVResampler32_TapsNum(self, taps);
    ZVResampler32_Restart(self);
}

void ZVResampler32_Restart(ZVResampler32* self)
{
    self->phase = 0;
    self->pending_count = 0;
}
