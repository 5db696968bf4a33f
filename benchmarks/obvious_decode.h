/* The decoders as a C programmer would write them at first: one loop each, arithmetic in double. */
#ifndef OBVIOUS_DECODE_H
#define OBVIOUS_DECODE_H
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
struct obvious_correlator {
    double step_1, step_2; /* radians a sample */
    int32_t n, index;      /* samples a bit, oldest place in the ring */
    double phase_1, phase_2;
    float ring[256][4], sums[4];
};
void obvious_correlate(struct obvious_correlator* d, const int16_t* in, int16_t* out, int32_t count);

struct obvious_filter {
    int32_t taps_count;
    const int16_t* taps; /* tap 0 meets the oldest sample */
    int16_t* history;    /* taps_count - 1 old samples, then the block */
};
struct obvious_delay {
    struct obvious_filter before, after;
    int32_t delay;
    int16_t* line; /* delay old samples, then the block */
};
void obvious_delay_demodulate(struct obvious_delay* d, const int16_t* in, int16_t* out, int32_t count);

typedef void (*obvious_bits)(uintptr_t user, void* formatter, int32_t count, int32_t value);
struct obvious_formatter {
    obvious_bits callback;
    uintptr_t user;
    double samples_per_bit, loop_gain, peak_decay, last, next;
    int32_t previous, high, low, extreme, state, position, counter, d1, d2;
};
void obvious_loop(struct obvious_formatter* f, const int16_t* in, int32_t count);
void obvious_slopes(struct obvious_formatter* f, const int16_t* in, int32_t count);
#ifdef __cplusplus
}
#endif
#endif
