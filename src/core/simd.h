// What kernels for an instruction set share.
#pragma once
#include <cstdint>

// The instruction sets, as attributes of one function or lambda: what the bits of the same names in
// core/cpu.h promise, and no more. An attribute and not a flag of the file: an inline helper compiled for a
// wider set could otherwise be merged by the linker into code for older processors. A file that is included
// for several sets has ZV_SET, which the including one defines. No product is fused with a sum
// (-ffp-contract=off) but where the code says so.
#define ZV_SSE2   __attribute__((target("sse2")))
#define ZV_AVX2   __attribute__((target("avx2,fma")))
#define ZV_AVX512 __attribute__((target("avx2,fma,avx512f,avx512bw,avx512dq,avx512vl")))
// VNNI is AVX-512 and one operation more, in assembler: vnni::multiply_add of core/wide_avx512.h.
#ifdef __clang__ // whose operations on MMX registers are in assembler, where a set needs no name
#define ZV_MMX       __attribute__((target("mmx")))
#define ZV_MMX_EXT   __attribute__((target("mmx,sse")))
#define ZV_3DNOW     ZV_MMX
#define ZV_3DNOW_EXT ZV_MMX
#else // which makes SSE2 code of them where it may
#define ZV_MMX       __attribute__((target("mmx,no-sse2")))
#define ZV_MMX_EXT   __attribute__((target("mmx,sse,no-sse2")))
#define ZV_3DNOW     __attribute__((target("3dnow,no-sse2")))
#define ZV_3DNOW_EXT __attribute__((target("3dnowa,no-sse2")))
#endif

#define ZV_INLINE   inline __attribute__((always_inline))
#define ZV_NOINLINE __attribute__((noinline))

// A kernel that clients reach through a record's code pointer realigns the stack on i386, as exports do.
#if defined(__i386__)
#define ZV_ENTRY __attribute__((force_align_arg_pointer))
#else
#define ZV_ENTRY
#endif

namespace zv {
// Leaves the floating-point unit usable at the end of a scope that ran MMX code.
struct MmxScope {
    ~MmxScope() { asm volatile("emms" ::: "memory"); }
};
} // namespace zv
