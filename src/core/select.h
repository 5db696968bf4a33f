// A choice of kernel as a table: rows are searched in order, and the first that applies to the processor
// record wins.
#pragma once
#include "core/cpu.h"
#include <cstdint>
#include <span>

namespace zv {
// When a row applies: on a processor with all the sets that its kernels are made for, and, if it names
// classes, of one of these. A class alone is no ground for a kernel: some processors of a class, and most
// virtual ones, lack what the class is known for, and the search goes on there.
class When {
public:
    template <class... Codes>
    constexpr When(Set needed, Codes... codes) : needed_(needed), codes_{codes...}
    {
    }
    constexpr bool applies(const ZVCPUInfo& cpu, uint32_t wider) const
    {
        return has_sets(cpu, wider) && (codes_[0] == 0 || is_listed(cpu.classification));
    }
    // Whether the kernels can run, be they chosen or not.
    constexpr bool has_sets(const ZVCPUInfo& cpu, uint32_t wider) const
    {
        return (sets_of(cpu, wider) & needed_) == needed_;
    }

private:
    constexpr bool is_listed(uint32_t classification) const
    {
        for (const uint32_t code : codes_)
            if (code != 0 && code == classification) return true;
        return false;
    }
    Set needed_;
    uint32_t codes_[4];
};

// On these classes, exactly, that have the set.
template <class... Codes>
constexpr When on(Set needed, Codes... codes)
{
    static_assert(sizeof...(codes) > 0);
    return {needed, codes...};
}
constexpr When has(Set needed) { return {needed}; }
inline constexpr When otherwise = {baseline};

// A kernel, and what it is called: in short, as no other of its table is, and in words for users.
template <class Kernel>
struct Row {
    When when;
    const char *name, *words;
    Kernel kernel;
};
// A table. Its last row is for any processor.
template <class Kernel>
using Rows = std::span<const Row<Kernel>>;

template <class Kernel>
constexpr const Row<Kernel>& select(Rows<Kernel> rows, const ZVCPUInfo& cpu = *_CPU(),
                                    uint32_t wider = wider_sets)
{
    for (const Row<Kernel>& row : rows)
        if (row.when.applies(cpu, wider)) return row;
    return rows.back();
}
} // namespace zv
