// Fixed-point arithmetic by name. 16-bit samples and taps are Q15, 32-bit ones Q31.
#pragma once
#include <cstdint>

namespace zv {
// Saturation: the value if it fits, else the end of the range on its side.
constexpr int16_t sat16(int32_t v) { return v == int16_t(v) ? int16_t(v) : v > 0 ? INT16_MAX : INT16_MIN; }
constexpr int32_t sat32(int64_t v) { return v == int32_t(v) ? int32_t(v) : v > 0 ? INT32_MAX : INT32_MIN; }

// The 16-bit value of a 32-bit sample: its upper half, rounding toward minus infinity.
constexpr int16_t top16(int32_t v) { return static_cast<int16_t>(v >> 16); }
// A 16-bit sample as a 32-bit one: the same signal, left-justified.
constexpr int32_t left_justified(int16_t v) { return int32_t(v) * 65536; }

// Q31 product of a sample and a table entry, rounding toward minus infinity: (a * b) >> 31. In the range of
// the result but for a = b = -2^31.
constexpr int32_t q31_mul(int32_t a, int32_t b) { return static_cast<int32_t>((int64_t(a) * b) >> 31); }
// The upper 32 bits of the 64-bit product.
constexpr int32_t high_mul(int32_t a, int32_t b) { return static_cast<int32_t>((int64_t(a) * b) >> 32); }

// Sums, differences and products modulo 2^32.
constexpr int32_t wrap_add(int32_t a, int32_t b) { return static_cast<int32_t>(uint32_t(a) + uint32_t(b)); }
constexpr int32_t wrap_sub(int32_t a, int32_t b) { return static_cast<int32_t>(uint32_t(a) - uint32_t(b)); }
constexpr int32_t wrap_mul(int32_t a, int32_t b) { return static_cast<int32_t>(uint32_t(a) * uint32_t(b)); }
} // namespace zv
