// Single-precision transforms on extended 3DNow!, as AMD families 6 and 15 have it: words convert to
// floats, halves swap in one operation, and a difference and a sum across two registers finish a complex
// product.
#include "core/3dnow.h"
#define ZV_SET ZV_3DNOW_EXT

namespace zv::fft {
namespace {
using namespace mmx_ops;

ZV_SET ZV_INLINE Floats floats(const int32_t* x) { return to_floats(load2(x)); }
ZV_SET ZV_INLINE Floats floats(const int16_t* x)
{
    const Words words = twice2(x);
    return low_words_to_floats(DWords(low_words(words, words)));
}

struct Factor {
    Floats sin_cos, cos_sin;
};
ZV_SET ZV_INLINE Factor factor_of(Floats pair) { return {pair, swapped(pair)}; }

ZV_SET ZV_INLINE Floats turned(Floats b, const Factor& e)
{
    return difference_and_sum(product(b, e.cos_sin), product(b, e.sin_cos));
}
} // namespace
} // namespace zv::fft
#include "spectrum/transform_3dnow.h"

namespace zv::fft {
constinit const Kernel float_3dnow_ext = float_row();
} // namespace zv::fft
