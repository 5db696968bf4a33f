// Single-precision transforms on extended 3DNow!, as AMD families 6 and 15 have it: words convert to
// floats, halves swap in one operation, and a difference and a sum across two registers finish a complex
// product.
#include "core/mmx.h"
#include <cstring>

#ifdef __clang__
#define ZV_3DNOW ZV_TARGET("3dnowa")
#else
#define ZV_3DNOW ZV_TARGET("3dnowa,no-sse2") // as core/mmx.h tells
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
    return __builtin_ia32_pi2fw(DWords(low_words(words, words))); // the low word of each half
}

struct Factor {
    Floats sin_cos, cos_sin;
};
ZV_3DNOW ZV_INLINE Factor factor_of(Floats pair) { return {pair, __builtin_ia32_pswapdsf(pair)}; }

ZV_3DNOW ZV_INLINE Floats turned(Floats b, const Factor& e)
{
    return __builtin_ia32_pfpnacc(__builtin_ia32_pfmul(b, e.cos_sin), __builtin_ia32_pfmul(b, e.sin_cos));
}
} // namespace
} // namespace zv::fft
#include "spectrum/transform_3dnow.h"

namespace zv::fft {
constinit const Kernel float_3dnow_ext = float_row("3dnow_ext");
} // namespace zv::fft
