// The tables that a resampler's rebuild derives from its taps, and the kernels that run on them.
//
// An output at position p, in 1/over of an input sample, has the phase r = p mod over and begins at the
// sample q + lead, q = floor(p / over). The taps that it meets are those of row r, in the order of the
// samples:
//   row r, entry k = prototype[(k + lead) * over - r]
// Tap 0 of a windowed sinc is 0; then lead is 1, and no row is longer than taps_count / over.
//
// Samples that carry 16 bits in their upper halves (8- and 16-bit streams) have a narrow form: the taps are
// cut into signed pieces of 16 bits or less, so small that no 32-bit sum over a row can overflow, whatever
// the samples. The piece sums are put together in 64 bits, so the result is exact.
#pragma once
#include "core/fixed.h"
#include "core/select.h"
#include "core/simd.h"
#include <zovek/resampler.h>

namespace zv::resampler {
struct Tables;

// Where in the stream a run of outputs begins.
struct Position {
    int32_t sample; // q
    int32_t phase;  // r, below over
};

// Converts `outputs` outputs from at on, reading t.samples and writing out.
using Kernel = void (*)(const Tables& t, int32_t* out, int32_t outputs, Position at);
// Copies the upper halves; true if the lower halves are all 0, so that nothing is lost.
using Pack = bool (*)(int16_t* to, const int32_t* from, int32_t count);

inline constexpr int32_t front_samples = 128; // readable in front of t.samples, any value
inline constexpr int32_t back_samples = 160;  // zeros behind the last new sample
inline constexpr int32_t lanes = 16;          // outputs of one step of a lane kernel
inline constexpr int32_t lane_reach = 8;      // largest under / over of a lane kernel

struct Tables {
    Kernel wide; // 32-bit samples, from rows; null where these have no room: the plain loop serves
    const int32_t* prototype; // for the plain loop
    Kernel
        narrow; // 16-bit samples, from row_pieces or lane_pieces; null where that has no room or isn't exact
    Pack pack;  // samples for narrow
    int32_t over;
    int32_t lead;               // 0 or 1
    int32_t taps;               // of the longest row
    int32_t row_taps;           // stride of rows, taps up to a multiple of 16: zeros fill up
    int32_t* rows;              // [over][row_taps], Q31
    int16_t* row_pieces;        // [over][pieces][row_taps]; tap = sum of piece k * 2^(k * piece_bits)
    int32_t pieces, piece_bits; // 2 or 3, low ones of piece_bits bits
    // Lane kernels: outputs in the order of the stream. Entry i belongs to the phase i * under mod over, and
    // the first lanes - 1 follow once more, so that a load at any i stays in the row.
    int16_t* lane_pieces; // [pieces][pairs of taps][lane_stride][2]
    int32_t lane_stride;  // entries of a row, in pairs
    int32_t inverse;      // under * inverse = 1 modulo over: entry of a phase
    // k outputs on: k * under / over and k * under mod over.
    alignas(64) int32_t lane_samples[lanes];
    alignas(64) int32_t lane_phase[lanes];
    void* samples; // history and block as a kernel wants them, int32_t or int16_t
};

// The position k outputs on, k below lanes. Positions of a group don't wait for each other, and no branch is
// taken, which nothing could predict.
ZV_INLINE Position ahead(const Tables& t, Position at, int32_t k)
{
    const int32_t past = at.phase + t.lane_phase[k] - t.over;
    const bool wraps = past >= 0;
    return {at.sample + t.lane_samples[k] + wraps, wraps ? past : past + t.over};
}

// A sum of Q31 x Q31 times over: floor(sum * over / 2^31) of the exact product, saturated. The product has 95
// bits, so the sum is cut at bit 31: sum = high * 2^31 + low.
ZV_INLINE int32_t scaled(int64_t sum, int32_t over)
{
    const int64_t high = sum >> 31, low = sum & INT32_MAX;
    return sat32(high * over + ((low * over) >> 31));
}

bool pack_scalar(int16_t* to, const int32_t* from, int32_t count);
void wide_scalar(const Tables& t, int32_t* out, int32_t outputs, Position at);
bool pack_avx2(int16_t* to, const int32_t* from, int32_t count);
void wide_avx2(const Tables& t, int32_t* out, int32_t outputs, Position at);
void narrow_sse2(const Tables& t, int32_t* out, int32_t outputs, Position at);
void narrow_avx2(const Tables& t, int32_t* out, int32_t outputs, Position at);
// For over and under without a common factor, under at most lane_reach * over.
void narrow_lanes_avx512(const Tables& t, int32_t* out, int32_t outputs, Position at);

// Of 16-bit samples: lane kernels, for ratios that they take, then kernels from rows, the last of them null,
// for there 32-bit samples serve; and of 32-bit samples.
inline constexpr size_t lane_kernels = 1;
extern const Rows<Kernel> narrow_rows, wide_rows;
} // namespace zv::resampler
