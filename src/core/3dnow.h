// 3DNow! operations by name: two floats in an MMX register, the lower first, rounded to single precision
// each.
#pragma once
#include "core/mmx.h"

namespace zv::mmx_ops {
using Floats = float __attribute__((vector_size(8), may_alias));

// clang-format off
ZV_MMX_TWO(ZV_3DNOW, sum2,       Floats, Floats, pfadd)
ZV_MMX_TWO(ZV_3DNOW, difference, Floats, Floats, pfsub)
ZV_MMX_TWO(ZV_3DNOW, product,    Floats, Floats, pfmul)
ZV_MMX_TWO(ZV_3DNOW, lower,      Floats, Floats, pfmin)
ZV_MMX_TWO(ZV_3DNOW, higher,     Floats, Floats, pfmax)
ZV_MMX_TWO(ZV_3DNOW, fold,       Floats, Floats, pfacc)             // a0 + a1, b0 + b1
ZV_MMX_ONE(ZV_3DNOW, rough_reciprocal,      Floats, Floats, pfrcp)  // 1 / a0 to 14 bits, in both places
ZV_MMX_ONE(ZV_3DNOW, rough_reciprocal_root, Floats, Floats, pfrsqrt) // 1 / sqrt(a0) to 15 bits, in both places
ZV_MMX_TWO(ZV_3DNOW, reciprocal_step,       Floats, Floats, pfrcpit1) // from the value and its rough reciprocal
ZV_MMX_TWO(ZV_3DNOW, reciprocal_root_step,  Floats, Floats, pfrsqit1) // from it and its squared rough root
ZV_MMX_TWO(ZV_3DNOW, last_step,             Floats, Floats, pfrcpit2) // from either and the rough one
ZV_MMX_ONE(ZV_3DNOW, to_floats,  DWords, Floats, pi2fd)
// Extended 3DNow!
ZV_MMX_TWO(ZV_3DNOW_EXT, difference_and_sum, Floats, Floats, pfpnacc) // a0 - a1, b0 + b1
ZV_MMX_ONE(ZV_3DNOW_EXT, low_words_to_floats, DWords, Floats, pi2fw)  // the lower word of each
// clang-format on

// Of the bits alone: a0 b0, a1 b1, and b without the bits of a.
ZV_MMX ZV_INLINE Floats low_pair(Floats a, Floats b) { return Floats(low_pair(DWords(a), DWords(b))); }
ZV_MMX ZV_INLINE Floats high_pair(Floats a, Floats b) { return Floats(high_pair(DWords(a), DWords(b))); }
ZV_MMX ZV_INLINE Floats without(DWords a, Floats b) { return Floats(~a & DWords(b)); }
ZV_MMX ZV_INLINE int32_t lowest(Floats a) { return lowest(DWords(a)); }

// a1 a0
ZV_3DNOW_EXT ZV_INLINE Floats swapped(Floats a)
{
#ifdef __clang__
    Floats result;
    asm("pswapd %1, %0" : "=y"(result) : "y"(a));
    return result;
#else
    return __builtin_ia32_pswapdsf(a);
#endif
}
} // namespace zv::mmx_ops
