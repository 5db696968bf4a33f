// The one file of the client that sees into the library.
#include "kernels.h"
#include "core/cpu.h"
#include "kernel_list.h"

namespace client {
std::vector<FamilyKernel> kernels()
{
    std::vector<FamilyKernel> all;
    for (const zv::KernelFamily& family : zv::kernel_families()) {
        const zv::ChosenKernel chosen = family.choose(*_CPU(), zv::wider_sets);
        all.push_back({family.name, chosen.name, chosen.words});
    }
    return all;
}

WiderSets wider_sets()
{
    const auto has = [](zv::Set set) { return (zv::wider_sets & set) != 0; };
    return {has(zv::avx2), has(zv::avx512), has(zv::avx512vnni)};
}
} // namespace client
