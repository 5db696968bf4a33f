// The kernels that the library's families run on this processor, as the library itself tells.
#pragma once
#include <vector>

namespace client {
struct FamilyKernel {
    const char* family;
    const char *name, *words; // of the kernel, in short and for users
};
std::vector<FamilyKernel> kernels();

// Instruction sets beyond the processor record's, as far as the operating system saves their registers.
struct WiderSets {
    bool avx2;   // with FMA
    bool avx512; // F, BW, DQ, VL
    bool vnni;   // AVX-512 VNNI
};
WiderSets wider_sets();
} // namespace client
