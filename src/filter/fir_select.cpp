// Which convolution kernel a processor gets. All kernels of a table give the same bits, but for 32 -> 32: the
// high-half ones keep 16 bits of each factor.
#include "filter/fir_kernels.h"

namespace zv::fir {
static constexpr When family_5 = on(mmx, amd_f5m6, amd_f5m8, amd_f5m9);

// clang-format off
static constexpr Row<Kernel> table_1616[] = {
    {on(baseline, amd_k5),     "scalar", "scalar",               fir1616_scalar},
    {family_5,                 "mmx4",   "MMX, 4 taps a pass",   fir1616_mmx4},
    {on(mmx, amd_f6, amd_f15), "mmx16",  "MMX, 16 taps a pass",  fir1616_mmx16},
    {has(sse2 | avx512vnni),   "vnni",   "AVX-512 VNNI",         fir1616_vnni},
    {has(sse2 | avx512),       "avx512", "AVX-512",              fir1616_avx512},
    {has(sse2 | avx2),         "avx2",   "AVX2",                 fir1616_avx2},
    {has(sse2),                "sse2",   "SSE2, 16 taps a pass", fir1616_sse2},
    {has(mmx),                 "mmx8",   "MMX, 8 taps a pass",   fir1616_mmx8},
    {otherwise,                "scalar", "scalar",               fir1616_scalar},
};
static constexpr Row<Kernel> table_1632[] = {
    {on(baseline, amd_k5),     "scalar", "scalar",                       fir1632_scalar},
    {family_5,                 "mmx4",   "MMX, 4 taps a pass",           fir1632_mmx4},
    {on(mmx, amd_f6, amd_f15), "mmx16",  "MMX, 16, 8 and 4 taps a pass", fir1632_mmx16},
    {has(sse2 | avx512vnni),   "vnni",   "AVX-512 VNNI",                 fir1632_vnni},
    {has(sse2 | avx512),       "avx512", "AVX-512",                      fir1632_avx512},
    {has(sse2 | avx2),         "avx2",   "AVX2",                         fir1632_avx2},
    {has(sse2),                "sse2",   "SSE2, 16 taps a pass",         fir1632_sse2},
    {has(mmx),                 "mmx4",   "MMX, 4 taps a pass",           fir1632_mmx4},
    {otherwise,                "scalar", "scalar",                       fir1632_scalar},
};
static constexpr Row<Kernel> table_3232[] = {
    {on(baseline, amd_k5),         "exact",        "scalar, exact form",                    fir3232_exact},
    {family_5,                     "high_shift",   "MMX by shift and pack, high-half form", fir3232_high_shift},
    {on(mmx_ext, amd_f6, amd_f15), "high_shuffle", "MMX by word shuffle, high-half form",   fir3232_high_shuffle},
    {has(mmx | avx512vnni),        "high_vnni",    "AVX-512 VNNI, high-half form",          fir3232_high_vnni},
    {has(mmx | avx512),            "high_avx512",  "AVX-512, high-half form",               fir3232_high_avx512},
    {has(mmx | avx2),              "high_avx2",    "AVX2, high-half form",                  fir3232_high_avx2},
    {has(mmx),                     "high_unpack",  "MMX by word unpack, high-half form",    fir3232_high_unpack},
    {otherwise,                    "exact",        "scalar, exact form",                    fir3232_exact},
};
// Every second sample of 32 -> 32, chosen at each call whatever the classification.
static constexpr Row<Process2> table_process2[] = {
    {has(mmx),  "high",  "high-half form", process2_high},
    {otherwise, "exact", "exact form",     process2_exact},
};
// clang-format on

constinit const Rows<Kernel> rows_1616 = table_1616, rows_1632 = table_1632, rows_3232 = table_3232;
constinit const Rows<Process2> rows_process2 = table_process2;
} // namespace zv::fir
