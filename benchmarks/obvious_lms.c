/* The LMS predictor as one would write it: block behind the history, sum, error, update of 16-bit
 * coefficients in double, history moved on. The work is that of ZVLMS1616. */
#include "obvious_lms.h"
#include <math.h>
#include <string.h>

void obvious_lms(int16_t* coefficients, int taps_count, int delay, int16_t* window, float* power,
                 float step_size, float regularisation, float leakage, const int16_t* in, int count,
                 int16_t* out)
{
    const int history = taps_count - 1 + delay;
    memcpy(window + history, in, (size_t)count * sizeof *in);
    for (int n = 0; n < count; ++n) {
        const int16_t* h = window + n;
        int32_t sum = 0;
        for (int i = 0; i < taps_count; ++i) sum += coefficients[i] * h[i];
        const int32_t prediction = sum >> 15, error = in[n] - prediction;
        out[n] = (int16_t)prediction;
        const double newest = h[taps_count - 1], oldest = h[0], energy = *power + newest * newest;
        *power = (float)(energy - oldest * oldest);
        const double gain = error / (energy + regularisation + 1) * step_size * 32767, keep = 1.0 - leakage;
        for (int i = 0; i < taps_count; ++i) {
            const double c = nearbyint(keep * coefficients[i] + gain * h[i]);
            coefficients[i] = c >= -32768 && c <= 32767 ? (int16_t)(int)c : -32768;
        }
    }
    memmove(window, window + count, (size_t)history * sizeof *window);
}
