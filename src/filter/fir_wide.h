// FIR convolution on wide vectors, once for all sets, in the words of core/wide.h: each fir_<set>.cpp
// includes this file in a namespace that has them and
//
//   unroll          vectors of results at a time at full rate: as many as registers allow, twice
//
// No include guard, since AVX-512 has it twice: multiply_add is that of the namespace. Sums wrap at 32 bits,
// so the order of adding is free and all sets agree to the bit.

// Of sums. When decimating also the results at a time, one row of sums each.
constexpr int lanes = width<DWords>;

// The two 16-bit values at p, in every lane; and 0 and the one at p.
ZV_SET ZV_INLINE Words pairs(const int16_t* p)
{
    uint32_t both;
    __builtin_memcpy(&both, p, sizeof both);
    return Words(all<DWords>(both));
}
ZV_SET ZV_INLINE Words first_pair(const int16_t* p) { return Words(all<DWords>(uint32_t(*p) << 16)); }

// Results of the Q30 sums of even and of odd ones. To Q15: bits 15 to 30, those of odd results already in the
// upper half of their lane.
ZV_SET ZV_INLINE void put(int16_t* to, DWords even_sums, DWords odd_sums)
{
    store(to, blend<0xAA>(Words(even_sums >> 15), Words(odd_sums << 1)));
}
ZV_SET ZV_INLINE void put(int32_t* to, DWords even_sums, DWords odd_sums)
{
    store(to, low(even_sums << 1, odd_sums << 1));
    store(to + lanes, high(even_sums << 1, odd_sums << 1));
}
// Results of their sums.
ZV_SET ZV_INLINE void put(int16_t* to, DWords sums)
{
    const auto q15 = __builtin_convertvector(sums >> 15, Lanes<int16_t, lanes>);
    __builtin_memcpy(to, &q15, sizeof q15);
}
ZV_SET ZV_INLINE void put(int32_t* to, DWords sums) { store(to, sums << 1); }

// Upper halves of 32-bit values; writes up to 2 * lanes - 1 more.
ZV_SET ZV_INLINE void pack(int16_t* to, const int32_t* from, int32_t count)
{
    for (int32_t k = 0; k < count; k += 2 * lanes)
        store(to + k, upper_words(load<DWords>(from + k), load<DWords>(from + k + lanes)));
}

// Full rate: lanes are results, not taps. A load at an even offset u from the span of result 2i is the pairs
// x[2i+u], x[2i+u+1]. With the taps u, u+1 in every lane it goes to the sums of even results, with the taps
// u-1, u to those of odd results: no shuffle, no sum across lanes, two multiply-adds a load. The tap behind
// the last one is zero. Reads 2 * lanes * Vectors samples from each offset on.
template <int Vectors, class Result>
ZV_SET void full_rate(const int16_t* taps, int32_t count, const int16_t* x, Result* to)
{
    DWords even[Vectors] = {}, odd[Vectors] = {};
    const auto take = [&](int32_t u, Words for_even, Words for_odd) ZV_SET __attribute__((always_inline))
    {
#pragma GCC unroll 8
        for (int v = 0; v < Vectors; ++v) {
            const Words samples = kept(load<Words>(x + u + 2 * lanes * v));
            even[v] = multiply_add(even[v], samples, for_even);
            odd[v] = multiply_add(odd[v], samples, for_odd);
        }
    };
    take(0, pairs(taps), first_pair(taps));
    for (int32_t u = 2; u < count; u += 2) take(u, pairs(taps + u), pairs(taps + u - 1));
#pragma GCC unroll 8
    for (int v = 0; v < Vectors; ++v) put(to + 2 * lanes * v, even[v], odd[v]);
}

// The rest of a block: fewer than 2 * lanes * unroll results by the least number of vectors that holds them.
template <int Vectors, class Result>
ZV_SET void full_rate_rest(const int16_t* taps, int32_t count, const int16_t* x, Result* to, int32_t results)
{
    if constexpr (Vectors > 1)
        if (results <= lanes * Vectors) return full_rate_rest<Vectors / 2>(taps, count, x, to, results);
    alignas(64) Result whole[2 * lanes * Vectors];
    full_rate<Vectors>(taps, count, x, whole);
    __builtin_memcpy(to, whole, size_t(results) * sizeof(Result));
}

// Decimating: a row of sums for each of a group of results, added up across lanes all at once. Taps are zero
// up to a multiple of 32, so up to 31 samples past a span count nothing.
template <class Result, class Start>
ZV_SET void group_of(const int16_t* taps, int32_t count, Start start, Result* to)
{
    DWords rows[lanes] = {};
    for (int32_t t = 0; t < count; t += 2 * lanes) {
        const Words h = load<Words>(taps + t);
#pragma GCC unroll 16
        for (int k = 0; k < lanes; ++k) rows[k] = multiply_add(rows[k], load<Words>(start(k) + t), h);
    }
    put(to, totals(rows));
}

template <class Result>
ZV_SET void decimate(const int16_t* taps, int32_t count, const int16_t* x, int32_t decimation, Result* to,
                     int32_t results)
{
    const ptrdiff_t step = decimation;
    int32_t i = 0;
    for (; results - i >= lanes; i += lanes)
        group_of(
            taps, count, [=](int k) { return x + (i + k) * step; }, to + i);
    if (i == results) return;
    alignas(64) Result last[lanes]; // rows past the last result repeat it
    group_of(
        taps, count, [=](int k) { return x + std::min(i + k, results - 1) * step; }, last);
    __builtin_memcpy(to + i, last, size_t(results - i) * sizeof(Result));
}

template <class Result>
ZV_SET void filter_block(const int16_t* taps, int32_t count, const int16_t* x, int32_t decimation, Result* to,
                         int32_t results)
{
    if (decimation > 1) return decimate(taps, count, x, decimation, to, results);
    constexpr int32_t whole = 2 * lanes * unroll;
    for (; results >= whole; results -= whole, x += whole, to += whole) full_rate<unroll>(taps, count, x, to);
    if (results > 0) full_rate_rest<unroll>(taps, count, x, to, results);
}

template <class Result>
ZV_SET void convolve_16(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto* taps = static_cast<const int16_t*>(self->taps);
    const auto block = [=, n = self->taps_count](const int16_t* history, Result* to, int32_t results)
                           ZV_SET { filter_block(taps, n, history, decimation, to, results); };
    run<int16_t, Result>(self, out, count, decimation, block);
}

// Upper halves: taps and history are packed to 16 bits behind the output, once a block.
ZV_SET void convolve_high(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const auto block = [=](const int32_t* history, int32_t* to, int32_t results) ZV_SET {
        const int32_t n = self->taps_count;
        const PackedSpans packed = packed_spans(self);
        pack(packed.taps, static_cast<const int32_t*>(self->taps), (n + 15) / 16 * 16);
        if (n % 32 <= 16) __builtin_memset(packed.taps + n / 32 * 32 + 16, 0, 16 * sizeof(int16_t));
        pack(packed.history, history, n - 1 + results * decimation);
        filter_block(packed.taps, n, packed.history, decimation, to, results);
    };
    run<int32_t, int32_t>(self, out, count, decimation, block);
}
