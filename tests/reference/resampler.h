// Resampling by over / under: the formula, output by output, on the whole stream, without ordered phases or
// history. Samples and taps are Q31; products are added in 64 bits.
#pragma once
#include "fixed.h"
#include <algorithm>

namespace reference {
struct Resampler {
    int32_t over = 1, under = 1;
    std::vector<int32_t> taps; // the prototype

    // Windowed sinc at 85 % of the lower Nyquist frequency, Blackman window 0.42/0.5/0.08, sum 1.
    static std::vector<int32_t> design(int32_t over, int32_t under, int32_t count)
    {
        const real g = real(0.85f) / std::max(over, under), span = count - 1;
        std::vector<real> h(static_cast<size_t>(count), 0);
        real sum = 0;
        for (int32_t k = 0; k < count; ++k) {
            const real m = k - span / 2; // from the centre
            const real w = real(0.42) + real(0.5) * std::cos(2 * pi * m / span) +
                           real(0.08) * std::cos(4 * pi * m / span);
            h[size_t(k)] = m == 0 ? g : w * std::sin(m * pi * g) / (pi * m);
            sum += h[size_t(k)];
        }
        std::vector<int32_t> taps;
        for (const real v : h)
            taps.push_back(v / sum >= 1 ? INT32_MAX : plain<int32_t>(to_double(v / sum) * real(INT32_MAX)));
        return taps;
    }

    // The outputs that the samples x bring, in blocks: x[k] for k in the past is 0, and so is the sample that
    // follows a block at the time of the block's outputs.
    std::vector<int32_t> process(const std::vector<int32_t>& x, size_t block) const
    {
        const auto count = static_cast<int64_t>(taps.size()), history = (count - 1) / over;
        std::vector<int32_t> out;
        for (int64_t p = 0; p / over < int64_t(x.size()); p += under) {
            const int64_t block_end =
                std::min<int64_t>((p / over / int64_t(block) + 1) * int64_t(block), int64_t(x.size()));
            uint64_t sum = 0;
            for (int64_t t = (over - p % over) % over; t < count; t += over) {
                const int64_t k = (p + t) / over - history;
                if (k >= 0 && k < block_end) sum += uint64_t(int64_t(taps[size_t(t)]) * x[size_t(k)]);
            }
            // sum * over / 2^31, floor, in two parts that fit 64 bits
            const int64_t high = int64_t(sum) >> 31, low = int64_t(sum & INT32_MAX);
            const int64_t y = high * over + (low * over >> 31);
            out.push_back(y > INT32_MAX ? INT32_MAX : y < INT32_MIN ? INT32_MIN : int32_t(y));
        }
        return out;
    }
};
} // namespace reference
