// The frame of an LMS kernel, and the kernels. A kernel takes count samples at input_write to out and then
// moves the history on. Only the sum of a window is their own; all store the same values to the bit.
#pragma once
#include "core/real.h"
#include "core/round_up.h"
#include "core/select.h"
#include "core/simd.h"
#include "core/ties.h"
#include <atomic>
#include <zovek/lms.h>
#include <zovek/memory.h>

namespace zv::lms {
using Kernel = void (*)(ZVLMS1616* self, int16_t* out, uint32_t count);

// The kernel in use. Starts at the chooser, which puts the kernel for the processor record in its place and
// goes on there; threads that race through it store the same.
extern std::atomic<Kernel> lms_kernel;
void choose(ZVLMS1616* self, int16_t* out, uint32_t count);
extern const Rows<Kernel> rows;

void lms_mmx(ZVLMS1616* self, int16_t* out, uint32_t count);
void lms_mmx_ext(ZVLMS1616* self, int16_t* out, uint32_t count);
void lms_any(ZVLMS1616* self, int16_t* out, uint32_t count);
void lms_avx2(ZVLMS1616* self, int16_t* out, uint32_t count);
void lms_avx512(ZVLMS1616* self, int16_t* out, uint32_t count);

// Sums of groups of four products, modulo 2^32. The caller holds an MmxScope, for the reals that follow.
uint32_t dot_mmx(const int16_t* coefficients, const int16_t* window, uint32_t groups);
uint32_t dot_mmx_ext(const int16_t* coefficients, const int16_t* window, uint32_t groups);

// Groups that hold the taps and at least one zero coefficient: reads up to four samples past the window.
constexpr uint32_t groups_past(uint32_t taps) { return taps / 4 + 1; }

// The prediction of a sum in Q30, as a sample: rounding toward minus infinity.
constexpr int32_t prediction_of(uint32_t sum) { return static_cast<int32_t>(sum) >> 15; }

// Energy of a window and, from there, of the next one without its newest sample, which is kept as float.
struct Energy {
    float power;
    extended window(int16_t newest, int16_t oldest)
    {
        const extended energy = power + extended(newest) * newest;
        power = static_cast<float>(energy - extended(oldest) * oldest);
        return energy;
    }
};

// What a coefficient becomes.
struct Update {
    extended keep, gain;
    Update(const ZVLMS1616& filter, extended energy, int32_t error)
        : keep(1 - extended(filter.leakage)),
          gain(error / (energy + filter.regularisation + 1) * filter.step_size * 32767) // Q15
    {
    }
    int16_t operator()(int32_t coefficient, int32_t sample) const
    {
        return to_nearest16(keep * coefficient + gain * sample);
    }
};

inline void move_history(ZVLMS1616* self, uint32_t count)
{
    auto* history = static_cast<int16_t*>(self->work_block);
    MemoryCopy(history, history + count, (self->taps_count + self->delay - 1) * uint32_t(sizeof(int16_t)));
}

// A kernel from the sum of a window, dot(coefficients, window), modulo 2^32.
template <class Dot>
ZV_INLINE void adapt(ZVLMS1616* self, int16_t* out, uint32_t count, Dot dot)
{
    int16_t* const c = self->coefficients;
    const auto* h = static_cast<const int16_t*>(self->work_block);
    const int16_t* const x = self->input_write;
    const uint32_t taps = self->taps_count;
    Energy energy = {self->power};
    for (uint32_t n = 0; n < count; ++n, ++h) {
        const int32_t prediction = prediction_of(dot(c, h)), error = x[n] - prediction;
        out[n] = static_cast<int16_t>(self->output_error ? error : prediction);
        const Update update(*self, energy.window(h[taps - 1], h[0]), error);
        for (uint32_t i = 0; i < taps; ++i) c[i] = update(c[i], h[i]);
    }
    self->power = energy.power;
    move_history(self, count);
}

// Private tables of the wide kernels, behind the coefficients: scratch for one piece of a block.
inline constexpr uint32_t piece = 256; // samples
// Coefficients that the wide kernels run over: whole pairs of vectors of 8, the ones past T zero.
constexpr uint64_t padded(uint64_t taps) { return round_up<16>(taps); }
struct WideTables {
    double *past, *next; // coefficients before and after a sample, padded
    double* window;      // samples of all windows of a piece: padded + piece
};
constexpr uint64_t wide_tables_bytes(uint64_t taps) { return (3 * padded(taps) + piece) * sizeof(double); }
WideTables wide_tables(const ZVLMS1616* self);

// Whether doubles do for this call: coefficients kept at most twofold, and the power a whole number, which
// sums and differences of squares then leave exact.
bool wide_fits(const ZVLMS1616* self);

// A coefficient before rounding, worked out in double, is less than 2^-32 off while it is in range: 2^17
// (what two terms can reach) times seven roundings of 2^-53. One past the range is in doubt as well.
inline constexpr double sure_fraction = ties::sure_rest(0x1p-30), sure_reach = 32767.25;

// Works the coefficients in doubt out in extended precision, in tables.next, and returns the sum of the next
// window.
uint32_t settle(const WideTables& tables, uint32_t taps, const Update& update, const double* window,
                const int16_t* next_window);
} // namespace zv::lms
