// Tone correlation on wide vectors, once for all sets, in the words of core/wide.h: each
// tone_detector_corr_<set>.cpp includes this file in a namespace that has them and
//
//   unroll          vectors of results at a time
//
// No include guard, since AVX-512 has it twice: multiply_add is that of the namespace.
//
// Lanes are results, not positions, so no sum runs across lanes: a load at an even offset u from the window
// of result 2i is the pairs x[2i+u], x[2i+u+1]. With the entries u, u+1 in every lane it goes to the sums of
// even results, with the entries u-1, u to those of odd results.

constexpr int lanes = width<DWords>;

// Sums of a vector of results.
struct Sums {
    DWords sine, cosine;
};

ZV_SET ZV_INLINE Words pair(int16_t first, int16_t second)
{
    return Words(all<DWords>(uint16_t(first) | uint32_t(uint16_t(second)) << 16));
}

// S^2 + C^2 of lanes 0, 2, 4, ... in 64 bits, and of lanes 1, 3, 5, ...
ZV_SET ZV_INLINE QWords power(const Sums& sums)
{
    return even_products(sums.sine, sums.sine) + even_products(sums.cosine, sums.cosine);
}
ZV_SET ZV_INLINE QWords power_above(const Sums& sums)
{
    return power({DWords(QWords(sums.sine) >> 32), DWords(QWords(sums.cosine) >> 32)});
}

// 2 * lanes results of the sums of even and of odd ones: bits 45 to 60 of four powers to the four words of
// each 64 bits.
ZV_SET ZV_INLINE void put(int16_t* to, const Sums& even_sums, const Sums& odd_sums)
{
    const auto first = Words(power(even_sums) >> 45), second = Words(power(odd_sums) >> (45 - 16));
    const auto third = Words(power_above(even_sums) >> (45 - 32)), fourth = Words(power_above(odd_sums) << 3);
    store(to, blend<0xCC>(blend<0x22>(first, second), blend<0x88>(third, fourth)));
}

// Reads 2 * lanes * Vectors samples from each offset up to the number of positions, rounded up to a group.
template <int Vectors>
ZV_SET void correlate(const int16_t* table, uint32_t groups, const int16_t* x, int16_t* to)
{
    Sums even[Vectors] = {}, odd[Vectors] = {};
    const auto take = [&](Sums(&sums)[Vectors], const int16_t* from, Words sine, Words cosine) ZV_SET
        __attribute__((always_inline))
    {
#pragma GCC unroll 4
        for (int v = 0; v < Vectors; ++v) {
            const Words samples = kept(load<Words>(from + 2 * lanes * v));
            sums[v].sine = multiply_add(sums[v].sine, samples, sine);
            sums[v].cosine = multiply_add(sums[v].cosine, samples, cosine);
        }
    };
    int16_t last_sine = 0, last_cosine = 0;
    for (uint32_t g = 0; g < groups; ++g, x += 4, table += 8) {
        const int16_t *sine = table, *cosine = table + 4;
        take(even, x, pair(sine[0], sine[1]), pair(cosine[0], cosine[1]));
        take(odd, x, pair(last_sine, sine[0]), pair(last_cosine, cosine[0]));
        take(even, x + 2, pair(sine[2], sine[3]), pair(cosine[2], cosine[3]));
        take(odd, x + 2, pair(sine[1], sine[2]), pair(cosine[1], cosine[2]));
        last_sine = sine[3], last_cosine = cosine[3];
    }
    take(odd, x, pair(last_sine, 0), pair(last_cosine, 0));
#pragma GCC unroll 4
    for (int v = 0; v < Vectors; ++v) put(to + 2 * lanes * v, even[v], odd[v]);
}

ZV_SET inline void correlate_block(const int16_t* table, uint32_t positions, const int16_t* x, int16_t* to,
                                   uint32_t count)
{
    constexpr uint32_t one = 2 * lanes, whole = one * unroll;
    const uint32_t groups = (positions + 3) / 4;
    for (; count >= whole; count -= whole, x += whole, to += whole) correlate<unroll>(table, groups, x, to);
    for (; count >= one; count -= one, x += one, to += one) correlate<1>(table, groups, x, to);
    if (count == 0) return;
    int16_t results[one];
    correlate<1>(table, groups, x, results);
    __builtin_memcpy(to, results, count * sizeof *to);
}
