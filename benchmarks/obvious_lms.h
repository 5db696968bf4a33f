/* window has room for taps_count - 1 + delay + count samples. */
#pragma once
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
void obvious_lms(int16_t* coefficients, int taps_count, int delay, int16_t* window, float* power,
                 float step_size, float regularisation, float leakage, const int16_t* in, int count,
                 int16_t* out);
#ifdef __cplusplus
}
#endif
