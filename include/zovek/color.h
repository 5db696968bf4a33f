/* Colour arithmetic: a colour is four bytes, each worked out by itself and all treated alike, the top one
 * too, so any order of channels will do.
 *
 * Products are exact and quotients are cut toward zero. A byte whose result lies outside 0 to 255, on either
 * side, becomes 255. The divisor must not be 0 and the quotient must fit 32 bits. Mind that the two functions
 * take divisor and multiplier in different orders. */
#ifndef ZOVEK_COLOR_H
#define ZOVEK_COLOR_H
#include <zovek/base.h>

ZV_BEGIN
/* Blends: a + (b - a) * multiplier / divisor. Multipliers from 0 to divisor run from colour a to colour b;
 * others extrapolate. */
ZV_API uint32_t ColorInterpolate(uint32_t a, uint32_t b, int32_t divisor, int32_t multiplier);
/* Scales: colour * multiplier / divisor. */
ZV_API uint32_t ColorPonderate(uint32_t colour, int32_t multiplier, int32_t divisor);
ZV_END
#endif
