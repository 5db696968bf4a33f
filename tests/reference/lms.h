// Normalised LMS predictor with leakage, from the stream itself: no blocks, no window in memory.
// Sample n is predicted from x[n-D-T+1] (met by c[0]) to x[n-D] (met by c[T-1]).
#pragma once
#include "fixed.h"

namespace reference {
struct Lms {
    float step_size = 0.5f, regularisation = 1, leakage = 0.5f;
    bool output_error = false;
    uint32_t delay = 0;
    float power = 0;
    std::vector<int16_t> c = std::vector<int16_t>(31); // Q15
    std::vector<int16_t> past;                         // all samples since the start

    void start(uint32_t taps, uint32_t new_delay)
    {
        c.assign(taps, 0), past.clear();
        delay = new_delay, power = 0;
    }

    std::vector<int16_t> process(const std::vector<int16_t>& x)
    {
        const auto T = ptrdiff_t(c.size()), D = ptrdiff_t(delay);
        std::vector<int16_t> out;
        for (ptrdiff_t n = 0; n < ptrdiff_t(x.size()); ++n) {
            const auto h = [&](ptrdiff_t i) { return int32_t(sample_at(x, past, n - D - T + 1 + i)); };
            uint32_t acc = 0;
            for (ptrdiff_t i = 0; i < T; ++i) acc += uint32_t(c[size_t(i)] * h(i));
            const int32_t p = int32_t(acc) >> 15, e = x[size_t(n)] - p;
            out.push_back(int16_t(output_error ? e : p));
            const real E = power + real(h(T - 1)) * h(T - 1); // of the whole window
            power = to_float(E - real(h(0)) * h(0));
            const real g = e / (E + regularisation + 1) * step_size * 32767, f = 1 - real(leakage);
            for (ptrdiff_t i = 0; i < T; ++i) c[size_t(i)] = plain<int16_t>(f * c[size_t(i)] + g * h(i));
        }
        past.insert(past.end(), x.begin(), x.end());
        return out;
    }
};
} // namespace reference
