// Another processor for a scope: the open record and the wider sets, put back at its end.
#pragma once
#include "core/select.h"
#include <algorithm>
#include <vector>

namespace test {
class OnProcessor {
public:
    OnProcessor(uint32_t classification, uint32_t features, uint32_t sets = 0, uint32_t extended = 0)
        : record_(*_CPU()), sets_(zv::wider_sets)
    {
        _CPU()->classification = classification;
        _CPU()->features = features;
        _CPU()->extended_features = extended;
        zv::wider_sets = sets;
    }
    ~OnProcessor()
    {
        *_CPU() = record_;
        zv::wider_sets = sets_;
    }
    OnProcessor(const OnProcessor&) = delete;
    OnProcessor& operator=(const OnProcessor&) = delete;

private:
    ZVCPUInfo record_;
    uint32_t sets_;
};

// A feature bit for runs_here: SSE brings the extended MMX instructions.
inline constexpr uint32_t sse = ZV_CPU_SSE;
// Bits of extended_features.
inline constexpr uint32_t amd_mmx_ext = 1u << 22, amd_3dnow_ext = 1u << 30, amd_3dnow = 1u << 31;

// Whether this machine has all these feature bits and wider sets.
inline bool runs_here(uint32_t features, uint32_t sets = 0)
{
    return (_CPU()->features & features) == features && (zv::wider_sets & sets) == sets;
}

// The kernels of a table that this machine can run, each once.
template <class Kernel>
std::vector<zv::Row<Kernel>> running_here(zv::Rows<Kernel> rows)
{
    std::vector<zv::Row<Kernel>> found;
    for (const zv::Row<Kernel>& row : rows) {
        const bool taken = std::any_of(found.begin(), found.end(),
                                       [&](const auto& other) { return other.kernel == row.kernel; });
        if (!taken && row.when.has_sets(*_CPU(), zv::wider_sets)) found.push_back(row);
    }
    return found;
}
} // namespace test
