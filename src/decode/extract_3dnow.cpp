// Autocorrelation and envelope on 3DNow!: float throughout, two values at a time. Reciprocals and reciprocal
// roots are the processor's approximations with their two refinement steps (Newton-Raphson), right to 1 ulp
// or so.
#include "core/3dnow.h"
#include "decode/extract_kernels.h"
#include <cstddef>

namespace zv::extract {
using namespace mmx_ops;

// 1 / a0 in both places.
ZV_3DNOW ZV_INLINE Floats reciprocal(Floats a)
{
    const Floats both = low_pair(a, a), rough = rough_reciprocal(a);
    return last_step(reciprocal_step(both, rough), rough);
}

// a / sqrt(a); 0 for 0, which has no reciprocal root.
ZV_3DNOW ZV_INLINE Floats root(Floats a)
{
    const Floats rough = low_pair(rough_reciprocal_root(a), rough_reciprocal_root(high_pair(a, a)));
    const Floats reciprocal_root = last_step(reciprocal_root_step(a, product(rough, rough)), rough);
    return without(equal(DWords(a), DWords{}), product(a, reciprocal_root));
}

// One or two values from and to memory; one has 0 beside it.
ZV_3DNOW ZV_INLINE Floats take1(const float* from)
{
    return Floats(DWords{*reinterpret_cast<const AnyDWord*>(from), 0});
}
ZV_3DNOW ZV_INLINE Floats take2(const float* from)
{
    return Floats(reinterpret_cast<const AnyQWord*>(from)->value);
}
ZV_3DNOW ZV_INLINE void put1(float* to, Floats a) { *reinterpret_cast<AnyDWord*>(to) = mmx_ops::lowest(a); }
ZV_3DNOW ZV_INLINE void put2(float* to, Floats a) { reinterpret_cast<AnyQWord*>(to)->value = QWord(a); }
ZV_3DNOW ZV_INLINE bool is_zero(Floats a) { return mmx_ops::lowest(a) == 0; }

// Scales count values in place; their sum.
ZV_3DNOW ZV_INLINE Floats scaled(float* values, uint32_t count, Floats scale)
{
    Floats sum = {};
    uint32_t k = 0;
    for (; k + 2 <= count; k += 2) {
        const Floats v = product(take2(values + k), scale);
        put2(values + k, v);
        sum = sum2(sum, v);
    }
    if (k < count) {
        const Floats v = product(take1(values + k), scale);
        put1(values + k, v);
        sum = sum2(sum, v);
    }
    return fold(sum, sum);
}

// ---- Autocorrelation, lags 1 to lags ----
ZV_3DNOW ZV_NOINLINE static void correlate(const float* in, float* out, int32_t length, int32_t lags)
{
    Floats largest = {};
    for (int32_t j = lags - 1; j >= 0; --j) {
        const int32_t terms = lags < length - j - 1 ? lags : length - j - 1;
        const float* later = in + j + 1;
        Floats sum = {};
        int32_t k = 0;
        for (; k + 2 <= terms; k += 2) sum = sum2(sum, product(take2(in + k), take2(later + k)));
        if (k < terms) sum = sum2(sum, product(take1(in + k), take1(later + k)));
        const Floats magnitude = without(DWords{INT32_MIN, INT32_MIN}, fold(sum, sum));
        put1(out + j, magnitude);
        largest = higher(largest, magnitude);
    }
    if (!is_zero(largest)) scaled(out, static_cast<uint32_t>(lags), reciprocal(largest));
}

void correlate_3dnow(const float* in, float* out, int32_t length, int32_t lags)
{
    const MmxScope mmx;
    correlate(in, out, length, lags);
}

// ---- Envelope ----
// Amplitudes of two I/Q pairs.
ZV_3DNOW ZV_INLINE Floats amplitudes(Words pairs)
{
    const Floats first = to_floats(shift_right<16>(DWords(low_words(pairs, pairs))));
    const Floats second = to_floats(shift_right<16>(DWords(high_words(pairs, pairs))));
    return root(fold(product(first, first), product(second, second)));
}

// The sum of the scaled values goes to sum.
ZV_3DNOW ZV_NOINLINE static void amplitude(const int16_t* in, float* out, uint32_t count, float* sum)
{
    constexpr int infinity = 0x7F800000;
    Floats lowest = Floats(DWords{infinity, infinity}), highest = {};
    uint32_t k = 0;
    for (; k + 2 <= count; k += 2) {
        const Floats both = amplitudes(load4(in + 2 * size_t(k)));
        put2(out + k, both);
        lowest = lower(lowest, both);
        highest = higher(highest, both);
    }
    if (k < count) { // the last one, twice
        const Floats both = amplitudes(twice2(in + 2 * size_t(k)));
        put1(out + k, both);
        lowest = lower(lowest, both);
        highest = higher(highest, both);
    }
    lowest = lower(lowest, high_pair(lowest, lowest));
    highest = higher(highest, high_pair(highest, highest));
    put1(sum, Floats{});
    if (!is_zero(highest)) put1(sum, scaled(out, count, reciprocal(sum2(lowest, highest))));
}

long double amplitude_3dnow(const int16_t* in, float* out, uint32_t count)
{
    float sum;
    {
        const MmxScope mmx;
        amplitude(in, out, count, &sum);
    }
    return static_cast<long double>(sum) / count;
}
} // namespace zv::extract
