/* The FIR filter as one would write it: block behind the history, an inner product for each result, history
 * moved on. Arithmetic and work are those of ZVFIR1616 and ZVFIR1632. */
#include "obvious_fir.h"
#include <string.h>

void obvious_fir1616(const int16_t* taps, int taps_count, int16_t* history, const int16_t* in, int count,
                     int decimation, int16_t* out)
{
    memcpy(history + taps_count - 1, in, (size_t)count * sizeof *in);
    for (int i = 0; i < count / decimation; ++i) {
        const int16_t* x = history + i * decimation;
        int32_t sum = 0;
        for (int t = 0; t < taps_count; ++t) sum += taps[t] * x[t];
        out[i] = (int16_t)(sum >> 15);
    }
    memmove(history, history + count, (size_t)(taps_count - 1) * sizeof *history);
}

void obvious_fir1632(const int16_t* taps, int taps_count, int16_t* history, const int16_t* in, int count,
                     int decimation, int32_t* out)
{
    memcpy(history + taps_count - 1, in, (size_t)count * sizeof *in);
    for (int i = 0; i < count / decimation; ++i) {
        const int16_t* x = history + i * decimation;
        int32_t sum = 0;
        for (int t = 0; t < taps_count; ++t) sum += taps[t] * x[t];
        out[i] = sum * 2;
    }
    memmove(history, history + count, (size_t)(taps_count - 1) * sizeof *history);
}
