/* What the tone detectors and the extraction primitives do, as a program would write it for itself. */
#pragma once
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
struct obvious_tone {
    double a0, a1, a2, b1, b2;
    double x1, x2, y1, y2;
    double input_level, tone_level;
};
/* The detector's arithmetic, and the same in double, whose rounding a narrow filter magnifies. */
void obvious_tone_extended(struct obvious_tone* t, const int16_t* in, int count);
void obvious_tone_double(struct obvious_tone* t, const int16_t* in, int count);

/* Power of a tone at each sample, then a FIR filter over it. window has room for positions - 1 + count
 * samples, history for taps_count - 1 + count. */
struct obvious_corr {
    const int16_t *sine, *cosine, *taps;
    int positions, taps_count;
    int16_t *window, *history;
};
void obvious_tone_corr(struct obvious_corr* t, const int16_t* in, int count, int16_t* out);

void obvious_correlate(const float* in, float* out, int length, int lags);
double obvious_amplitude(const int16_t* in, float* out, int count);
double obvious_frequency(const int16_t* in, float* out, int count, float rate);
#ifdef __cplusplus
}
#endif
