// The portable kernels of both kinds: the plain form on the floating-point unit.
#include "spectrum/plain.h"

namespace zv::fft {
const Kernel float_portable = {.real_16 = plain::real_kernel<float>,
                               .real_32 = plain::real_kernel<float>,
                               .pair_16 = plain::pair_kernel<float>,
                               .pair_32 = plain::pair_kernel<float>,
                               .band_16 = band_16,
                               .band_32 = band_32};
const Kernel double_portable = {.real_16 = plain::real_kernel<double>,
                                .real_32 = plain::real_kernel<double>,
                                .pair_16 = plain::pair_kernel<double>,
                                .pair_32 = plain::pair_kernel<double>};
} // namespace zv::fft
