/* What a C programmer would write: the filter of the interpolated stream with the zeros left out, 16-bit
 * samples, taps of 32 bits, sums of 64 bits. */
#include "obvious_resampler.h"

static int16_t scaled(int64_t sum, int32_t over)
{
    const int64_t y = (sum * over) >> 31;
    return (int16_t)(y > INT16_MAX ? INT16_MAX : y < INT16_MIN ? INT16_MIN : y);
}

int32_t obvious_resample(int16_t* out, const int16_t* x, int32_t count, const int32_t* taps,
                         int32_t taps_count, int32_t over, int32_t under)
{
    int32_t made = 0;
    for (int64_t p = 0; p / over < count; p += under) {
        const int32_t r = (int32_t)(p % over);
        int64_t j = (p + over - 1) / over, sum = 0;
        for (int32_t t = r == 0 ? 0 : over - r; t < taps_count; t += over) sum += (int64_t)x[j++] * taps[t];
        out[made++] = scaled(sum, over);
    }
    return made;
}

/* Taps sorted by phase, so that the inner loop is an inner product of two contiguous runs. */
int32_t obvious_polyphase(int16_t* out, const int16_t* x, int32_t count, const int32_t* rows,
                          int32_t row_taps, int32_t over, int32_t under)
{
    int32_t made = 0;
    for (int64_t p = 0; p / over < count; p += under) {
        const int16_t* span = x + p / over;
        const int32_t* row = rows + (p % over) * row_taps;
        int64_t sum = 0;
        for (int32_t k = 0; k < row_taps; ++k) sum += (int64_t)span[k] * row[k];
        out[made++] = scaled(sum, over);
    }
    return made;
}
