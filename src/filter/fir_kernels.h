// The frame of a FIR kernel, and the kernels. A kernel takes the span of N = taps_count samples that starts
// at history slot i * decimation for result i, and then moves the history on.
#pragma once
#include "core/blocks.h"
#include "core/select.h"
#include "core/simd.h"
#include <cstddef>
#include <zovek/fir.h>
#include <zovek/memory.h>

namespace zv::fir {
using Kernel = void (*)(ZVFIR* self, void* out, int32_t count, int32_t decimation);
using Process2 = void (*)(ZVFIR* self, int32_t* out, int32_t count, int32_t phase);

// The kernels of 16 -> 16, 16 -> 32 and 32 -> 32 bits, and of every second sample of 32 -> 32.
extern const Rows<Kernel> rows_1616, rows_1632, rows_3232;
extern const Rows<Process2> rows_process2;

// Bits 15 to 30 of a Q30 sum, rounding toward minus infinity, and the sum as Q31; the top bit is dropped.
constexpr int16_t q30_to_q15(uint32_t sum) { return static_cast<int16_t>(sum >> 15); }
constexpr int32_t q30_to_q31(uint32_t sum) { return static_cast<int32_t>(sum << 1); }

// Defaults, then compute(history, out, results), then the history moves on by whole decimations. What is left
// over at the end of the block is dropped, and all of it where the decimation is below 1.
template <class Sample, class Result, class Compute>
ZV_INLINE void run(ZVFIR* self, void* out, int32_t count, int32_t decimation, Compute compute)
{
    const int32_t results = whole_steps(up_to_block(count, self->buffer_size), decimation);
    auto* history = static_cast<Sample*>(self->history);
    compute(history, static_cast<Result*>(out ? out : self->out_buffer), results);
    MemoryCopy(history, history + ptrdiff_t(results) * decimation,
               uint32_t(self->taps_count - 1) * uint32_t(sizeof(Sample)));
}

// A kernel from the result of one span, dot(x).
template <class Sample, class Result, class Dot>
ZV_INLINE void convolve(ZVFIR* self, void* out, int32_t count, int32_t decimation, Dot dot)
{
    const auto each = [=](const Sample* history, Result* to, int32_t results) {
        for (int32_t i = 0; i < results; ++i, history += decimation) to[i] = dot(history);
    };
    run<Sample, Result>(self, out, count, decimation, each);
}

// Every second sample of a ZVFIR3232: result i is dot(taps + p, history + i + p), which takes (N+1)/2
// products two apart, where p is phase for even i and 1 - phase for odd i.
template <class Dot>
ZV_INLINE void convolve2(ZVFIR* self, int32_t* out, int32_t count, int32_t phase, Dot dot)
{
    const auto* taps = static_cast<const int32_t*>(self->taps);
    const auto each = [=](const int32_t* history, int32_t* to, int32_t results) {
        for (int32_t i = 0; i < results; ++i) {
            const int32_t p = (i + phase) & 1;
            to[i] = dot(taps + p, history + i + p);
        }
    };
    run<int32_t, int32_t>(self, out, count, 1, each);
}

// clang-format off
void fir1616_scalar(ZVFIR*, void*, int32_t, int32_t); void fir1632_scalar(ZVFIR*, void*, int32_t, int32_t);
void fir1616_mmx4(ZVFIR*, void*, int32_t, int32_t);   void fir1632_mmx4(ZVFIR*, void*, int32_t, int32_t);
void fir1616_mmx8(ZVFIR*, void*, int32_t, int32_t);
void fir1616_mmx16(ZVFIR*, void*, int32_t, int32_t);  void fir1632_mmx16(ZVFIR*, void*, int32_t, int32_t);
void fir1616_sse2(ZVFIR*, void*, int32_t, int32_t);   void fir1632_sse2(ZVFIR*, void*, int32_t, int32_t);
void fir1616_avx2(ZVFIR*, void*, int32_t, int32_t);   void fir1632_avx2(ZVFIR*, void*, int32_t, int32_t);
void fir1616_avx512(ZVFIR*, void*, int32_t, int32_t); void fir1632_avx512(ZVFIR*, void*, int32_t, int32_t);
void fir1616_vnni(ZVFIR*, void*, int32_t, int32_t);   void fir1632_vnni(ZVFIR*, void*, int32_t, int32_t);

void fir3232_exact(ZVFIR*, void*, int32_t, int32_t);        void process2_exact(ZVFIR*, int32_t*, int32_t, int32_t);
void fir3232_high_shift(ZVFIR*, void*, int32_t, int32_t);   void process2_high(ZVFIR*, int32_t*, int32_t, int32_t);
void fir3232_high_shuffle(ZVFIR*, void*, int32_t, int32_t);
void fir3232_high_unpack(ZVFIR*, void*, int32_t, int32_t);
void fir3232_high_avx2(ZVFIR*, void*, int32_t, int32_t);
void fir3232_high_avx512(ZVFIR*, void*, int32_t, int32_t);
void fir3232_high_vnni(ZVFIR*, void*, int32_t, int32_t);
// clang-format on
} // namespace zv::fir
