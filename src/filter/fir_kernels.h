// The frame of a FIR kernel, and the kernels. A kernel takes the span of N = taps_count samples that starts at
// history slot i * decimation for result i, and then moves the history on.
#pragma once
#include "core/blocks.h"
#include "core/cpu.h"
#include "core/simd.h"
#include <cstddef>
#include <zovek/fir.h>
#include <zovek/memory.h>

namespace zv::fir {
using Kernel = void (*)(ZVFIR* self, void* out, int32_t count, int32_t decimation);
using Process2 = void (*)(ZVFIR* self, int32_t* out, int32_t count, int32_t phase);

// The choice for the processor record as it stands.
Kernel kernel_1616();
Kernel kernel_1632();
Kernel kernel_3232();
Process2 process2();

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

// Every second sample of a ZVFIR3232: result i is dot(taps + p, history + i + p), which takes (N+1)/2 products
// two apart, where p is phase for even i and 1 - phase for odd i.
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

// All kernels of the three kinds. What one needs beyond the base set: feature bits of the record and wider sets.
enum class Form { to16, to32, exact, high };
struct NamedKernel {
    const char* name;
    Form form;
    Kernel run;
    uint32_t features = 0, sets = 0;
};
inline constexpr NamedKernel all_kernels[] = {
    {"fir1616_scalar", Form::to16, fir1616_scalar},
    {"fir1616_mmx4",   Form::to16, fir1616_mmx4,   mmx},
    {"fir1616_mmx8",   Form::to16, fir1616_mmx8,   mmx},
    {"fir1616_mmx16",  Form::to16, fir1616_mmx16,  mmx},
    {"fir1616_sse2",   Form::to16, fir1616_sse2,   sse2},
    {"fir1616_avx2",   Form::to16, fir1616_avx2,   sse2, avx2},
    {"fir1616_avx512", Form::to16, fir1616_avx512, sse2, avx512},
    {"fir1616_vnni",   Form::to16, fir1616_vnni,   sse2, avx512vnni},
    {"fir1632_scalar", Form::to32, fir1632_scalar},
    {"fir1632_mmx4",   Form::to32, fir1632_mmx4,   mmx},
    {"fir1632_mmx16",  Form::to32, fir1632_mmx16,  mmx},
    {"fir1632_sse2",   Form::to32, fir1632_sse2,   sse2},
    {"fir1632_avx2",   Form::to32, fir1632_avx2,   sse2, avx2},
    {"fir1632_avx512", Form::to32, fir1632_avx512, sse2, avx512},
    {"fir1632_vnni",   Form::to32, fir1632_vnni,   sse2, avx512vnni},
    {"fir3232_exact",        Form::exact, fir3232_exact},
    {"fir3232_high_shift",   Form::high,  fir3232_high_shift,   mmx},
    {"fir3232_high_shuffle", Form::high,  fir3232_high_shuffle, mmx | 1u << 25}, // SSE brings extended MMX
    {"fir3232_high_unpack",  Form::high,  fir3232_high_unpack,  mmx},
    {"fir3232_high_avx2",    Form::high,  fir3232_high_avx2,    mmx, avx2},
    {"fir3232_high_avx512",  Form::high,  fir3232_high_avx512,  mmx, avx512},
    {"fir3232_high_vnni",    Form::high,  fir3232_high_vnni,    mmx, avx512vnni},
};
// clang-format on
} // namespace zv::fir
