// Transforms on AVX2 with FMA: as on AVX-512, in eight floats and four doubles.
#include "core/wide_avx2.h"
#include "spectrum/transform.h"

namespace zv::fft {
constinit const Kernel float_avx2 = float_row();
constinit const Kernel double_avx2 = double_row();
} // namespace zv::fft
