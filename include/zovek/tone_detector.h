/* Tone detector: how much of a signal lies in a narrow band. One second-order band-pass with gain 1 at its
 * centre, and two running sums, of the absolute input and of the absolute filter output. Once the filter has
 * settled (on the order of sampling_rate / bandwidth samples), tone_level / input_level tends to 1 for a tone
 * at frequency and to a small number for all else; silence gives 0 / 0. The decision is the client's.
 *
 *   H(z) = (1 - K + 2 (K - R) C z^-1 + (R^2 - K) z^-2) / (1 - 2 R C z^-1 + R^2 z^-2)
 *   R = 1 - 3 bandwidth / sampling_rate, C = cos(2 pi frequency / sampling_rate),
 *   K = (1 - 2 R C + R^2) / (2 - 2 C)
 *   (S. W. Smith, The Scientist and Engineer's Guide to Digital Signal Processing, ch. 19)
 *
 * At the defaults the ratio is 1.000 for 1000 Hz, 0.69 for 1005, 0.43 for 1010 and 0.05 for 1100 Hz. */
#ifndef ZOVEK_TONE_DETECTOR_H
#define ZOVEK_TONE_DETECTOR_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVToneDetector ZVToneDetector;
struct ZVToneDetector {
    double sampling_rate; /* Hz; 44100 at first */
    double frequency;     /* centre, Hz, neither 0 nor a multiple of sampling_rate; 1000 at first */
    double bandwidth;     /* between the half-power points, Hz, below sampling_rate / 3; 10 at first */
    double input_level;   /* sum of |x|; 16-bit samples count as they are, full scale 32768 */
    double tone_level;    /* sum of |y| */
    double a2, a1, a0;    /* coefficients of x[n-2], x[n-1], x[n] */
    double b1, b2;        /* coefficients of y[n-1], y[n-2] */
    double x2, x1;        /* x[n-2], x[n-1] */
    double y1, y2;        /* y[n-1], y[n-2] */
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVToneDetector *ZVToneDetector_Construct(ZVToneDetector *self);
/* Bit 0 of flags frees the record. A null self does nothing. */
ZV_API void ZVToneDetector_Destruct(ZVToneDetector *self, uint32_t flags);

/* A new value runs ZVToneDetector_Update, the present one does nothing. */
ZV_API void ZVToneDetector_SamplingRate(ZVToneDetector *self, double hz);
ZV_API void ZVToneDetector_Frequency(ZVToneDetector *self, double hz);
ZV_API void ZVToneDetector_Bandwidth(ZVToneDetector *self, double hz);
/* Designs the filter from the first three fields, brings it to rest and clears the sums. For clients that
 * write several of these fields. */
ZV_API void ZVToneDetector_Update(ZVToneDetector *self);
/* Clears the two sums; the filter runs on, so the next period is measured without a transient. */
ZV_API void ZVToneDetector_Init(ZVToneDetector *self);

/* Measures in[0], in[step], ...: length / step samples, rounded down; a step of 0 takes nothing. A stream may
 * be cut anywhere. Reals may have any scale. */
ZV_API void ZVToneDetector_Process_16(ZVToneDetector *self, const int16_t *in, uint32_t length, uint32_t step);
ZV_API void ZVToneDetector_Process_double(ZVToneDetector *self, const double *in, uint32_t length,
                                          uint32_t step);
ZV_END
#endif
