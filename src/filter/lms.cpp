// LMS adaptive filter: object, streams, choice of kernel. History, input block, output and coefficients share
// one block, and a window is a place in history and input that moves on by one sample.
#include "core/blocks.h"
#include "core/frame.h"
#include "filter/lms_kernels.h"
#include <algorithm>
#include <cmath>

namespace zv::lms {
// Offsets in work_block, bytes.
struct Layout {
    uint64_t output, coefficients, coefficients_end, tables, end;
};

static Layout layout(uint64_t block, uint64_t taps, uint64_t delay)
{
    Layout at;
    at.output = to_line((taps + delay - 1 + block) * sizeof(int16_t));
    at.coefficients = to_line(at.output + block * sizeof(int16_t));
    at.coefficients_end = at.coefficients + 4 * uint64_t(groups_past(uint32_t(taps))) * sizeof(int16_t);
    at.tables = to_line(at.coefficients_end);
    at.end = at.tables + wide_tables_bytes(taps);
    return at;
}

// Makes work_block hold the layout; what stands in it stays.
static bool ensure(ZVLMS1616* self, const Layout& at) { return grow(self->work_block, at.end); }

static void rebuild(ZVLMS1616* self)
{
    const Layout at = layout(self->buffer_size, self->taps_count, self->delay);
    if (!ensure(self, at)) return;
    char* block = static_cast<char*>(self->work_block);
    const size_t history = self->taps_count + size_t(self->delay) - 1;
    self->input_write = reinterpret_cast<int16_t*>(block) + history;
    self->output_buffer = reinterpret_cast<int16_t*>(block + at.output);
    self->coefficients = reinterpret_cast<int16_t*>(block + at.coefficients);
    silence(reinterpret_cast<int16_t*>(block), history);
    silence(block + at.coefficients, size_t(at.coefficients_end - at.coefficients));
    self->power = 0;
}

// A setter: stores a new size and starts anew, if the memory for it can be had.
static void resize(ZVLMS1616* self, uint32_t ZVLMS1616::*size, uint32_t value)
{
    if (value == self->*size) return;
    ZVLMS1616 wanted = *self;
    wanted.*size = value;
    if (!ensure(self, layout(wanted.buffer_size, wanted.taps_count, wanted.delay))) return;
    self->*size = value;
    self->rebuild(self);
}

WideTables wide_tables(const ZVLMS1616* self)
{
    const Layout at = layout(self->buffer_size, self->taps_count, self->delay);
    auto* first = reinterpret_cast<double*>(static_cast<char*>(self->work_block) + at.tables);
    const size_t taps = padded(self->taps_count);
    return {first, first + taps, first + 2 * taps};
}

bool wide_fits(const ZVLMS1616* self)
{
    const double power = self->power;
    return self->leakage >= -1 && self->leakage <= 3 && std::fabs(power) < 0x1p45 &&
           power == std::rint(power) && self->taps_count <= 1u << 20;
}

uint32_t settle(const WideTables& tables, uint32_t taps, const Update& update, const double* window,
                const int16_t* next_window)
{
    const auto keep = static_cast<double>(update.keep), gain = static_cast<double>(update.gain);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < taps; ++i) {
        double& next = tables.next[i];
        const double value = keep * tables.past[i] + gain * window[i];
        const bool sure = std::fabs(value) < sure_reach && std::fabs(value - next) < sure_fraction;
        if (!sure) next = update(static_cast<int32_t>(tables.past[i]), static_cast<int32_t>(window[i]));
        sum += static_cast<uint32_t>(static_cast<int32_t>(next) * next_window[i]);
    }
    return sum;
}

// The one kernel for every processor: MMX or the plain sum by the record as it stands at each sample.
void lms_any(ZVLMS1616* self, int16_t* out, uint32_t count)
{
    adapt(self, out, count, [taps = self->taps_count](const int16_t* c, const int16_t* h) {
        if (_CPU()->features & mmx) {
            const MmxScope scope;
            return dot_mmx(c, h, groups_past(taps));
        }
        uint32_t sum = 0;
        for (uint32_t i = 0; i < taps; ++i) sum += static_cast<uint32_t>(c[i] * h[i]);
        return sum;
    });
}

// clang-format off
static constexpr Row<Kernel> table[] = {
    {on(mmx, amd_f5m6, amd_f5m8, amd_f5m9), "mmx",     "MMX",                          lms_mmx},
    {on(mmx_ext, amd_f6, amd_f15),          "mmx_ext", "extended MMX",                 lms_mmx_ext},
    {has(avx512),                           "avx512",  "AVX-512",                      lms_avx512},
    {has(avx2),                             "avx2",    "AVX2",                         lms_avx2},
    {otherwise,                             "any",     "MMX or scalar by the MMX bit", lms_any},
};
// clang-format on
constinit const Rows<Kernel> rows = table;

std::atomic<Kernel> lms_kernel = choose;

void choose(ZVLMS1616* self, int16_t* out, uint32_t count)
{
    const Kernel kernel = select(rows).kernel;
    lms_kernel.store(kernel, std::memory_order_relaxed);
    kernel(self, out, count);
}
} // namespace zv::lms

using namespace zv;

ZVLMS1616* ZVLMS1616_Construct(ZVLMS1616* self)
{
    const auto build = [](ZVLMS1616* filter) {
        *filter = {.step_size = 0.5f,
                   .regularisation = 1,
                   .leakage = 0.5f,
                   .buffer_size = 1024,
                   .taps_count = 31,
                   .rebuild = lms::rebuild};
        filter->rebuild(filter);
        return filter->work_block != nullptr;
    };
    return construct(self, build, ZVLMS_Destruct);
}

void ZVLMS_Destruct(ZVLMS1616* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->work_block);
    dismiss(self, flags);
}

void ZVLMS_BufferSize(ZVLMS1616* self, uint32_t samples)
{
    lms::resize(self, &ZVLMS1616::buffer_size, std::max(samples, 1u));
}

void ZVLMS_TapsNum(ZVLMS1616* self, uint32_t taps)
{
    lms::resize(self, &ZVLMS1616::taps_count, std::max(taps, 1u));
}

void ZVLMS_DelaySize(ZVLMS1616* self, uint32_t samples) { lms::resize(self, &ZVLMS1616::delay, samples); }

void ZVLMS1616_Process(ZVLMS1616* self, int16_t* out, uint32_t count)
{
    if (!out) out = self->output_buffer;
    count = up_to_block(count, self->buffer_size);
    lms::lms_kernel.load(std::memory_order_relaxed)(self, out, count);
}

void ZVLMS1616_Process_16_16(ZVLMS1616* self, int16_t* out, const int16_t* in, int32_t length, int32_t step)
{
    in_blocks(in, started_steps(length, step), step, static_cast<int32_t>(self->buffer_size),
              [&](const int16_t* piece, int32_t count) {
                  gather(self->input_write, piece, count, step);
                  ZVLMS1616_Process(self, out, static_cast<uint32_t>(count));
                  out = advance(out, count);
              });
}
