// What the owners of a FIR filter, and its own source files, ask beyond its exports.
#pragma once
#include "core/round_up.h"
#include <cstddef>
#include <cstdint>
#include <zovek/fir.h>

namespace zv::fir {
// Bytes that a block has behind its recorded capacity: for vector kernels that read past the last sample, and
// for the 16-bit copies of a ZVFIR3232's taps and history, which take up to a quarter of the layout.
constexpr uint64_t slack(uint64_t bytes) { return bytes / 4 + 1024; }

// Makes storage hold the layout for these sizes (clamped as the setters do), which a later setter then gets
// for certain. The present layout, its taps and its history stay; false and no change when memory can't be
// had.
bool reserve(ZVFIR* self, int32_t taps, int32_t block);

// Where a kernel puts the upper halves of a ZVFIR3232's taps (room for whole runs of 32) and history: behind
// the output, at 64-byte boundaries.
struct PackedSpans {
    int16_t *taps, *history;
};
inline PackedSpans packed_spans(const ZVFIR* self)
{
    const auto output = reinterpret_cast<uintptr_t>(self->out_buffer);
    const uintptr_t taps = to_line(output + size_t(self->buffer_size) * sizeof(int32_t));
    const uintptr_t history = to_line(taps + size_t(self->taps_count) * sizeof(int16_t));
    return {reinterpret_cast<int16_t*>(taps), reinterpret_cast<int16_t*>(history)};
}

// Designs the taps anew from the settings and loads them. The history stays.
void redesign(ZVFIR* self);
} // namespace zv::fir
