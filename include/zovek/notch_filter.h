/* Notch filter: takes one narrow band out of 16-bit audio, in place, with one second-order section.
 *
 *   H(z) = K (1 - 2 C z^-1 + z^-2) / (1 - 2 R C z^-1 + R^2 z^-2)
 *   R = 1 - 3 bandwidth / sampling_rate, C = cos(2 pi frequency / sampling_rate),
 *   K = (1 - 2 R C + R^2) / (2 - 2 C), which makes the gain at 0 Hz 1
 *   (S. W. Smith, The Scientist and Engineer's Guide to Digital Signal Processing, ch. 19)
 *
 * There are no setters: the client writes the first three fields, and each call derives the coefficients
 * anew, so a notch can be moved while the signal runs. */
#ifndef ZOVEK_NOTCH_FILTER_H
#define ZOVEK_NOTCH_FILTER_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVNotchFilter2 ZVNotchFilter2;
struct ZVNotchFilter2 {
    float sampling_rate; /* Hz, not 0; 11025 at first */
    float frequency;     /* centre, Hz, no multiple of sampling_rate; 3000 at first */
    float bandwidth;     /* Hz; 200 at first */
    float x1, x2;        /* the last input and the one before; 0 at first. Zero all four for a clean start */
    float y1, y2;        /* the last output and the one before */
};

ZV_API ZVNotchFilter2 *ZVNotchFilter2_Construct(ZVNotchFilter2 *self);
ZV_API void ZVNotchFilter2_Destruct(ZVNotchFilter2 *self, uint32_t flags);
/* Filters count samples in place; 0 or below of them change nothing. A result beyond 16 bits wraps, it is not
 * clipped. */
ZV_API void ZVNotchFilter2_Process16(ZVNotchFilter2 *self, int16_t *buffer, int32_t count);
ZV_END
#endif
