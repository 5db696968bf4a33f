// Which convolution kernel a processor gets. All kernels of a column give the same bits, but for 32 -> 32: the
// high-half ones keep 16 bits of each factor.
#include "core/select.h"
#include "filter/fir_kernels.h"

namespace zv::fir {
struct Row {
    When when;
    Kernel k1616, k1632, k3232;
};

// clang-format off
static constexpr Row rows[] = {
    // processor   16 -> 16        16 -> 32        32 -> 32
    {otherwise,    fir1616_scalar, fir1632_scalar, fir3232_exact},
};
// clang-format on

Kernel kernel_1616() { return select(rows, &Row::k1616, *_CPU()); }
Kernel kernel_1632() { return select(rows, &Row::k1632, *_CPU()); }
Kernel kernel_3232() { return select(rows, &Row::k3232, *_CPU()); }
Process2 process2() { return process2_exact; }
} // namespace zv::fir
