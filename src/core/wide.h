// Vectors in one vocabulary for all sets. A kernel file includes wide_sse2.h, wide_avx2.h or wide_avx512.h,
// which end with this file; what is written in these words compiles for any of them. All of it is internal to
// the file, because each set compiles its own. The set's own part:
//
//   ZV_SET                    the set, as an attribute
//   Words, DWords, QWords     a register of 16-bit values, and of unsigned ones of 32 and 64 bits, which wrap
//   Floats, Reals             one register of float, and of double
//   multiply_add(sum, a, b)   sum + products of Words, added in pairs; vnni::multiply_add is the same on VNNI
//   totals(rows)              lane k: the sum of all lanes of rows[k], one row a lane
//   madd(a, b, c)             a b + c, nmadd: c - a b; rounded once if fused, and then msub of Reals: a b - c
//   widen(v)                  16- or 32-bit values or floats as Floats or Reals with as many lanes
//   narrow(v, to)             Reals as doubles or floats, Floats as floats
//   even_products(a, b)       the 64-bit products of lanes 0, 2, 4, ... as signed values; not on SSE2
//   upper_words(a, b)         the upper halves of all lanes of a, then of b; not on SSE2
#pragma once
#include <utility>

namespace zv::wide {
namespace {
// From and to any address: whole numbers as they lie, others from and to what memory has.
template <class V, class T>
ZV_SET ZV_INLINE V load(const T* from)
{
    if constexpr (std::is_integral_v<Lane<V>>) {
        V lanes;
        __builtin_memcpy(&lanes, from, sizeof lanes);
        return lanes;
    } else {
        Lanes<T, width<V>> lanes;
        __builtin_memcpy(&lanes, from, sizeof lanes);
        return widen(lanes);
    }
}

template <class V, class T>
ZV_SET ZV_INLINE void store(T* to, V value)
{
    if constexpr (std::is_integral_v<Lane<V>>)
        __builtin_memcpy(to, &value, sizeof value);
    else {
        Lanes<T, width<V>> lanes;
        narrow(value, lanes);
        __builtin_memcpy(to, &lanes, sizeof lanes);
    }
}

// A value in a register for all its uses, where GCC 12 would load it for each.
template <class V>
ZV_SET ZV_INLINE V kept(V value)
{
    asm("" : "+v"(value));
    return value;
}

// In every lane.
template <class V>
ZV_SET ZV_INLINE V all(Lane<V> value)
{
    return value - V{};
}

// A shuffle of two vectors of n lanes: lane i of the result is entry index(i, n) of a | b.
template <auto index>
struct Shuffle {
    template <class V>
    ZV_SET ZV_INLINE V operator()(V a, V b) const
    {
        return pick(a, b, std::make_integer_sequence<int, width<V>>());
    }

private:
    template <class V, int... i>
    ZV_SET ZV_INLINE static V pick(V a, V b, std::integer_sequence<int, i...>)
    {
        return __builtin_shufflevector(a, b, index(i, width<V>)...);
    }
};
// Entries 0, 2, 4, ... of both, and 1, 3, 5, ...
constexpr Shuffle<[](int i, int) { return 2 * i; }> even;
constexpr Shuffle<[](int i, int) { return 2 * i + 1; }> odd;
// The lower halves of both, alternating, and the upper ones.
constexpr Shuffle<[](int i, int n) { return i / 2 + i % 2 * n; }> low;
constexpr Shuffle<[](int i, int n) { return n / 2 + i / 2 + i % 2 * n; }> high;
// b's first, then a backwards down to its second.
constexpr Shuffle<[](int i, int n) { return n - i; }> mirror;
// Lane i is b's where bit i mod 8 of mask is set, else a's.
template <unsigned mask>
constexpr Shuffle<[](int i, int n) { return (mask & 1 << i % 8) != 0 ? n + i : i; }> blend;
} // namespace
} // namespace zv::wide
