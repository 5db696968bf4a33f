// Frequency shift by the phasing method: out = upper half of 2 (H c + D s), with (c, s) the oscillator's
// place, H the Hilbert filter of the stream and D the stream delayed to its middle.
#pragma once
#include "delay_line.h"
#include "fir.h"

namespace reference {
struct PitchShift {
    int32_t rate = 11025, shift = 0; // Hz
    int64_t place = 0;
    std::vector<int16_t> taps; // of the Hilbert filter, Q15
    std::vector<int16_t> past;

    std::vector<int16_t> process(const std::vector<int16_t>& x)
    {
        const auto H = fir1616(taps, x, 1, past);
        std::vector<int16_t> c, s, out;
        real angle = 0;
        for (int32_t k = 0; k < rate; ++k, angle += 2 * pi / rate) {
            c.push_back(plain<int16_t>(32767 * std::cos(angle)));
            s.push_back(plain<int16_t>(-32767 * std::sin(angle)));
        }
        for (size_t n = 0; n < x.size(); ++n) {
            const int16_t D = sample_at(x, past, ptrdiff_t(n) - ptrdiff_t(taps.size() >> 1));
            const auto v = 2 * int64_t(H[n]) * c[size_t(place)] + 2 * int64_t(D) * s[size_t(place)];
            out.push_back(top16(int32_t(uint32_t(v))));
            place = (place + shift + rate) % rate;
        }
        past.insert(past.end(), x.begin(), x.end());
        return out;
    }
};
} // namespace reference
