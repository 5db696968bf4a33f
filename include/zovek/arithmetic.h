/* Arithmetic at exact widths. Pure functions, safe from any thread. */
#ifndef ZOVEK_ARITHMETIC_H
#define ZOVEK_ARITHMETIC_H
#include <zovek/base.h>

ZV_BEGIN
/* out[n] = sqrt(i[n]^2 + q[n]^2) for count samples, rounded to nearest, ties to even. Does not saturate: a
 * magnitude above 32767 gives -32768. out may be i or q. */
ZV_API void ComputeIQModule_I16(const int16_t *i, const int16_t *q, int16_t *out, uint32_t count);
/* dividend / divisor, rounded down. divisor is not 0 and the quotient fits 32 bits: the caller's duty. */
ZV_API uint32_t Div_UI64UI32_UI32(uint64_t dividend, uint32_t divisor);
/* e^x in extended precision: 2^n * 2^f with n + f = x * log2(e), n toward zero. From 16384 ln 2 on, about
 * 11356.5, it is infinity, below -16445 ln 2 it is 0, and those of the infinities are infinity and 0. */
ZV_API long double Exp_Double(double x);
ZV_API long double Exp_Float(float x);
/* log10(x) = log10(2) * log2(x) in extended precision. 0 gives minus infinity, a negative x not-a-number. */
ZV_API long double Log10_F32_Fxx(float x);
/* The same, rounded to nearest, ties to even; -2147483648 for 0 and for all else that has no value. */
ZV_API int32_t Log10_F80_I32(long double x);
/* The full product. */
ZV_API uint64_t Mul_UI32UI32_UI64(uint32_t a, uint32_t b);
/* The number of set bits, 0 to 64. */
ZV_API int32_t OneBits_QWord(uint64_t value);
ZV_END
#endif
