/* history has room for taps_count - 1 + count samples; count is a multiple of decimation. */
#pragma once
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
void obvious_fir1616(const int16_t* taps, int taps_count, int16_t* history, const int16_t* in, int count,
                     int decimation, int16_t* out);
void obvious_fir1632(const int16_t* taps, int taps_count, int16_t* history, const int16_t* in, int count,
                     int decimation, int32_t* out);
#ifdef __cplusplus
}
#endif
