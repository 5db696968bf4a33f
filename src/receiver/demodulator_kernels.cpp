// Detectors, mixer and output in blocks that the compiler turns into vector code, once for each instruction
// set.
//
// Real stages run in double, where the plain form has extended precision, and take that next to a tie.
#include "receiver/demodulator_kernels.h"
#include "core/ties.h"
#include <bit>
#include <cfloat>
#include <cmath>

namespace zv::demodulator {
// ---- The plain forms ----

static int32_t magnitude(int32_t i, int32_t q)
{
    const extended re = i, im = q;
    return to_nearest32(0.7071067811865476 * sqrtl(re * re + im * im));
}

constexpr float radians_to_q31 = -341782624.0f; // -2^31 / (2 pi)
static int32_t turned_angle(int32_t y, int32_t p) { return to_nearest32(atan2l(y, p) * radians_to_q31); }

// y = I Q' - Q I' and p = I^2 + Q^2, upper halves, modulo 2^32.
static ZV_INLINE int32_t cross(int32_t i, int32_t q, int32_t previous_i, int32_t previous_q)
{
    return wrap_sub(high_mul(i, previous_q), high_mul(q, previous_i));
}
static ZV_INLINE int32_t power(int32_t i, int32_t q) { return wrap_add(high_mul(i, i), high_mul(q, q)); }

static void envelope_plain(const Detection& block)
{
    for (int32_t k = 0; k < block.count; ++k) block.out[k] = magnitude(block.i[k], block.q[k]);
}

static void frequency_plain(const Detection& block, int32_t previous_i, int32_t previous_q)
{
    for (int32_t k = 0; k < block.count; ++k) {
        const int32_t i = block.i[k], q = block.q[k];
        block.out[k] = turned_angle(cross(i, q, previous_i, previous_q), power(i, q));
        previous_i = i;
        previous_q = q;
    }
}

static void frames_plain(int16_t* out, const int32_t* left, const int32_t* right, int32_t count,
                         extended gain)
{
    for (int32_t j = 0; j < count; ++j) {
        out[2 * j] = saturated16(left[j] * gain);
        out[2 * j + 1] = saturated16(right[j] * gain);
    }
}

// x * c >> 31 from the halves of c, without a factor wider than 16 bits.
static ZV_INLINE int16_t q31_mul_halves(int16_t x, int16_t high, int16_t low)
{
    const int32_t carry = (int32_t(x) * low + int32_t(x) * 32768) >> 16;
    return static_cast<int16_t>((int32_t(x) * high + carry) >> 15);
}

static ZV_INLINE void mix(const oscillator::Halves& turns, const int16_t* x, int16_t* __restrict i,
                          int16_t* __restrict q, int32_t count)
{
    for (int32_t k = 0; k < count; ++k) {
        i[k] = q31_mul_halves(x[k], turns.c_high[k], turns.c_low[k]);
        q[k] = q31_mul_halves(x[k], turns.s_high[k], turns.s_low[k]);
    }
}

static void mix_plain(const oscillator::Halves& turns, const int16_t* x, int16_t* i, int16_t* q,
                      int32_t count)
{
    mix(turns, x, i, q, count);
}

static void turn_plain(const oscillator::Turn* table, const oscillator::Phase& from, const int16_t* x,
                       int16_t* i, int16_t* q, int32_t count)
{
    oscillator::Phase phase = from;
    for (int32_t k = 0; k < count; ++k, phase.advance()) {
        const oscillator::Turn turn = table[phase.place()];
        i[k] = static_cast<int16_t>(q31_mul(x[k], turn.c));
        q[k] = static_cast<int16_t>(q31_mul(x[k], turn.s));
    }
}

// ---- The forms in double ----

constexpr int32_t lanes = 64; // values that are worked on together

// Values up to 2^31 are off by less than 2^-19.5: a few roundings of half a unit, 2^-23 each.
static ZV_INLINE int64_t doubtful(double v) { return ties::doubt(v, 0x1p-18); }

// Rounds v to out; lanes in doubt take exact(k).
template <class Exact>
static ZV_INLINE void round_lanes(int32_t* out, const double* v, int32_t count, Exact exact)
{
    int64_t doubt = 0;
    for (int32_t k = 0; k < lanes; ++k) doubt |= doubtful(v[k]);
    for (int32_t k = 0; k < count; ++k) {
        const double r = ties::Nearest(v[k]).whole;
        out[k] = static_cast<int32_t>(r < 0x1p31 ? r : -0x1p31);
    }
    if (doubt < 0)
        for (int32_t k = 0; k < count; ++k)
            if (doubtful(v[k]) < 0) out[k] = exact(k);
}

// Unit vectors exp(-j w k), k = 0 to lanes - 1, built by doubling: the second half is the first, turned.
struct Fan {
    double c[lanes], s[lanes];
    explicit Fan(double w)
    {
        c[0] = 1;
        s[0] = 0;
        for (int32_t half = 1; half < lanes; half *= 2) {
            const double ch = std::cos(w * half), sh = -std::sin(w * half);
            for (int32_t k = 0; k < half; ++k) {
                c[half + k] = c[k] * ch - s[k] * sh;
                s[half + k] = c[k] * sh + s[k] * ch;
            }
        }
    }
};

// z rounded down. The table is off by half a unit of 2^31, which a sample carries to 2^-17, and its angle by
// less than 2^-38 up to the longest table that comes here; the vectors by less than 2^-40.
constexpr int32_t longest_turned = 1 << 24;
constexpr double turn_error = 0x1p-16;
static ZV_INLINE int16_t below(double z)
{
    return static_cast<int16_t>(static_cast<int32_t>(ties::Nearest(z - 0.5).whole));
}

// The oscillator as a turning vector instead of a walk through a table that no cache holds. The table decides
// where the two might differ.
static ZV_INLINE void turn(const oscillator::Turn* table, const oscillator::Phase& phase, const int16_t* x,
                           int16_t* __restrict i, int16_t* __restrict q, int32_t count)
{
    constexpr int32_t reach = 1024 * lanes; // turns from one true angle
    constexpr double scale = double(oscillator::scale) / 0x1p31;
    const int32_t cycle = phase.cycle();
    if (cycle > longest_turned || phase.place() >= cycle) return turn_plain(table, phase, x, i, q, count);
    const double unit = 2 * std::numbers::pi / cycle, w = unit * phase.step();
    const Fan fan(w);
    const double step_c = std::cos(w * lanes), step_s = -std::sin(w * lanes);
    double c = 0, s = 0;
    for (int32_t first = 0; first < count; first += lanes) {
        if (first % reach == 0) {
            const double angle = unit * phase.after(first).place();
            c = std::cos(angle) * scale;
            s = -std::sin(angle) * scale;
        }
        const int32_t n = std::min(count - first, lanes);
        const int16_t* const in = x + first;
        int64_t doubt = 0;
        for (int32_t k = 0; k < n; ++k) {
            const double zi = in[k] * (c * fan.c[k] - s * fan.s[k]),
                         zq = in[k] * (c * fan.s[k] + s * fan.c[k]);
            i[first + k] = below(zi);
            q[first + k] = below(zq);
            doubt |= ties::doubt(zi - 0.5, turn_error) | ties::doubt(zq - 0.5, turn_error);
        }
        if (doubt < 0) turn_plain(table, phase.after(first), in, i + first, q + first, n);
        const double turned = c * step_c - s * step_s;
        s = c * step_s + s * step_c;
        c = turned;
    }
}

static ZV_INLINE void envelope(const Detection& block)
{
    for (int32_t first = 0; first < block.count; first += lanes) {
        const int32_t n = std::min(block.count - first, lanes);
        const int32_t *in_i = block.i + first, *in_q = block.q + first;
        double v[lanes] = {};
        for (int32_t k = 0; k < n; ++k) {
            const double i = in_i[k], q = in_q[k];
            v[k] = 0.7071067811865476 * std::sqrt(i * i + q * q);
        }
        round_lanes(block.out + first, v, n, [=](int32_t k) { return magnitude(in_i[k], in_q[k]); });
    }
}

// atan2(y, p) for p >= 0, not both 0, to 2^-51. The quotient of the smaller by the larger is brought below
// tan(pi / 8) by atan(a / b) = pi/4 + atan((a - b) / (a + b)). The polynomial in t^2 meets atan(t) / t at the
// Chebyshev nodes there: `scripts/polynomials` prints it, and its relative error, 2^-57.8.
static ZV_INLINE double arctangent(double y, double p)
{
    constexpr double tan_pi_8 = 0.41421356237309503, pi_2 = std::numbers::pi / 2, pi_4 = std::numbers::pi / 4;
    const double a = std::fabs(y), low = a < p ? a : p, high = a < p ? p : a;
    const bool far = low > tan_pi_8 * high;
    const double t = (far ? low - high : low) / (far ? low + high : high), u = t * t, u2 = u * u,
                 u4 = u2 * u2;
    const double s0 = (1.0 + u * -0.3333333333333312) + u2 * (0.19999999999940893 + u * -0.14285714279250245);
    const double s1 = (0.11111110744919658 + u * -0.09090896809064027) +
                      u2 * (0.07692045330902225 + u * -0.06662951813629191);
    const double s2 = (0.05846878297330872 + u * -0.05035102456601552) +
                      u2 * (0.03796525745386593 + u * -0.017805397205419446);
    const double near = t * (s0 + u4 * (s1 + u4 * s2));
    const double octant = far ? pi_4 + near : near, quadrant = a < p ? octant : pi_2 - octant;
    return std::copysign(quadrant, y);
}

static ZV_INLINE void frequency(const Detection& block, int32_t previous_i, int32_t previous_q)
{
    // The sample before stands in front of the block's own.
    int32_t i[lanes + 1], q[lanes + 1], y[lanes], p[lanes];
    i[0] = previous_i;
    q[0] = previous_q;
    for (int32_t first = 0; first < block.count; first += lanes) {
        const int32_t n = std::min(block.count - first, lanes);
        std::copy_n(block.i + first, n, i + 1);
        std::copy_n(block.q + first, n, q + 1);
        double v[lanes] = {};
        for (int32_t k = 0; k < n; ++k) {
            y[k] = cross(i[k + 1], q[k + 1], i[k], q[k]);
            p[k] = power(i[k + 1], q[k + 1]);
        }
        for (int32_t k = 0; k < n; ++k) {
            // Nothing gives 0, and a power past the range, which has wrapped, a tie: in doubt.
            const double at_least_1 = (y[k] | p[k]) == 0 ? 1.0 : p[k];
            const double angle = arctangent(y[k], at_least_1) * radians_to_q31;
            v[k] = p[k] < 0 ? 0.5 : angle;
        }
        round_lanes(block.out + first, v, n, [&](int32_t k) { return turned_angle(y[k], p[k]); });
        i[0] = i[n];
        q[0] = q[n];
    }
}

// A value that 32 bits can't hold gives the most negative one, and that saturates below.
static ZV_INLINE int16_t to_16(double v)
{
    const double r = ties::Nearest(v).whole, limited = r < -32768 ? -32768 : r > 32767 ? 32767 : r;
    return static_cast<int16_t>(static_cast<int32_t>(r < 0x1p31 ? limited : -32768));
}

static ZV_INLINE void frames(int16_t* out, const int32_t* left, const int32_t* right, int32_t count,
                             extended gain)
{
    const double g = static_cast<double>(gain);
    for (; count > 0; count -= lanes, left += lanes, right += lanes, out += 2 * lanes) {
        const int32_t n = std::min(count, lanes);
        int64_t doubt = 0;
        for (int32_t j = 0; j < n; ++j) {
            const double l = left[j] * g, r = right[j] * g;
            doubt |= doubtful(l) | doubtful(r);
            out[2 * j] = to_16(l);
            out[2 * j + 1] = to_16(r);
        }
        if (doubt < 0) frames_plain(out, left, right, n, gain);
    }
}

// ---- The sets ----

// The loops above for one instruction set.
#define ZV_LOOPS(Loops, set)                                                                                 \
    struct Loops {                                                                                           \
        set static void mix(auto... arguments) { demodulator::mix(arguments...); }                           \
        set static void turn(auto... arguments) { demodulator::turn(arguments...); }                         \
        set static void envelope(auto... arguments) { demodulator::envelope(arguments...); }                 \
        set static void frequency(auto... arguments) { demodulator::frequency(arguments...); }               \
        set static void frames(auto... arguments) { demodulator::frames(arguments...); }                     \
    }
namespace {
ZV_LOOPS(Sse2, ZV_SSE2);
ZV_LOOPS(Avx2, ZV_AVX2);
ZV_LOOPS(Avx512, ZV_AVX512);
} // namespace

// A set's kernels, with its form of the carrier loop.
template <class Loops>
static constexpr Kernels kernels_of(const char* name, void (*synchronous)(CarrierLoop&, const Detection&))
{
    return {name, Loops::mix, Loops::turn, Loops::envelope, Loops::frequency, synchronous, Loops::frames};
}

static constexpr Kernels plain = {"plain",         mix_plain,         turn_plain,  envelope_plain,
                                  frequency_plain, synchronous_plain, frames_plain};
#if FLT_EVAL_METHOD == 0 // not on x87 registers, which keep more than a double
static constexpr Kernels double_avx512 = kernels_of<Avx512>("double_avx512", synchronous_fma);
static constexpr Kernels double_avx2 = kernels_of<Avx2>("double_avx2", synchronous_fma);
static constexpr Kernels double_sse2 = kernels_of<Sse2>("double_sse2", synchronous_plain);
#endif

static constexpr Row<const Kernels*> table[] = {
#if FLT_EVAL_METHOD == 0
    {has(avx512), double_avx512.name, "AVX-512", &double_avx512},
    {has(avx2), double_avx2.name, "AVX2", &double_avx2},
    {has(sse2), double_sse2.name, "SSE2", &double_sse2},
#endif
    {otherwise, plain.name, "plain", &plain},
};
constinit const Rows<const Kernels*> rows = table;
} // namespace zv::demodulator
