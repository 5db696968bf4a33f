/* The plain loops that the resampler is measured against. */
#ifndef OBVIOUS_RESAMPLER_H
#define OBVIOUS_RESAMPLER_H
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
/* Convert count samples by over / under; x begins with the history in front of them. Return the number of
 * outputs. taps: the prototype, Q31. rows: [over][row_taps], the taps in the order of the samples from
 * floor(p / over) on. */
int32_t obvious_resample(int16_t* out, const int16_t* x, int32_t count, const int32_t* taps,
                         int32_t taps_count, int32_t over, int32_t under);
int32_t obvious_polyphase(int16_t* out, const int16_t* x, int32_t count, const int32_t* rows,
                          int32_t row_taps, int32_t over, int32_t under);
#ifdef __cplusplus
}
#endif
#endif
