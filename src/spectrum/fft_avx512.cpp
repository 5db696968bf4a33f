// Transforms on AVX-512. Real samples of a ZVFFT2Float run in sixteen floats, rounded at each operation as
// on SSE2; I/Q pairs, which other processors run on the floating-point unit, in eight doubles, rounded to
// float once a pass.
#include "core/wide_avx512.h"
#include "spectrum/transform.h"

namespace zv::fft {
constinit const Kernel float_avx512 = float_row();
constinit const Kernel double_avx512 = double_row();
} // namespace zv::fft
