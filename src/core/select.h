// A choice of kernel as a table: rows are searched in order, the first that applies to the processor record and
// has an entry in the wanted column wins.
#pragma once
#include "core/cpu.h"
#include <cstddef>
#include <cstdint>

namespace zv {
// When a row applies: on one of the classification codes, or with all the feature bits and all the wider sets.
// Codes are tested exactly, whatever the feature bits say.
struct When {
    uint32_t codes[4] = {};
    uint32_t features = 0;
    uint32_t sets = 0;
};

template <class... Codes>
constexpr When on(Codes... codes)
{
    return {.codes = {codes...}};
}
constexpr When has(uint32_t features, uint32_t sets = 0) { return {.features = features, .sets = sets}; }
inline constexpr When otherwise = {};

constexpr bool applies(const When& when, const ZVCPUInfo& cpu, uint32_t sets)
{
    if (when.codes[0] == 0)
        return (cpu.features & when.features) == when.features && (sets & when.sets) == when.sets;
    for (const uint32_t code : when.codes)
        if (code != 0 && code == cpu.classification) return true;
    return false;
}

template <class Row, size_t Rows, class Entry>
constexpr Entry select(const Row (&rows)[Rows], Entry Row::*column, const ZVCPUInfo& cpu)
{
    for (const Row& row : rows)
        if (row.*column && applies(row.when, cpu, wider_sets)) return row.*column;
    return nullptr;
}
} // namespace zv
