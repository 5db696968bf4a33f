// The frame of a spectrum kernel, the object's private tables, and all kernels.
#pragma once
#include "core/round_up.h"
#include "core/select.h"
#include "core/simd.h"
#include <cstdint>
#include <cstring>
#include <zovek/fft2_float.h>

namespace zv::fft {
template <class Sample>
using RealTransform = void (*)(ZVFFT* self, const Sample* samples, uint32_t count);
template <class Sample>
using PairTransform = void (*)(ZVFFT* self, const Sample* i, const Sample* q, uint32_t count);
template <class Sample>
using BandTransform = void (*)(ZVFFT* self, const Sample* samples, uint32_t count, uint32_t first,
                               uint32_t last);

// What the passes of a transform work on; without lanes it is the plain form, which needs no private tables.
struct Vector {
    uint32_t lanes;      // a power of two
    uint32_t lane_bytes; // sizeof(float) or sizeof(double)
};

// Everything that one processor row does, loading to module. The band transforms are null for doubles.
struct Kernel {
    RealTransform<int16_t> real_16;
    RealTransform<int32_t> real_32;
    PairTransform<int16_t> pair_16;
    PairTransform<int32_t> pair_32;
    BandTransform<int16_t> band_16;
    BandTransform<int32_t> band_32;
    Vector real, pairs;
};

extern const Kernel float_portable, float_3dnow, float_3dnow_ext, float_sse2, float_avx2, float_avx512;
extern const Kernel double_portable, double_sse2, double_avx2, double_avx512;

// Of ZVFFT2Float and of ZVFFT.
extern const Rows<const Kernel*> float_rows, double_rows;
// An object of either kind with a kernel of that kind; see the Constructs.
ZVFFT* make_float(ZVFFT* self, const Kernel& kernel);
ZVFFT* make_double(ZVFFT* self, const Kernel& kernel);

// Gives the object its block, tables and cleared results for size samples, a power of two. False and no
// change when memory can't be had. Real is the type of the result arrays.
template <class Real>
bool resize(ZVFFT* self, uint32_t size, const Kernel& kernel);

// Private tables, behind the public areas of the object's block, in the type of the lanes. For H complex
// points in M = H / lanes vectors:
//   M / 2 pairs sin, cos: twiddle[bit_reverse[c]], the factor of block c in any stage of whole vectors;
//   then for each tile of `lanes` bins and each block of each of its log2(lanes) stages a vector of sines
//   and a vector of cosines.
// Sizes below lanes^2 have none and run in the plain form.
struct alignas(64) Private {
    const Kernel* kernel;
    void *real, *pairs; // the tables of the two transforms, perhaps the same
    bool mirrors;       // twiddle[H - k] is twiddle[k] with the other sign of the cosine, k < H / 2
};

inline Private* private_of(const ZVFFT* self)
{
    const auto end = reinterpret_cast<uintptr_t>(self->window + self->buffer_size);
    return reinterpret_cast<Private*>(to_line(end));
}

// A block shorter than whole samples is filled up with zeros, in room: the result arrays, which have space
// for two such blocks of H or one of S 32-bit samples and aren't written before all input is read.
template <class Sample>
const Sample* fill_up(void* room, const Sample* samples, uint32_t count, uint32_t whole)
{
    if (count >= whole) return samples;
    auto* block = static_cast<Sample*>(room);
    memcpy(block, samples, count * sizeof(Sample));
    memset(block + count, 0, (whole - count) * sizeof(Sample));
    return block;
}

// The samples of a block, whole in any case.
template <class Sample>
const Sample* real_block(ZVFFT* self, const Sample* samples, uint32_t count)
{
    return fill_up(self->module, samples, count, self->buffer_size);
}

template <class Sample>
struct Pairs {
    const Sample *i, *q;
};
template <class Sample>
Pairs<Sample> pair_block(ZVFFT* self, const Sample* i, const Sample* q, uint32_t count)
{
    const uint32_t whole = self->half_size;
    return {fill_up(self->module, i, count, whole),
            fill_up(static_cast<Sample*>(self->module) + whole, q, count, whole)};
}

// Bins first to last of the samples in work (S floats), the others 0.
void band_dft(ZVFFT* self, uint32_t first, uint32_t last);
// The same with loading on the floating-point unit.
void band_16(ZVFFT* self, const int16_t* samples, uint32_t count, uint32_t first, uint32_t last);
void band_32(ZVFFT* self, const int32_t* samples, uint32_t count, uint32_t first, uint32_t last);
} // namespace zv::fft
