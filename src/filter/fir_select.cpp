// Which convolution kernel a processor gets. All kernels of a column give the same bits, but for 32 -> 32: the
// high-half ones keep 16 bits of each factor.
#include "core/select.h"
#include "filter/fir_kernels.h"

namespace zv::fir {
struct Row {
    When when;
    Kernel k1616, k1632, k3232;
};
struct Row2 {
    When when;
    Process2 process2;
};

// clang-format off
static constexpr Row rows[] = {
    // processor                            16 -> 16        16 -> 32        32 -> 32
    {on(baseline, amd_k5),                  fir1616_scalar, fir1632_scalar, fir3232_exact},
    {on(mmx, amd_f5m6, amd_f5m8, amd_f5m9), fir1616_mmx4,   fir1632_mmx4,   fir3232_high_shift},
    {on(mmx, amd_f6, amd_f15),              fir1616_mmx16,  fir1632_mmx16,  nullptr},
    {on(mmx_ext, amd_f6, amd_f15),          nullptr,        nullptr,        fir3232_high_shuffle},
    {has(sse2 | avx512vnni),                fir1616_vnni,   fir1632_vnni,   nullptr},
    {has(sse2 | avx512),                    fir1616_avx512, fir1632_avx512, nullptr},
    {has(sse2 | avx2),                      fir1616_avx2,   fir1632_avx2,   nullptr},
    {has(sse2),                             fir1616_sse2,   fir1632_sse2,   nullptr},
    {has(mmx | avx512vnni),                 nullptr,        nullptr,        fir3232_high_vnni},
    {has(mmx | avx512),                     nullptr,        nullptr,        fir3232_high_avx512},
    {has(mmx | avx2),                       nullptr,        nullptr,        fir3232_high_avx2},
    {has(mmx),                              fir1616_mmx8,   fir1632_mmx4,   fir3232_high_unpack},
    {otherwise,                             fir1616_scalar, fir1632_scalar, fir3232_exact},
};

// Every second sample of 32 -> 32, chosen at each call whatever the classification.
static constexpr Row2 rows2[] = {
    {has(mmx),  process2_high},
    {otherwise, process2_exact},
};
// clang-format on

Kernel kernel_1616() { return select(rows, &Row::k1616, *_CPU()); }
Kernel kernel_1632() { return select(rows, &Row::k1632, *_CPU()); }
Kernel kernel_3232() { return select(rows, &Row::k3232, *_CPU()); }
Process2 process2() { return select(rows2, &Row2::process2, *_CPU()); }
} // namespace zv::fir
