// From the prototype to the tables of the kernels, and the choice of kernels.
#include "core/round_up.h"
#include "resample/resampler.h"
#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace zv::resampler {
// All kernels, of both tables where both apply, give the same bits.
// clang-format off
static constexpr Row<Kernel> narrow[] = {
    {has(sse2 | avx2 | avx512 | avx512vnni), "avx512", "AVX-512 VNNI", narrow_lanes_avx512},
    {has(sse2 | avx2),                       "avx2",   "AVX2",         narrow_avx2},
    {has(sse2),                              "sse2",   "SSE2",         narrow_sse2},
    {otherwise,                              "scalar", "scalar",       nullptr},
};
static constexpr Row<Kernel> wide[] = {
    {has(sse2 | avx2),                       "avx2",   "AVX2",         wide_avx2},
    {otherwise,                              "scalar", "scalar",       wide_scalar},
};
static constexpr Row<Pack> packs[] = {
    {has(sse2 | avx2),                       "avx2",   "AVX2",         pack_avx2},
    {otherwise,                              "scalar", "scalar",       pack_scalar},
};
// clang-format on
constinit const Rows<Kernel> narrow_rows = narrow, wide_rows = wide;

uint32_t private_bytes(uint64_t capacity)
{
    constexpr uint64_t least = 16384, most = 1 << 24;
    return static_cast<uint32_t>(std::min(capacity + least, most));
}

Tables& tables_of(const ZVResampler32* self)
{
    return *reinterpret_cast<Tables*>(
        to_line(reinterpret_cast<uintptr_t>(self->work_block) + self->work_block_bytes));
}

// Areas at 64 bytes, one behind the other, up to a limit.
struct Carver {
    uintptr_t next, limit;

    template <class T>
    T* take(uint64_t count)
    {
        const uintptr_t start = to_line(next);
        if (start > limit || count > (limit - start) / sizeof(T)) return nullptr;
        next = start + static_cast<uintptr_t>(count) * sizeof(T);
        return reinterpret_cast<T*>(start);
    }
};

static void fill_rows(Tables& t, const int32_t* prototype, int32_t count)
{
    std::fill_n(t.rows, size_t(t.over) * size_t(t.row_taps), 0);
    for (int32_t tap = 0; tap < count; ++tap) {
        if (prototype[tap] == 0) continue;
        const int32_t place = tap / t.over + (tap % t.over != 0); // k + lead
        const int32_t phase = static_cast<int32_t>(int64_t(place) * t.over - tap);
        t.rows[size_t(phase) * size_t(t.row_taps) + size_t(place - t.lead)] = prototype[tap];
    }
}

// How a tap is cut: low pieces of `bits` bits, -2^(bits-1) to 2^(bits-1) - 1, and the rest on top.
struct Cut {
    static constexpr int32_t most = 3;
    int32_t pieces, bits;

    void operator()(int32_t tap, int32_t (&piece)[most]) const
    {
        const int64_t half = int64_t(1) << (bits - 1);
        int64_t rest = tap;
        for (int32_t k = 0; k < pieces - 1; ++k) {
            piece[k] = static_cast<int32_t>(((rest + half) & (2 * half - 1)) - half);
            rest = (rest - piece[k]) >> bits;
        }
        piece[pieces - 1] = static_cast<int32_t>(rest);
    }
};

// Samples reach -2^15, so a sum of products stays within 32 bits where the pieces of a row, taken absolutely,
// add up to less than 2^16. The pieces themselves have 16 bits.
static bool is_safe(const Tables& t, const Cut& cut)
{
    for (int32_t r = 0; r < t.over; ++r) {
        uint64_t sums[Cut::most] = {};
        for (int32_t k = 0; k < t.taps; ++k) {
            int32_t piece[Cut::most];
            cut(t.rows[size_t(r) * size_t(t.row_taps) + size_t(k)], piece);
            for (int32_t p = 0; p < cut.pieces; ++p) {
                if (piece[p] != int16_t(piece[p])) return false;
                sums[p] += static_cast<uint64_t>(std::abs(piece[p]));
            }
        }
        if (*std::max_element(sums, sums + cut.pieces) >= 1 << 16) return false;
    }
    return true;
}

// The cut with the fewest pieces; false if there is none. The sum of all pieces, times over, is made in 64
// bits: with samples of 2^15 the taps of a row times over must stay below 2^47, and for a sum of Q31 samples
// that doesn't wrap in 64 bits, the taps of a row below 2^32.
static bool find_cut(Tables& t)
{
    for (int32_t r = 0; r < t.over; ++r) {
        const int32_t* row = t.rows + size_t(r) * size_t(t.row_taps);
        uint64_t sum = 0;
        for (int32_t k = 0; k < t.taps; ++k) sum += static_cast<uint64_t>(std::llabs(row[k]));
        if (sum >> 32 != 0 || sum > (uint64_t(1) << 47) / uint64_t(t.over)) return false;
    }
    for (t.pieces = 2; t.pieces <= Cut::most; ++t.pieces)
        for (t.piece_bits = 15; t.piece_bits >= 8; --t.piece_bits)
            if (is_safe(t, {t.pieces, t.piece_bits})) return true;
    return false;
}

static void fill_row_pieces(Tables& t)
{
    const size_t stride = size_t(t.row_taps);
    for (int32_t r = 0; r < t.over; ++r)
        for (size_t k = 0; k < stride; ++k) {
            int32_t piece[Cut::most];
            Cut{t.pieces, t.piece_bits}(t.rows[size_t(r) * stride + k], piece);
            for (int32_t p = 0; p < t.pieces; ++p)
                t.row_pieces[(size_t(r) * size_t(t.pieces) + size_t(p)) * stride + k] =
                    static_cast<int16_t>(piece[p]);
        }
}

static int32_t pairs_of(const Tables& t) { return (t.taps + 1) / 2; }

static void fill_lane_pieces(Tables& t)
{
    const int32_t pairs = pairs_of(t);
    const auto pair_row = [&](int32_t piece, int32_t pair) {
        return (size_t(piece) * size_t(pairs) + size_t(pair)) * size_t(t.lane_stride) * 2;
    };
    Position at = {0, 0};
    for (int32_t entry = 0; entry < t.lane_stride; ++entry, at = ahead(t, at, 1)) {
        if (entry < t.over && at.phase == 1 % t.over) t.inverse = entry;
        for (int32_t k = 0; k < 2 * pairs; ++k) {
            int32_t piece[Cut::most];
            Cut{t.pieces, t.piece_bits}(t.rows[size_t(at.phase) * size_t(t.row_taps) + size_t(k)], piece);
            for (int32_t p = 0; p < t.pieces; ++p)
                t.lane_pieces[pair_row(p, k / 2) + 2 * size_t(entry) + size_t(k % 2)] =
                    static_cast<int16_t>(piece[p]);
        }
    }
}

void build_tables(ZVResampler32* self)
{
    const uint64_t start = reinterpret_cast<uintptr_t>(self->work_block) + self->work_block_bytes;
    Carver room = {uintptr_t(start), uintptr_t(start + private_bytes(self->work_block_bytes))};
    Tables& t = *room.take<Tables>(1);
    const int32_t over = self->over, under = self->under, count = self->taps_count;
    t = {.over = over};
    for (int32_t k = 0; k < lanes; ++k) {
        constexpr int64_t beyond = 1 << 30; // further than any block, and sums with it stay in 32 bits
        t.lane_samples[k] = static_cast<int32_t>(std::min(int64_t(k) * under / over, beyond));
        t.lane_phase[k] = static_cast<int32_t>(int64_t(k) * under % over);
    }

    const int32_t* prototype = self->coefficients;
    int32_t last = count - 1;
    while (last > 0 && prototype[last] == 0) --last;
    t.lead = prototype[0] == 0;
    t.taps = std::max(last / over + (last % over != 0) - t.lead + 1, 1);
    t.row_taps = round_up<16>(t.taps);

    const uint64_t samples = uint64_t(self->history_length) + uint64_t(self->buffer_size);
    const Carver behind_record = room;
    auto* area = room.take<int32_t>(front_samples + samples + back_samples);
    t.rows = room.take<int32_t>(uint64_t(over) * uint64_t(t.row_taps));
    if (!area || !t.rows) { // then a copy of the prototype has room, but for one of millions of taps
        room = behind_record;
        auto* copy = room.take<int32_t>(uint64_t(count));
        if (copy) std::copy_n(prototype, count, copy);
        t.prototype = copy ? copy : prototype;
        return;
    }
    t.samples = area + front_samples;
    fill_rows(t, prototype, count);
    t.wide = select(wide_rows).kernel;
    t.pack = select(Rows<Pack>(packs)).kernel;

    const Kernel best = select(narrow_rows).kernel,
                 by_rows = select(narrow_rows.subspan(lane_kernels)).kernel;
    const bool lanes_fit = std::gcd(over, under) == 1 && under <= lane_reach * int64_t(over);
    const Kernel by_lanes = best != by_rows && lanes_fit ? best : nullptr;
    if ((!by_rows && !by_lanes) || !find_cut(t)) return;
    t.lane_stride = round_up<16>(over + lanes - 1);
    if (by_lanes && (t.lane_pieces = room.take<int16_t>(uint64_t(t.pieces) * uint64_t(pairs_of(t)) *
                                                        uint64_t(t.lane_stride) * 2))) {
        fill_lane_pieces(t);
        t.narrow = by_lanes;
    } else if ((t.row_pieces =
                    room.take<int16_t>(uint64_t(t.pieces) * uint64_t(over) * uint64_t(t.row_taps)))) {
        fill_row_pieces(t);
        t.narrow = by_rows;
    }
}
} // namespace zv::resampler
