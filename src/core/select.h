// A choice of kernel as a table: rows are searched in order, the first that applies to the processor record and
// has an entry in the wanted column wins.
#pragma once
#include "core/cpu.h"
#include <cstddef>
#include <cstdint>

namespace zv {
// When a row applies: on a processor with all the sets that its kernels are made for, and, if it names classes, of
// one of these. A class alone is no ground for a kernel: some processors of a class, and most virtual ones, lack what
// the class is known for, and the search goes on there.
class When {
public:
    template <class... Codes>
    constexpr When(Set needed, Codes... codes) : needed_(needed), codes_{codes...}
    {
    }
    constexpr bool applies(const ZVCPUInfo& cpu, uint32_t wider) const
    {
        return (sets_of(cpu, wider) & needed_) == needed_ &&
               (codes_[0] == 0 || is_listed(cpu.classification));
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

template <class Row, size_t Rows, class Entry>
constexpr Entry select(const Row (&rows)[Rows], Entry Row::*column, const ZVCPUInfo& cpu)
{
    for (const Row& row : rows)
        if (row.*column && row.when.applies(cpu, wider_sets)) return row.*column;
    return nullptr;
}
} // namespace zv
