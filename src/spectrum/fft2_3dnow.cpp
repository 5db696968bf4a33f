// Single-precision transforms on 3DNow!, as AMD family 5 models 8 and 9 have it: no swap of the halves of a
// register and no conversion of 16-bit words, so both are made of MMX operations.
#include "core/mmx.h"
#include <cstring>

#ifdef __clang__
#define ZV_3DNOW ZV_TARGET("3dnow")
#else
#define ZV_3DNOW ZV_TARGET("3dnow,no-sse2") // as core/mmx.h tells
#endif
namespace zv::fft {
namespace {
using namespace mmx_ops;
using Floats = float __attribute__((vector_size(8), may_alias));

ZV_3DNOW ZV_INLINE Floats floats(const int32_t* x) { return __builtin_ia32_pi2fd(load2(x)); }
ZV_3DNOW ZV_INLINE Floats floats(const int16_t* x)
{
    int32_t both;
    memcpy(&both, x, sizeof both);
    const Words words = Words(DWords{both, both});
    return __builtin_ia32_pi2fd(shift_right(DWords(low_words(words, words)), 16));
}

struct Factor {
    Floats cosines, sines; // cos, cos and -sin, sin
};
ZV_3DNOW ZV_INLINE Factor factor_of(Floats pair)
{
    const DWords sin_cos = DWords(pair), negate_low = {INT32_MIN, 0};
    return {Floats(high_pair(sin_cos, sin_cos)), Floats(low_pair(sin_cos, sin_cos) ^ negate_low)};
}

ZV_3DNOW ZV_INLINE Floats turned(Floats b, const Factor& e)
{
    const DWords imaginary = DWords(__builtin_ia32_psrlqi(QWord(b), 32));
    const Floats swapped = Floats(low_pair(imaginary, DWords(b)));
    return __builtin_ia32_pfadd(__builtin_ia32_pfmul(b, e.cosines), __builtin_ia32_pfmul(swapped, e.sines));
}
} // namespace
} // namespace zv::fft
#include "spectrum/transform_3dnow.h"

namespace zv::fft {
constinit const Kernel float_3dnow = float_row("3dnow");
} // namespace zv::fft
