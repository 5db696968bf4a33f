// Single-precision transforms on 3DNow!, as AMD family 5 models 8 and 9 have it: no swap of the halves of a
// register and no conversion of 16-bit words, so both are made of MMX operations.
#include "core/3dnow.h"
#define ZV_SET ZV_3DNOW

namespace zv::fft {
namespace {
using namespace mmx_ops;

ZV_SET ZV_INLINE Floats floats(const int32_t* x) { return to_floats(load2(x)); }
ZV_SET ZV_INLINE Floats floats(const int16_t* x)
{
    const Words words = twice2(x);
    return to_floats(shift_right<16>(DWords(low_words(words, words))));
}

struct Factor {
    Floats cosines, sines; // cos, cos and -sin, sin
};
ZV_SET ZV_INLINE Factor factor_of(Floats sin_cos)
{
    const DWords negate_low = {INT32_MIN, 0};
    return {high_pair(sin_cos, sin_cos), Floats(DWords(low_pair(sin_cos, sin_cos)) ^ negate_low)};
}

ZV_SET ZV_INLINE Floats turned(Floats b, const Factor& e)
{
    const Floats imaginary_real = low_pair(Floats(high_alone(DWords(b))), b);
    return sum2(product(b, e.cosines), product(imaginary_real, e.sines));
}
} // namespace
} // namespace zv::fft
#include "spectrum/transform_3dnow.h"

namespace zv::fft {
constinit const Kernel float_3dnow = float_row();
} // namespace zv::fft
