// Whole streams through a FIR filter: blocks of the caller's samples go into the history, the kernel filters
// them. A block stands in the history before any result is written, so out may lie over in.
#include "core/blocks.h"
#include "core/fixed.h"
#include "core/frame.h"
#include "filter/fir_kernels.h"

namespace zv::fir {
// Stored is the width of the history, Result that of the kernel; to a narrower Out go upper halves, by way of
// out_buffer.
template <class Stored, class Result, class Out, class In, class Convert = AsIs>
static void process(ZVFIR* self, Out* out, const In* in, int32_t samples, int32_t step, int32_t decimation,
                    Convert convert = {})
{
    if (decimation < 1) return;
    in_blocks(in, samples, step, self->buffer_size, [&](const In* piece, int32_t count) {
        gather(static_cast<Stored*>(self->history_write), piece, count, step, convert);
        const int32_t results = count / decimation;
        if constexpr (sizeof(Out) == sizeof(Result)) {
            self->kernel(self, out, count, decimation);
        } else {
            self->kernel(self, nullptr, count, decimation);
            const auto narrow = [](Result v) { return top16(v); };
            if (out) gather(out, static_cast<const Result*>(self->out_buffer), results, 1, narrow);
        }
        out = advance(out, size_t(results));
    });
}

constexpr auto widen = [](int16_t v) { return left_justified(v); };
constexpr auto upper = [](int32_t v) { return top16(v); };
} // namespace zv::fir

using namespace zv;

void ZVFIR1616_Process_16_16(ZVFIR* self, int16_t* out, const int16_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int16_t, int16_t>(self, out, in, whole_steps(length, step), step, decimation);
}

void ZVFIR1632_Process_16_32(ZVFIR* self, int32_t* out, const int16_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int16_t, int32_t>(self, out, in, started_steps(length, step), step, decimation);
}

void ZVFIR1632_Process_32_32(ZVFIR* self, int32_t* out, const int32_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int16_t, int32_t>(self, out, in, started_steps(length, step), step, decimation, fir::upper);
}

void ZVFIR3232_Process_16_16(ZVFIR* self, int16_t* out, const int16_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int32_t, int32_t>(self, out, in, whole_steps(length, step), step, decimation, fir::widen);
}

void ZVFIR3232_Process_16_32(ZVFIR* self, int32_t* out, const int16_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int32_t, int32_t>(self, out, in, whole_steps(length, step), step, decimation, fir::widen);
}

void ZVFIR3232_Process_32_16(ZVFIR* self, int16_t* out, const int32_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int32_t, int32_t>(self, out, in, whole_steps(length, step), step, decimation);
}

void ZVFIR3232_Process_32_32(ZVFIR* self, int32_t* out, const int32_t* in, int32_t length, int32_t step,
                             int32_t decimation)
{
    fir::process<int32_t, int32_t>(self, out, in, whole_steps(length, step), step, decimation);
}

void ZVFIR3232_Process2(ZVFIR* self, int32_t* out, int32_t count, int32_t phase)
{
    select(fir::rows_process2).kernel(self, out, count, phase);
}
