// Which transform a processor gets. The rows of a column differ in rounding only.
#include "core/select.h"
#include "spectrum/fft_kernels.h"

namespace zv::fft {
struct Row {
    When when;
    const Kernel *single, *twice;
};

// clang-format off
constexpr Row rows[] = {
    // processor                         ZVFFT2Float        ZVFFT
    {on(amd_3dnow, amd_f5m8, amd_f5m9),  &float_3dnow,      nullptr},
    {on(amd_3dnow_ext, amd_f6, amd_f15), &float_3dnow_ext,  nullptr},
    {has(sse2 | avx512),                 &float_avx512,     &double_avx512},
    {has(sse2 | avx2),                   &float_avx2,       &double_avx2},
    {has(sse2),                          &float_sse2,       &double_sse2},
    {otherwise,                          &float_portable,   &double_portable},
};
// clang-format on

const Kernel& choose_float() { return *select(rows, &Row::single, *_CPU()); }
const Kernel& choose_double() { return *select(rows, &Row::twice, *_CPU()); }
} // namespace zv::fft
