// FIR convolution: result i = cut(sum over t of taps[t] x[i D + t - (N - 1)]), modular sums.
// past holds the samples before x, oldest first, as many as there are; silence before them.
#pragma once
#include "fixed.h"

namespace reference {
using Samples16 = std::vector<int16_t>;
using Samples32 = std::vector<int32_t>;

template <class Value, class Product, class Cut>
auto convolve(const std::vector<Value>& taps, const std::vector<Value>& x, int32_t decimation,
              const std::vector<Value>& past, Product product, Cut cut)
{
    const auto order = ptrdiff_t(taps.size()) - 1;
    std::vector<decltype(cut(product(0, 0)))> out(x.size() / size_t(decimation));
    for (size_t i = 0; i < out.size(); ++i) {
        auto sum = product(0, 0); // unsigned, so it wraps
        for (ptrdiff_t t = 0; t <= order; ++t)
            sum += product(taps[size_t(t)], sample_at(x, past, ptrdiff_t(i) * decimation + t - order));
        out[i] = cut(sum);
    }
    return out;
}

// Q15 x Q15 summed in 32 bits, the upper halves of Q31 x Q31 likewise, or Q31 x Q31 in 64 bits
inline constexpr auto product16 = [](int32_t tap, int32_t x) { return uint32_t(tap * x); };
inline constexpr auto product_high = [](int32_t tap, int32_t x) { return uint32_t(top16(tap) * top16(x)); };
inline constexpr auto product32 = [](int32_t tap, int32_t x) { return uint64_t(int64_t(tap) * x); };

inline Samples16 fir1616(const Samples16& taps, const Samples16& x, int32_t decimation = 1,
                         const Samples16& past = {})
{
    const auto bits_15_to_30 = [](uint32_t sum) { return int16_t(sum >> 15); };
    return convolve(taps, x, decimation, past, product16, bits_15_to_30);
}
inline Samples32 fir1632(const Samples16& taps, const Samples16& x, int32_t decimation = 1,
                         const Samples16& past = {})
{
    const auto doubled = [](uint32_t sum) { return int32_t(sum << 1); };
    return convolve(taps, x, decimation, past, product16, doubled);
}
inline Samples32 fir3232_exact(const Samples32& taps, const Samples32& x, int32_t decimation = 1,
                               const Samples32& past = {})
{
    const auto bits_31_to_62 = [](uint64_t sum) { return int32_t(sum >> 31); };
    return convolve(taps, x, decimation, past, product32, bits_31_to_62);
}
inline Samples32 fir3232_high(const Samples32& taps, const Samples32& x, int32_t decimation = 1,
                              const Samples32& past = {})
{
    const auto doubled = [](uint32_t sum) { return int32_t(sum << 1); };
    return convolve(taps, x, decimation, past, product_high, doubled);
}

// The samples at places of the parity of phase, the others 0; place 0 is x[origin].
inline Samples32 every_second(Samples32 x, size_t origin, int32_t phase)
{
    for (size_t k = 0; k < x.size(); ++k)
        if ((k + origin + size_t(phase)) % 2) x[k] = 0;
    return x;
}
// Samples of x at places of the parity of phase count, and so on back into past.
inline Samples32 fir3232_process2_exact(const Samples32& taps, const Samples32& x, int32_t phase,
                                        const Samples32& past = {})
{
    return fir3232_exact(taps, every_second(x, 0, phase), 1, every_second(past, past.size(), phase));
}
inline Samples32 fir3232_process2_high(const Samples32& taps, const Samples32& x, int32_t phase,
                                       const Samples32& past = {})
{
    return fir3232_high(taps, every_second(x, 0, phase), 1, every_second(past, past.size(), phase));
}
} // namespace reference
