// FSK correlator: x cos p, x sin p of both tones summed over one bit; (A1 - A2) / N of the magnitudes.
#pragma once
#include "fixed.h"
#include <array>

namespace reference {
struct FskCorrDemod {
    using Four = std::array<float, 4>; // cosine and sine of tone 1, sine and cosine of tone 2
    float sampling_rate = 22050, tone_1 = 1200, tone_2 = 2200, bit_rate = 1200;
    float phase_1 = 0, phase_2 = 0;
    Four sums{};
    std::vector<Four> window = std::vector<Four>(size_t(bit_length())); // oldest first

    int32_t bit_length() const
    {
        const auto n = uint32_t(plain<int32_t>(real(sampling_rate) / bit_rate + real(0.5)));
        return int32_t(n < 2 ? 2 : n);
    }
    void set_rates(float sampling, float bits)
    {
        sampling_rate = sampling;
        bit_rate = bits;
        window.assign(size_t(bit_length()), Four{});
        sums = {};
    }

    // One block: the phases are rounded to float at its end.
    std::vector<int16_t> block(const std::vector<int16_t>& x)
    {
        const real w1 = 2 * pi * tone_1 / sampling_rate, w2 = 2 * pi * tone_2 / sampling_rate;
        std::vector<int16_t> out;
        for (const int16_t v : x) {
            const real p1 = phase_1 + real(out.size()) * w1, p2 = phase_2 + real(out.size()) * w2;
            const real products[] = {v * std::cos(p1), v * std::sin(p1), v * std::sin(p2), v * std::cos(p2)};
            Four next;
            for (size_t j = 0; j < 4; ++j) {
                sums[j] = to_float(sums[j] + (products[j] - window.front()[j]));
                next[j] = to_float(products[j]);
            }
            window.erase(window.begin());
            window.push_back(next);
            const real a1 = std::sqrt(real(sums[0]) * sums[0] + real(sums[1]) * sums[1]);
            const real a2 = std::sqrt(real(sums[2]) * sums[2] + real(sums[3]) * sums[3]);
            out.push_back(plain<int16_t>((a1 - a2) / real(window.size())));
        }
        phase_1 = to_float(phase_1 + real(x.size()) * w1);
        phase_2 = to_float(phase_2 + real(x.size()) * w2);
        return out;
    }
};
} // namespace reference
