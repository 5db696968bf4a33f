// Which transform a processor gets. The rows of a table differ in rounding only.
#include "spectrum/fft_kernels.h"

namespace zv::fft {
// clang-format off
static constexpr Row<const Kernel*> singles[] = {
    {on(amd_3dnow, amd_f5m8, amd_f5m9),  "3dnow",     "3DNow!",          &float_3dnow},
    {on(amd_3dnow_ext, amd_f6, amd_f15), "3dnow_ext", "extended 3DNow!", &float_3dnow_ext},
    {has(sse2 | avx512),                 "avx512",    "AVX-512",         &float_avx512},
    {has(sse2 | avx2),                   "avx2",      "AVX2",            &float_avx2},
    {has(sse2),                          "sse2",      "SSE2",            &float_sse2},
    {otherwise,                          "portable",  "portable",        &float_portable},
};
static constexpr Row<const Kernel*> doubles[] = {
    {has(sse2 | avx512),                 "avx512",    "AVX-512",         &double_avx512},
    {has(sse2 | avx2),                   "avx2",      "AVX2",            &double_avx2},
    {has(sse2),                          "sse2",      "SSE2",            &double_sse2},
    {otherwise,                          "portable",  "portable",        &double_portable},
};
// clang-format on

constinit const Rows<const Kernel*> float_rows = singles, double_rows = doubles;
} // namespace zv::fft
