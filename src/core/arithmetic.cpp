// Arithmetic at exact widths. Exponential and logarithm work on the x87 unit step by step, as only its own
// instructions give all 64 bits of an extended mantissa.
#include "core/real.h"
#include <bit>
#include <limits>
#include <zovek/arithmetic.h>

namespace zv::arithmetic {
constexpr extended infinity = std::numeric_limits<extended>::infinity();
constexpr extended log10_of_2 = std::numbers::ln2_v<extended> / std::numbers::ln10_v<extended>;

// ((2^f - 1) + 1) * 2^n for -1 < f < 1 and n an integer, rounding toward zero on the way.
static extended scaled_power_of_2(extended f, extended n)
{
    uint16_t control;
    asm volatile("fnstcw %0" : "=m"(control));
    const uint16_t toward_zero = control | 0x0C00; // rounding control 11
    const float one = 1;
    extended power = f;
    asm volatile("fldcw %[toward_zero]\n\t"
                 "f2xm1\n\t"
                 "fadds %[one]\n\t"
                 "fscale\n\t"
                 "fldcw %[control]"
                 : "+t"(power)
                 : "u"(n), [one] "m"(one), [toward_zero] "m"(toward_zero), [control] "m"(control));
    return power;
}

// e^x = 2^t with t = x * log2(e), cut into its integer toward zero and the rest.
static extended exponential(extended x)
{
    const extended t = x * std::numbers::log2e_v<extended>;
    if (t >= 16384) return infinity; // past the largest exponent
    if (t <= -16446) return 0;       // below the least bit, 2^-16445
    const extended n = truncl(t);
    return scaled_power_of_2(t - n, n);
}

static extended decimal_logarithm(extended x)
{
    extended logarithm;
    asm("fyl2x" : "=t"(logarithm) : "0"(x), "u"(log10_of_2) : "st(1)");
    return logarithm;
}
} // namespace zv::arithmetic

using namespace zv;

void ComputeIQModule_I16(const int16_t* i, const int16_t* q, int16_t* out, uint32_t count)
{
    // Double is exact here: the sum is an integer up to 2^31, and the square root of an integer s is never
    // k + 1/2 but at least 1 / (8k + 4) away from it, so floor(x + 1/2) rounds to nearest and meets no tie.
    for (uint32_t n = 0; n < count; n++) {
        const double re = i[n], im = q[n];
        const auto magnitude = static_cast<int32_t>(std::sqrt(re * re + im * im) + 0.5);
        out[n] = static_cast<int16_t>(magnitude <= INT16_MAX ? magnitude : INT16_MIN);
    }
}

uint32_t Div_UI64UI32_UI32(uint64_t dividend, uint32_t divisor)
{
    return static_cast<uint32_t>(dividend / divisor);
}

long double Exp_Double(double x) { return arithmetic::exponential(x); }
long double Exp_Float(float x) { return arithmetic::exponential(x); }

long double Log10_F32_Fxx(float x) { return arithmetic::decimal_logarithm(x); }
int32_t Log10_F80_I32(long double x) { return to_nearest32(arithmetic::decimal_logarithm(x)); }

uint64_t Mul_UI32UI32_UI64(uint32_t a, uint32_t b) { return uint64_t(a) * b; }
int32_t OneBits_QWord(uint64_t value) { return std::popcount(value); }
