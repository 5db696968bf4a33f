// MMX operations by name. On x86-64 GCC makes SSE2 code of MMX vectors unless SSE2 is off for the whole function,
// so what uses them is a ZV_MMX function of its own (ZV_MMX_EXT for extended MMX), called and not inlined, and
// the caller holds an MmxScope. Clang keeps to MMX by itself.
#pragma once
#include "core/simd.h"

#ifdef __clang__
#define ZV_MMX_SET     ZV_TARGET("mmx")
#define ZV_MMX_EXT_SET ZV_TARGET("mmx,sse")
#else
#define ZV_MMX_SET     ZV_TARGET("mmx,no-sse2")
#define ZV_MMX_EXT_SET ZV_TARGET("mmx,sse,no-sse2")
#endif
#define ZV_MMX        ZV_MMX_SET __attribute__((noinline))
#define ZV_MMX_EXT    ZV_MMX_EXT_SET __attribute__((noinline))
#define ZV_MMX_OP     ZV_MMX_SET ZV_INLINE
#define ZV_MMX_EXT_OP ZV_MMX_EXT_SET ZV_INLINE

namespace zv::mmx_ops {
using Words = short __attribute__((vector_size(8), may_alias)); // four of 16 bits, the lowest first
using DWords = int __attribute__((vector_size(8), may_alias));  // two of 32 bits
using QWord = long long __attribute__((vector_size(8), may_alias));

using AnyQWord = long long __attribute__((vector_size(8), may_alias, aligned(1)));

// From any address.
ZV_MMX_OP Words load4(const int16_t* from) { return Words(*reinterpret_cast<const AnyQWord*>(from)); }
ZV_MMX_OP DWords load2(const int32_t* from) { return DWords(*reinterpret_cast<const AnyQWord*>(from)); }

// Products of words, summed in pairs: a0 b0 + a1 b1, a2 b2 + a3 b3.
ZV_MMX_OP DWords multiply_add(Words a, Words b) { return __builtin_ia32_pmaddwd(a, b); }
ZV_MMX_OP DWords add(DWords a, DWords b) { return __builtin_ia32_paddd(a, b); }
ZV_MMX_OP DWords shift_right(DWords a, int bits) { return __builtin_ia32_psradi(a, bits); }

ZV_MMX_OP DWords low_pair(DWords a, DWords b) { return __builtin_ia32_punpckldq(a, b); }  // a0 b0
ZV_MMX_OP DWords high_pair(DWords a, DWords b) { return __builtin_ia32_punpckhdq(a, b); } // a1 b1
ZV_MMX_OP Words low_words(Words a, Words b) { return __builtin_ia32_punpcklwd(a, b); }    // a0 b0 a1 b1
ZV_MMX_OP Words high_words(Words a, Words b) { return __builtin_ia32_punpckhwd(a, b); }   // a2 b2 a3 b3
ZV_MMX_OP Words narrow(DWords a, DWords b)
{
    return __builtin_ia32_packssdw(a, b);
} // saturating: a0 a1 b0 b1

// a0 + a1
ZV_MMX_OP uint32_t sum(DWords a)
{
    a = add(a, DWords(__builtin_ia32_psrlqi(QWord(a), 32)));
    return static_cast<uint32_t>(__builtin_ia32_vec_ext_v2si(a, 0));
}
} // namespace zv::mmx_ops
