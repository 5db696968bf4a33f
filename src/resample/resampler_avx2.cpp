// Resampling on AVX2: one inner product an output; eight outputs of 16-bit samples, or four of 32-bit ones,
// are summed across at once. Loads are unaligned on the samples, up to 15 samples behind a row's taps, times
// zero.
#include "core/wide_avx2.h"
#include "resample/resampler_kernels.h"
#include <algorithm>
#include <cstddef>
#include <cstring>

namespace zv::resampler {
using namespace wide;
using Ints = Lanes<int32_t, 8>;

// Where the spans and rows of the next outputs begin, eight at once as ahead() tells them: samples from the
// start of the samples, and taps from that of a table with rows stride apart. What lies past the end repeats
// the first.
struct Group {
    alignas(32) int32_t span[8], row[8];

    ZV_SET ZV_INLINE Group(const Tables& t, Position at, int32_t stride, int32_t outputs)
    {
        const Ints over = all<Ints>(t.over), phase = load<Ints>(t.lane_phase) + at.phase;
        const Ints stays = phase < over; // -1 where there is no wrap
        store(span, load<Ints>(t.lane_samples) + (at.sample + t.lead + 1) + stays);
        store(row, (phase - (over & ~stays)) * stride);
        for (int32_t k = outputs; k < 8; ++k) {
            span[k] = span[0];
            row[k] = row[0];
        }
    }
};

// floor(sum of sums[p] * 2^(p * bits) * over / 2^15), saturated; the exact value has 62 bits or less.
template <int32_t Pieces>
ZV_SET static ZV_INLINE Ints put_together(const DWords (&sums)[Pieces], uint64_t bits, DWords over)
{
    QWords even = {}, odd = {};
    for (int32_t p = Pieces - 1; p >= 0; --p) {
        even = (even << bits) + even_products(sums[p], over);
        odd = (odd << bits) + even_products(DWords(QWords(sums[p]) >> 32), over);
    }
    const auto low = blend<0xAA>(Ints(even >> 15), Ints(odd << 17));
    const auto high = blend<0xAA>(Ints(even >> 32), Ints(odd));
    // It fits if bits 46 to 63 are all copies of the sign.
    const Ints sign = high >> 31, fits = (high >> 14) == sign;
    return fits ? low : sign ^ INT32_MAX;
}

template <int32_t Pieces>
ZV_SET static ZV_INLINE void narrow_pieces(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    const auto bits = static_cast<uint64_t>(t.piece_bits);
    const auto over = DWords(all<Ints>(t.over));
    const auto* x = static_cast<const int16_t*>(t.samples);
    for (; outputs > 0; outputs -= 8, out += 8, at = ahead(t, at, 8)) {
        const Group group(t, at, Pieces * t.row_taps, outputs);
        DWords sums[Pieces];
#pragma GCC unroll 3
        for (int32_t p = 0; p < Pieces; ++p) {
            const int16_t* taps = t.row_pieces + p * t.row_taps;
            const auto add = [&](DWords& sum, int32_t k, int32_t n) ZV_SET {
                sum = multiply_add(sum, load<Words>(x + group.span[k] + n),
                                   load<Words>(taps + group.row[k] + n));
            };
            DWords v[8] = {};
            for (int32_t k = 0; k < 8; ++k) add(v[k], k, 0);
            for (int32_t n = 16; n < t.row_taps; n += 16)
                for (int32_t k = 0; k < 8; ++k) add(v[k], k, n);
            sums[p] = totals(v);
        }
        const Ints y = put_together(sums, bits, over);
        if (outputs >= 8)
            store(out, y);
        else
            memcpy(out, &y, size_t(outputs) * sizeof *out);
    }
}

ZV_SET void narrow_avx2(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    if (t.pieces == 2)
        narrow_pieces<2>(t, out, outputs, at);
    else
        narrow_pieces<3>(t, out, outputs, at);
}

// 16 samples a pass.
ZV_SET bool pack_avx2(int16_t* to, const int32_t* from, int32_t count)
{
    int32_t k = 0;
    DWords bits = {};
    for (; k + 16 <= count; k += 16) {
        const auto a = load<DWords>(from + k), b = load<DWords>(from + k + 8);
        bits |= a | b;
        store(to + k, upper_words(a, b));
    }
    const bool exact = _mm256_testz_si256((__m256i)bits, _mm256_set1_epi32(0xFFFF));
    return pack_scalar(to + k, from + k, count - k) && exact;
}

// Four sums of 64 bits, of which lane k is that of the span and row k of a group, from first on. The
// multiplication takes the even lanes, a shift brings the odd ones there.
ZV_SET static ZV_INLINE QWords four_sums(const Tables& t, const Group& group, int32_t first)
{
    const auto* samples = static_cast<const int32_t*>(t.samples);
    QWords v[4] = {};
    for (int32_t n = 0; n < t.row_taps; n += 8)
        for (int32_t k = 0; k < 4; ++k) {
            const auto x = kept(load<DWords>(samples + group.span[first + k] + n));
            const auto taps = kept(load<DWords>(t.rows + group.row[first + k] + n));
            v[k] +=
                even_products(x, taps) + even_products(DWords(QWords(x) >> 32), DWords(QWords(taps) >> 32));
        }
    const QWords ab = low(v[0], v[1]) + high(v[0], v[1]), cd = low(v[2], v[3]) + high(v[2], v[3]);
    return __builtin_shufflevector(ab, cd, 0, 1, 4, 5) + __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
}

ZV_SET void wide_avx2(const Tables& t, int32_t* out, int32_t outputs, Position at)
{
    for (; outputs > 0; outputs -= 8, out += 8, at = ahead(t, at, 8)) {
        const Group group(t, at, t.row_taps, outputs);
        alignas(32) int64_t sums[8];
        for (int32_t first = 0; first < std::min(outputs, 8); first += 4)
            store(sums + first, four_sums(t, group, first));
        for (int32_t k = 0; k < std::min(outputs, 8); ++k) out[k] = scaled(sums[k], t.over);
    }
}
} // namespace zv::resampler
