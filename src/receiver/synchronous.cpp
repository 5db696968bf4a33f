// Synchronous AM: a second-order phase-locked loop (F. M. Gardner, Phaselock Techniques) turns I + jQ by the
// phase A so that the carrier comes to lie on X, which is the audio.
//
//   R + jX = (I + jQ) exp(jA)      d = sqrt(2) X
//   e = R X / (R^2 + X^2)          half the sine of twice the angle; keeps its value while there's no signal
//   B = B + 2.5e-5 e               phase step, within 15 cycles a sample
//   A = A + B + 0.01 e             kept within -pi < A <= pi
//
// The loop runs in extended precision; A, B and e are rounded to double at each sample. Sine and cosine are
// its longest part, so processors with fused multiply-add get a shorter way to them.
#include "core/ties.h"
#include "receiver/demodulator_kernels.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>

namespace zv::demodulator {
struct UnitVector {
    extended c, s;
};

template <class Turn>
static ZV_INLINE void lock(CarrierLoop& loop, const Detection& block, Turn turn)
{
    const extended limit = loop.limit;
    double phase = loop.phase, frequency = loop.frequency, error = loop.error;
    for (int32_t k = 0; k < block.count; ++k) {
        const extended i = block.i[k], q = block.q[k];
        const auto [c, s] = turn(phase);
        const extended r = i * c - q * s, x = i * s + q * c;
        const extended power = r * r + x * x;
        block.out[k] = saturated32(1.4142135623730951 * x);
        if (power > 0) error = static_cast<double>(r * x / power);
        frequency = static_cast<double>(std::clamp(frequency + extended(0.000025f) * error, -limit, limit));
        extended turned = extended(phase) + frequency + extended(0.01f) * error;
        if (turned > pi)
            turned -= 2 * pi;
        else if (turned <= -pi)
            turned += 2 * pi;
        phase = static_cast<double>(turned);
    }
    loop.phase = phase;
    loop.frequency = frequency;
    loop.error = error;
}

static UnitVector library_turn(double phase) { return {cosl(phase), sinl(phase)}; }

void synchronous_plain(CarrierLoop& loop, const Detection& block) { lock(loop, block, library_turn); }

#if FLT_EVAL_METHOD == 0
// ---- Sine and cosine from pairs of doubles ----

// A number as the sum of two doubles, about 106 bits (T. J. Dekker, A Floating-Point Technique for Extending
// the Available Precision, 1971).
struct Pair {
    double high, low;
};

// a + b without loss (D. E. Knuth's two-sum).
static constexpr ZV_INLINE Pair sum(double a, double b)
{
    const double s = a + b, part = s - a;
    return {s, (a - (s - part)) + (b - part)};
}

// a * b without loss, by Dekker's halves.
static constexpr Pair product(double a, double b)
{
    const auto half = [](double v) {
        const double t = 134217729 * v; // 2^27 + 1
        return t - (t - v);
    };
    const double p = a * b, ah = half(a), al = a - ah, bh = half(b), bl = b - bh;
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}
static constexpr Pair operator*(Pair a, Pair b)
{
    const Pair p = product(a.high, b.high);
    return sum(p.high, p.low + (a.high * b.low + a.low * b.high));
}
static constexpr Pair operator+(Pair a, Pair b)
{
    const Pair s = sum(a.high, b.high);
    return sum(s.high, s.low + (a.low + b.low));
}
static constexpr Pair operator-(Pair a) { return {-a.high, -a.low}; }

// exp(j 2 pi k / 256), each from the one before. `scripts/polynomials` prints the first.
constexpr int32_t points = 256;
struct Point {
    Pair c, s;
};
static constexpr auto circle = [] {
    constexpr Pair c1 = {0x1.ffd886084cd0dp-1, -0x1.1354d4556e4cbp-55},
                   s1 = {0x1.92155f7a3667ep-6, -0x1.b1d63091a0130p-64};
    std::array<Point, points> table{};
    table[0] = {{1, 0}, {0, 0}};
    for (size_t k = 1; k < points; ++k) {
        const auto& [c, s] = table[k - 1];
        table[k] = {c * c1 + -(s * s1), c * s1 + s * c1};
    }
    return table;
}();

// Cosine and sine to 2^-65: the nearest point of the circle, turned by the rest r, |r| <= pi / 256:
//
//   cos r = 1 + v    sin r = r + w    C cos r - S sin r = C - S r + (C v - S w)
//
// r is exact as a pair. v, w and what they enter are small enough for doubles; C - S r is worked out as a
// pair. Taylor's series for v and w end where `scripts/polynomials` finds their errors below 2^-75.
static ZV_INLINE UnitVector near_turn(double phase)
{
    constexpr Pair step = {0x1.921fb54442d18p-6, 0x1.1a62633145c07p-60}; // 2 pi / 256
    if (!(std::fabs(phase) < 4)) return library_turn(phase);
    const ties::Nearest place(phase * (1 / step.high));
    const double k = place.whole;
    const auto& [c, s] = circle[std::bit_cast<uint64_t>(place.shifted) % points];

    const double r = std::fma(-k, step.high, phase), rest = -k * step.low, u = r * r;
    const double v = std::fma(u * u, std::fma(u, std::fma(u, 1.0 / 40320, -1.0 / 720), 1.0 / 24),
                              -r * std::fma(0.5, r, rest));
    const double w = std::fma(u * r, std::fma(u, std::fma(u, -1.0 / 5040, 1.0 / 120), -1.0 / 6), rest);

    const double sr = s.high * r, cr = c.high * r;
    const Pair cosine = sum(c.high, -sr), sine = sum(s.high, cr);
    const double cosine_rest = std::fma(-s.low, r, c.low - std::fma(s.high, r, -sr));
    const double sine_rest = std::fma(c.low, r, s.low + std::fma(c.high, r, -cr));
    return {extended(cosine.high) + (cosine.low + std::fma(c.high, v, std::fma(-s.high, w, cosine_rest))),
            extended(sine.high) + (sine.low + std::fma(s.high, v, std::fma(c.high, w, sine_rest)))};
}

ZV_AVX2 void synchronous_fma(CarrierLoop& loop, const Detection& block)
{
    lock(loop, block, [](double phase) ZV_AVX2 { return near_turn(phase); });
}
#endif
} // namespace zv::demodulator
