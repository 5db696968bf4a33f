// The kernel that each family of the library gets on a processor.
//
// The library exports no names of kernels, so the choice stands here a second time, a table a family in the order
// in which it is searched; a test holds it against the library's own.
#pragma once
#include <cstdint>
#include <span>
#include <zovek/cpu.h>

namespace client {
// Instruction sets beyond the record's, as far as the operating system saves their registers.
enum WiderSet : uint32_t {
    avx2 = 1,   // with FMA
    avx512 = 2, // F, BW, DQ, VL
    vnni = 4,   // AVX-512 VNNI
};
uint32_t wider_sets();

// When a row applies: on a processor that has all the sets, and is one of the classes if any are named.
struct KernelCondition {
    uint32_t sets = 0; // as kernels.cpp numbers them
    uint32_t codes[4] = {};
};
struct KernelRow {
    KernelCondition when;
    const char *name, *words;
};
struct KernelFamily {
    const char* name;
    std::span<const KernelRow> rows; // the last one always applies
};

std::span<const KernelFamily> kernel_families();
// The family must be one of the list.
const KernelFamily& kernel_family(const char* name);
const KernelRow& kernel_of(const KernelFamily& family, const ZVCPUInfo& cpu, uint32_t sets);
} // namespace client
