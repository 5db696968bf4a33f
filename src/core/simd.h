// What kernels for an instruction set share.
#pragma once
#include <cstdint>

// The instruction set of one function or lambda. An attribute and not a flag of the file: an inline helper
// compiled for a wider set could otherwise be merged by the linker into code for older processors.
#define ZV_TARGET(set) __attribute__((target(set)))
#define ZV_INLINE      inline __attribute__((always_inline))

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
