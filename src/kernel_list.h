// Every choice of kernel that the library makes, for programs that tell which kernels a processor gets. It
// stands above the families; the shared library doesn't export it.
#pragma once
#include <cstdint>
#include <span>
#include <zovek/cpu.h>

namespace zv {
struct ChosenKernel {
    const char *name, *words; // of the row, as select.h says
    const void* kernel;       // its code or table, to be compared alone; null where another family's serves
};
struct KernelFamily {
    const char* name; // the object or function that runs the kernel
    // What it gets on a processor with these wider sets.
    ChosenKernel (*choose)(const ZVCPUInfo& cpu, uint32_t wider);
};
std::span<const KernelFamily> kernel_families();
} // namespace zv
