// Bit timing, sample by sample: the loop on zero crossings, and edges as peaks of the slope.
#pragma once
#include "fixed.h"
#include <functional>
#include <utility>

namespace reference {
struct DataFormatter {
    using Run = std::pair<int32_t, int32_t>; // bits, value
    double bit_rate = 1000, loop_gain = 0.01, peak_decay = 0.0008, sampling_rate = 44100;
    double a = 0, b = 0; // last and next bit point
    int32_t previous = 0, high = 0, low = 0, extreme = 0, state = 0, position = 0, counter = 0, d2 = 0,
            d1 = 0;
    std::vector<Run> runs;                         // all that was delivered
    std::function<void(DataFormatter&)> delivered; // what the callback does besides

    void reset()
    {
        a = b = 0;
        previous = high = low = extreme = state = position = counter = d2 = d1 = 0;
    }

    void loop(int32_t x)
    {
        const real p = period(), g = loop_gain;
        const bool transition = (x < 0) != (previous < 0) || (x == 0 && previous != 0);
        previous = x;
        if (transition) b = to_double(a * (1 - g) + p * (1 - g / 2));
        if (b <= 0) {
            runs.emplace_back(1, x >= 0);
            if (delivered) delivered(*this);
            a = b;
            b = to_double(b + p);
        }
        a = to_double(real(a) - 1);
        b = to_double(real(b) - 1);
    }

    void slope(int16_t x, int32_t mask)
    {
        const int32_t v = x & mask, d = int32_t(uint32_t(v) - uint32_t(previous));
        previous = v;
        const int32_t s = int32_t(uint32_t(d) + uint32_t(d1) + uint32_t(d2)) / 3;
        d2 = d1;
        d1 = d;
        high = s >= high ? s : decayed(high, s);
        low = s <= low ? s : decayed(low, s);
        if (state) {
            const int32_t t = high >> 1;
            if (s >= t && s > extreme) extreme = s, position = counter;
            if (s < t && t < extreme) edge(0, s);
        } else {
            const int32_t t = low >> 1;
            if (s <= t && s < extreme) extreme = s, position = counter;
            if (s > t && t > extreme) edge(1, s);
        }
        counter = int32_t(uint32_t(counter) + 1);
    }

private:
    real period() const { return real(sampling_rate) / bit_rate; }
    int32_t decayed(int32_t peak, int32_t s) const
    {
        return plain<int32_t>((1 - real(peak_decay)) * peak + real(peak_decay) * s);
    }
    void edge(int32_t new_state, int32_t s)
    {
        const real p = period(), g = loop_gain;
        const int32_t q = position, bits = plain<int32_t>(std::trunc((q - real(b)) / p + 1));
        state = new_state;
        extreme = s;
        a = to_double(real(a) - q);
        b = to_double(real(b) - q);
        counter = int32_t(uint32_t(counter) - uint32_t(q)); // may run away where pulses set no new extreme
        if (bits != 0) a = to_double(b + (real(bits) - 1) * p);
        b = to_double(p / 2 - g * (a + p / 2));
        if (bits == 0) return;
        runs.emplace_back(bits, new_state);
        if (delivered) delivered(*this);
    }
};
} // namespace reference
