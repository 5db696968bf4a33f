// What the files of the resampler share.
#pragma once
#include "resample/resampler_kernels.h"

namespace zv::resampler {
// Fills the design array with the prototype and hands it to store_routine.
void design(ZVResampler32* self);
// The library's store_routine: makes the public table, and the private ones anew.
void store(ZVResampler32* self, const double* taps, int32_t count);

// Private tables stand behind the recorded capacity of work_block, in this much room: enough for the record
// of the tables, and for the tables themselves where an output meets several taps.
uint32_t private_bytes(uint64_t capacity);
// The tables of a laid-out object.
Tables& tables_of(const ZVResampler32* self);
// Makes them anew from the coefficients, with kernels for the processor record as it stands.
void build_tables(ZVResampler32* self);
} // namespace zv::resampler
