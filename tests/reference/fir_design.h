// Windowed-sinc FIR design, tap quantisation, and the clamps of a filter's settings.
#pragma once
#include "fixed.h"

namespace reference {
// Types: 0 pass-through, 1 low-pass, 2 high-pass, 3 band-pass, 4 band-stop, 5 Hilbert, 6 mean.
// taps is odd, at least 3; frequencies in Hz; tap 0 meets the oldest sample.
inline std::vector<double> design(int32_t type, int32_t taps, float fs, float fl, float fh)
{
    const int32_t half = (taps - 1) / 2;
    const real rate = fs, low = fl, high = fh;
    std::vector<double> h(static_cast<size_t>(taps));
    const auto tap = [&](int32_t n) -> double& { return h[size_t(half + n)]; }; // n = 0 is the centre
    const auto blackman = [&](int32_t n) {
        const real x = pi * (1 - real(2 * n) / (taps - 1));
        return 0.42L - 0.5L * std::cos(x) + 0.08L * std::cos(2 * x);
    };
    // 2 fc/fs sinc(2 fc n/fs) under the window, scaled to a sum of 1
    const auto low_pass = [&](real fc) {
        tap(0) = to_double(2 * fc / rate);
        for (int32_t n = 1; n <= half; ++n)
            tap(n) = tap(-n) = to_double(blackman(n) * std::sin(2 * pi * fc * n / rate) / (pi * n));
        real sum = 0;
        for (double v : h) sum += v;
        for (double& v : h) v = to_double(v * (1 / sum));
    };
    // 2 (fh - fl)/fs sinc((fh - fl) n/fs) cos(pi n (fh + fl)/fs) under the window
    const auto band_pass = [&] {
        tap(0) = to_double(2 * (high - low) / rate);
        for (int32_t n = 1; n <= half; ++n) {
            const real beat = std::sin(pi * n * (high - low) / rate) * std::cos(pi * n * (high + low) / rate);
            tap(n) = tap(-n) = to_double(2 * blackman(n) * beat / (pi * n));
        }
    };

    if (type == 0) tap(0) = 1;
    if (type == 1) low_pass(high);
    if (type == 2) { // the low-pass with a centre that brings the sum of all taps to 0
        low_pass(low);
        real side = 0;
        for (int32_t n = 1; n <= half; ++n) side += tap(-n);
        tap(0) = to_double(-2 * side);
    }
    if (type == 3) band_pass();
    if (type == 4) { // unit impulse minus the band-pass
        band_pass();
        for (double& v : h) v = -v;
        tap(0) = to_double(real(tap(0)) + 1);
    }
    if (type == 5)
        for (int32_t n = 1; n <= half; ++n) { // (1 - cos pi n)/(pi n) under a Hamming window
            const real angle = pi * n;
            const real hamming = 0.54L + 0.46L * std::cos(angle / half);
            tap(n) = to_double((1 - std::cos(angle)) * hamming / angle);
            tap(-n) = -tap(n);
        }
    if (type == 6)
        for (double& v : h) v = to_double(real(1) / taps);
    return h;
}

// round(v (2^(bits-1) - 1)); 1 and above give the top code, below -1 the bottom code
template <class Tap>
Tap quantise(double v)
{
    using Limits = std::numeric_limits<Tap>;
    return v >= 1 ? Limits::max() : v < -1 ? Limits::min() : plain<Tap>(real(v) * Limits::max());
}

// All entries as taps; an even count gets a zero last tap, and there are at least 3.
template <class Tap>
std::vector<Tap> quantise_all(const std::vector<double>& entries)
{
    std::vector<Tap> taps(entries.size() < 3 ? 3 : entries.size() | 1);
    for (size_t i = 0; i < entries.size(); ++i) taps[i] = quantise<Tap>(entries[i]);
    return taps;
}
inline constexpr auto quantise16 = &quantise_all<int16_t>;
inline constexpr auto quantise32 = &quantise_all<int32_t>;

// Settings of a new filter. Each setter clamps, and tells whether the stored value changed.
struct FirSettings {
    float cut_off_high = 3000, cut_off_low = 1000, sampling_rate = 11025; // Hz
    int32_t buffer_size = 1024, fir_type = 0, taps_count = 31;

    bool set_taps(int32_t n) { return change(taps_count, (n < 3 ? 3 : n) | 1); }
    bool set_buffer_size(int32_t n) { return change(buffer_size, n < 1 ? 1 : n); }
    bool set_type(int32_t type) { return change(fir_type, type); }

    // 2 .. rate/2; the low cut-off gives way, 1 Hz below
    bool set_cut_off_high(float hz)
    {
        if (hz < 2) hz = 2;
        if (real(hz) * 2 > sampling_rate) hz = sampling_rate / 2;
        if (!change(cut_off_high, hz)) return false;
        if (!(hz > cut_off_low)) cut_off_low = to_float(real(hz) - 1);
        return true;
    }
    // 1 .. rate/2 - 1; the high cut-off gives way, 1 Hz above
    bool set_cut_off_low(float hz)
    {
        if (hz < 1) hz = 1;
        if (!(real(hz) * 2 < sampling_rate)) hz = to_float(real(sampling_rate) / 2 - 1);
        if (!change(cut_off_low, hz)) return false;
        if (!(hz < cut_off_high)) cut_off_high = to_float(real(hz) + 1);
        return true;
    }
    // at least 4; lowers the cut-offs that no longer fit, and never raises one
    bool set_sampling_rate(float hz)
    {
        if (!change(sampling_rate, hz < 4 ? 4 : hz)) return false;
        if (real(cut_off_high) * 2 > sampling_rate) cut_off_high = sampling_rate / 2;
        if (!(cut_off_high > cut_off_low)) cut_off_low = to_float(real(cut_off_high) - 1);
        return true;
    }

    std::vector<double> designed() const
    {
        return design(fir_type, taps_count, sampling_rate, cut_off_low, cut_off_high);
    }

private:
    template <class Value>
    static bool change(Value& field, Value value)
    {
        if (field == value) return false;
        field = value;
        return true;
    }
};
} // namespace reference
