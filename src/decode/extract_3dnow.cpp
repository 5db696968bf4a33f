// Autocorrelation and envelope on 3DNow!: float throughout, two values at a time. Reciprocals and reciprocal roots
// are the processor's approximations with their two refinement steps (Newton-Raphson), right to 1 ulp or so.
#include "core/mmx.h"
#include "decode/extract_kernels.h"
#include <cstddef>

namespace zv::extract {
using namespace mmx_ops;

// ---- Operations on two floats, the lower first. In assembler: compilers are giving the intrinsics up. ----
using Pair = DWords;
#define ZV_PAIR_OP(name, instruction)                                                                        \
    ZV_MMX_OP Pair name(Pair a, Pair b)                                                                      \
    {                                                                                                        \
        asm(instruction " %1, %0" : "+y"(a) : "y"(b));                                                       \
        return a;                                                                                            \
    }
ZV_PAIR_OP(sum2, "pfadd")
ZV_PAIR_OP(product, "pfmul")
ZV_PAIR_OP(lower, "pfmin")
ZV_PAIR_OP(higher, "pfmax")
ZV_PAIR_OP(fold, "pfacc")                    // a0 + a1, b0 + b1
ZV_PAIR_OP(reciprocal_step, "pfrcpit1")      // from the value and its approximate reciprocal
ZV_PAIR_OP(reciprocal_root_step, "pfrsqit1") // from the value and its squared approximate reciprocal root
ZV_PAIR_OP(last_step, "pfrcpit2")            // from either and the approximation
ZV_PAIR_OP(equal, "pcmpeqd")                 // all bits where a = b, as integers
ZV_PAIR_OP(without, "pandn")                 // b without the bits of a
#undef ZV_PAIR_OP

ZV_MMX_OP Pair to_floats(DWords a)
{
    Pair floats;
    asm("pi2fd %1, %0" : "=y"(floats) : "y"(a));
    return floats;
}

// 1 / a0 and 1 / sqrt(a0) to 14 and 15 bits, in both places.
ZV_MMX_OP Pair rough_reciprocal(Pair a)
{
    Pair r;
    asm("pfrcp %1, %0" : "=y"(r) : "y"(a));
    return r;
}
ZV_MMX_OP Pair rough_reciprocal_root(Pair a)
{
    Pair r;
    asm("pfrsqrt %1, %0" : "=y"(r) : "y"(a));
    return r;
}

// 1 / a0 in both places.
ZV_MMX_OP Pair reciprocal(Pair a)
{
    const Pair both = low_pair(a, a), rough = rough_reciprocal(a);
    return last_step(reciprocal_step(both, rough), rough);
}

// a / sqrt(a); 0 for 0, which has no reciprocal root.
ZV_MMX_OP Pair root(Pair a)
{
    const Pair rough = low_pair(rough_reciprocal_root(a), rough_reciprocal_root(high_pair(a, a)));
    const Pair reciprocal_root = last_step(reciprocal_root_step(a, product(rough, rough)), rough);
    return without(equal(a, Pair{}), product(a, reciprocal_root));
}

// One or two values from and to memory; one has 0 beside it.
using AnyDWord = int __attribute__((may_alias));
ZV_MMX_OP Pair take1(const float* from) { return Pair{*reinterpret_cast<const AnyDWord*>(from), 0}; }
ZV_MMX_OP Pair take2(const float* from) { return Pair(*reinterpret_cast<const AnyQWord*>(from)); }
ZV_MMX_OP void put1(float* to, Pair a)
{
    *reinterpret_cast<AnyDWord*>(to) = __builtin_ia32_vec_ext_v2si(a, 0);
}
ZV_MMX_OP void put2(float* to, Pair a) { *reinterpret_cast<AnyQWord*>(to) = QWord(a); }
ZV_MMX_OP bool is_zero(Pair a) { return __builtin_ia32_vec_ext_v2si(a, 0) == 0; }

// Scales count values in place; their sum.
ZV_MMX_OP Pair scaled(float* values, uint32_t count, Pair scale)
{
    Pair sum = {};
    uint32_t k = 0;
    for (; k + 2 <= count; k += 2) {
        const Pair v = product(take2(values + k), scale);
        put2(values + k, v);
        sum = sum2(sum, v);
    }
    if (k < count) {
        const Pair v = product(take1(values + k), scale);
        put1(values + k, v);
        sum = sum2(sum, v);
    }
    return fold(sum, sum);
}

// ---- Autocorrelation, lags 1 to lags ----
ZV_MMX static void correlate(const float* in, float* out, int32_t length, int32_t lags)
{
    Pair largest = {};
    for (int32_t j = lags - 1; j >= 0; --j) {
        const int32_t terms = lags < length - j - 1 ? lags : length - j - 1;
        const float* later = in + j + 1;
        Pair sum = {};
        int32_t k = 0;
        for (; k + 2 <= terms; k += 2) sum = sum2(sum, product(take2(in + k), take2(later + k)));
        if (k < terms) sum = sum2(sum, product(take1(in + k), take1(later + k)));
        const Pair magnitude = without(Pair{INT32_MIN, INT32_MIN}, fold(sum, sum));
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
ZV_MMX_OP Pair amplitudes(Words pairs)
{
    const Pair first = to_floats(shift_right(DWords(low_words(pairs, pairs)), 16));
    const Pair second = to_floats(shift_right(DWords(high_words(pairs, pairs)), 16));
    return root(fold(product(first, first), product(second, second)));
}

// The sum of the scaled values goes to sum.
ZV_MMX static void amplitude(const int16_t* in, float* out, uint32_t count, float* sum)
{
    constexpr int infinity = 0x7F800000;
    Pair lowest = {infinity, infinity}, highest = {};
    uint32_t k = 0;
    for (; k + 2 <= count; k += 2) {
        const Pair both = amplitudes(load4(in + 2 * size_t(k)));
        put2(out + k, both);
        lowest = lower(lowest, both);
        highest = higher(highest, both);
    }
    if (k < count) { // the last one, twice
        const int last = *reinterpret_cast<const AnyDWord*>(in + 2 * size_t(k));
        const Pair both = amplitudes(Words(Pair{last, last}));
        put1(out + k, both);
        lowest = lower(lowest, both);
        highest = higher(highest, both);
    }
    lowest = lower(lowest, high_pair(lowest, lowest));
    highest = higher(highest, high_pair(highest, highest));
    put1(sum, Pair{});
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
