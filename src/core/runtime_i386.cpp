// Operations on 64 bits that GCC leaves to its run-time library on i386. That library is built for later
// processors than this one: its functions begin with an instruction (endbr32) that processors before the
// Pentium Pro refuse.
#if defined(__i386__)
#include <bit>
#include <cstdint>

namespace zv::runtime {
// high:low / divisor, for a quotient that fits 32 bits. rest becomes the remainder.
static uint32_t divide_2_by_1(uint32_t high, uint32_t low, uint32_t divisor, uint32_t& rest)
{
    uint32_t quotient;
    asm("divl %4" : "=a"(quotient), "=d"(rest) : "0"(low), "1"(high), "rm"(divisor) : "cc");
    return quotient;
}

// a / b. A divisor of more than 32 bits leaves a quotient of at most 32: half of a by the leading 32 bits of
// b gives it, as scaled, to one too many (H. S. Warren, Hacker's Delight, chapter 9).
static uint64_t divide(uint64_t a, uint64_t b, uint64_t& rest)
{
    const auto b_high = static_cast<uint32_t>(b >> 32);
    uint32_t part;
    if (b_high == 0) {
        const uint32_t high = divide_2_by_1(0, uint32_t(a >> 32), uint32_t(b), part);
        const uint32_t low = divide_2_by_1(part, uint32_t(a), uint32_t(b), part);
        rest = part;
        return uint64_t(high) << 32 | low;
    }
    const int shift = std::countl_zero(b_high);
    const uint32_t scaled =
        divide_2_by_1(uint32_t(a >> 33), uint32_t(a >> 1), uint32_t(b << shift >> 32), part);
    uint64_t quotient = uint64_t(scaled) << shift >> 31;
    if (quotient != 0) --quotient;
    rest = a - quotient * b;
    if (rest >= b) {
        rest -= b;
        ++quotient;
    }
    return quotient;
}

static uint64_t magnitude(int64_t v) { return v < 0 ? -uint64_t(v) : uint64_t(v); }
static int64_t with_sign(uint64_t v, bool negative) { return static_cast<int64_t>(negative ? -v : v); }

// Toward zero; the remainder has the sign of a.
static int64_t divide_signed(int64_t a, int64_t b, int64_t& rest)
{
    uint64_t left;
    const uint64_t quotient = divide(magnitude(a), magnitude(b), left);
    rest = with_sign(left, a < 0);
    return with_sign(quotient, (a < 0) != (b < 0));
}

// Sums of neighbours: of 1, 2, 4 bits, then all bytes at once.
static uint32_t ones(uint32_t v)
{
    v -= v >> 1 & 0x55555555;
    v = (v & 0x33333333) + (v >> 2 & 0x33333333);
    return ((v + (v >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24;
}
} // namespace zv::runtime

using namespace zv::runtime;

extern "C" {
uint64_t __udivmoddi4(uint64_t a, uint64_t b, uint64_t* rest) { return divide(a, b, *rest); }
int64_t __divmoddi4(int64_t a, int64_t b, int64_t* rest) { return divide_signed(a, b, *rest); }
uint64_t __udivdi3(uint64_t a, uint64_t b)
{
    uint64_t rest;
    return divide(a, b, rest);
}
int64_t __divdi3(int64_t a, int64_t b)
{
    int64_t rest;
    return divide_signed(a, b, rest);
}
uint64_t __umoddi3(uint64_t a, uint64_t b)
{
    uint64_t rest;
    divide(a, b, rest);
    return rest;
}
int64_t __moddi3(int64_t a, int64_t b)
{
    int64_t rest;
    divide_signed(a, b, rest);
    return rest;
}
// The place of the lowest bit set; v isn't 0.
int __ctzdi2(uint64_t v)
{
    return uint32_t(v) != 0 ? std::countr_zero(uint32_t(v)) : 32 + std::countr_zero(uint32_t(v >> 32));
}
int __popcountdi2(uint64_t v) { return static_cast<int>(ones(uint32_t(v)) + ones(uint32_t(v >> 32))); }
}
#endif
