/* A stretch of signal analysed as a whole: autocorrelation, envelope, instantaneous frequency. Functions
 * without state; each call stands alone. I/Q data is interleaved, I first. No call works in place: in and out
 * must not overlap, though a float takes as many bytes as a pair. Kernels of the first two are chosen at the
 * program's first call of each, by the processor record as it stands then, that of the third at each call. */
#ifndef ZOVEK_EXTRACT_H
#define ZOVEK_EXTRACT_H
#include <zovek/base.h>

ZV_BEGIN
/* Normalised autocorrelation of length real values, 1 <= lags < length:
 *
 *   out[j] = |sum over k < min(lags, length - j - 1) of in[k] in[k + lag]|, j = 0 .. lags - 1
 *
 * divided by the largest, which comes to 1; all zeros where all sums are 0. There is no window and no
 * division by the number of terms. The lag is j, so out[0] is the energy; on AMD family 6 with 3DNow! it is
 * j + 1, and the arithmetic is float throughout. Without lags nothing is written. */
ZV_API void Correlate_Float_Float(const float *in, float *out, int32_t length, int32_t lags);
/* Envelope sqrt(I^2 + Q^2) of count pairs, divided by lowest + highest: an envelope that swings between two
 * levels lies symmetrically about 0.5, a constant one is 0.5. Returns the mean of out. Silence gives zeros,
 * and no pairs return 0. */
ZV_API long double ExtractAmplitude_16_Float(const int16_t *in, float *out, uint32_t count);
/* Instantaneous frequency of count pairs, from the cross product of successive phasors:
 *
 *   f[i] = sampling_rate / (2 pi) (Q' I - I' Q) / (I^2 + Q^2), (I', Q') being the pair before, first (0, 0)
 *
 * and 0 where I = Q = 0. Returns the mean of f, Hz; out[i] = f[i] - mean, Hz. A phasor that turns by +w
 * radians a sample reads -sampling_rate / (2 pi) sin(w), close to its frequency for small w alone. I^2 + Q^2
 * is a 32-bit integer: I = Q = -32768 wraps and turns the sign. No pairs return 0. */
ZV_API long double ExtractFrequency_16_Float(const int16_t *in, float *out, uint32_t count,
                                             float sampling_rate);
ZV_END
#endif
