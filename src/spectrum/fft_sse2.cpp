// Transforms on SSE2. Real samples of a ZVFFT2Float are converted to float and run in four floats, rounded
// at each operation; its unpacking is done in doubles, and I/Q pairs stay on the floating-point unit.
#include "core/wide_sse2.h"
#include "spectrum/transform.h"

namespace zv::fft {
constinit const Kernel float_sse2 = float_row();
constinit const Kernel double_sse2 = double_row();
} // namespace zv::fft
