// MMX operations by name. What uses them is a function of its own, ZV_NOINLINE, on ZV_MMX or ZV_MMX_EXT, and
// the caller holds an MmxScope.
//
// GCC has them as built-in functions, and on x86-64 makes SSE2 code of them unless SSE2 is off for the whole
// function. Clang gave them up, so there they are in assembler; between them it moves values by way of
// general registers or, on x86-64, those of SSE2: slower, and as right.
#pragma once
#include "core/simd.h"

#ifdef __clang__
#define ZV_MMX_TWO(set, name, Operand, Result, instruction)                                                  \
    set ZV_INLINE Result name(Operand a, Operand b)                                                          \
    {                                                                                                        \
        asm(#instruction " %1, %0" : "+y"(a) : "y"(b));                                                      \
        return Result(a);                                                                                    \
    }
#define ZV_MMX_ONE(set, name, Operand, Result, instruction)                                                  \
    set ZV_INLINE Result name(Operand a)                                                                     \
    {                                                                                                        \
        Result result;                                                                                       \
        asm(#instruction " %1, %0" : "=y"(result) : "y"(a));                                                 \
        return result;                                                                                       \
    }
#define ZV_MMX_FIXED(set, name, Vector, instruction, builtin)                                                \
    template <int fixed>                                                                                     \
    set ZV_INLINE Vector name(Vector a)                                                                      \
    {                                                                                                        \
        Vector result = a;                                                                                   \
        asm(instruction : "+y"(result) : "y"(a), "i"(fixed));                                                \
        return result;                                                                                       \
    }
#else
#define ZV_MMX_TWO(set, name, Operand, Result, instruction)                                                  \
    set ZV_INLINE Result name(Operand a, Operand b) { return Result(__builtin_ia32_##instruction(a, b)); }
#define ZV_MMX_ONE(set, name, Operand, Result, instruction)                                                  \
    set ZV_INLINE Result name(Operand a) { return Result(__builtin_ia32_##instruction(a)); }
#define ZV_MMX_FIXED(set, name, Vector, instruction, builtin)                                                \
    template <int fixed>                                                                                     \
    set ZV_INLINE Vector name(Vector a)                                                                      \
    {                                                                                                        \
        return Vector(__builtin_ia32_##builtin(a, fixed));                                                   \
    }
#endif

namespace zv::mmx_ops {
using Words = short __attribute__((vector_size(8), may_alias)); // four of 16 bits, the lowest first
using DWords = int __attribute__((vector_size(8), may_alias));  // two of 32 bits
using QWord = long long __attribute__((vector_size(8), may_alias));

struct __attribute__((packed, may_alias)) AnyQWord { // at any address
    QWord value;
};
using AnyDWord = int __attribute__((may_alias, aligned(1)));

// From any address.
ZV_MMX ZV_INLINE Words load4(const int16_t* from)
{
    return Words(reinterpret_cast<const AnyQWord*>(from)->value);
}
ZV_MMX ZV_INLINE DWords load2(const int32_t* from)
{
    return DWords(reinterpret_cast<const AnyQWord*>(from)->value);
}
// Two words, and the same two again.
ZV_MMX ZV_INLINE Words twice2(const int16_t* from)
{
    const int both = *reinterpret_cast<const AnyDWord*>(from);
    return Words(DWords{both, both});
}

// clang-format off
ZV_MMX_TWO(ZV_MMX, multiply_add, Words,  DWords, pmaddwd)   // products in pairs: a0 b0 + a1 b1, a2 b2 + a3 b3
ZV_MMX_TWO(ZV_MMX, add,          DWords, DWords, paddd)
ZV_MMX_TWO(ZV_MMX, equal,        DWords, DWords, pcmpeqd)   // all bits where a = b
ZV_MMX_TWO(ZV_MMX, low_pair,     DWords, DWords, punpckldq) // a0 b0
ZV_MMX_TWO(ZV_MMX, high_pair,    DWords, DWords, punpckhdq) // a1 b1
ZV_MMX_TWO(ZV_MMX, low_words,    Words,  Words,  punpcklwd) // a0 b0 a1 b1
ZV_MMX_TWO(ZV_MMX, high_words,   Words,  Words,  punpckhwd) // a2 b2 a3 b3
ZV_MMX_TWO(ZV_MMX, narrow,       DWords, Words,  packssdw)  // saturating: a0 a1 b0 b1
ZV_MMX_FIXED(ZV_MMX,     shift_right, DWords, "psrad %2, %0",      psradi) // each, with its sign
ZV_MMX_FIXED(ZV_MMX,     shift_all,   QWord,  "psrlq %2, %0",      psrlqi) // to the right
ZV_MMX_FIXED(ZV_MMX_EXT, shuffled,    Words,  "pshufw %2, %1, %0", pshufw) // two bits tell which word, the lowest first
// clang-format on

// a1 0
ZV_MMX ZV_INLINE DWords high_alone(DWords a) { return DWords(shift_all<32>(QWord(a))); }

// a0
ZV_MMX ZV_INLINE int32_t lowest(DWords a)
{
#ifdef __clang__
    int32_t value;
    asm("movd %1, %0" : "=r"(value) : "y"(a));
    return value;
#else
    return __builtin_ia32_vec_ext_v2si(a, 0);
#endif
}

// a0 + a1
ZV_MMX ZV_INLINE uint32_t sum(DWords a) { return static_cast<uint32_t>(lowest(add(a, high_alone(a)))); }
} // namespace zv::mmx_ops
