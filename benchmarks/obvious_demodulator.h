/* The receiver chain as a C programmer would write it at first: one loop a stage, arithmetic in double. */
#ifndef OBVIOUS_DEMODULATOR_H
#define OBVIOUS_DEMODULATOR_H
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
struct filter {
    int32_t taps_count;
    const int16_t* taps; /* tap 0 meets the oldest sample */
    int16_t* history;    /* taps_count - 1 old samples, then the block */
};
struct obvious_demodulator {
    int32_t mode, sampling_rate, local_frequency, decimation, upsample, sideband_offset;
    double dc_cutoff, volume;
    const int32_t* table; /* cosine and negative sine in turn, one cycle */
    struct filter post_mixer_i, post_mixer_q, hilbert, audio_left, audio_right;
    int32_t *i, *q, *h, *p, *delay, *detected, *audio, *audio_2;
    int32_t phase, sideband_phase, previous_i, previous_q;
    double carrier_phase, carrier_frequency, carrier_error, dc_input, dc_input_2, dc_output, dc_output_2;
};
/* count input samples, a multiple of decimation, to count / decimation * upsample stereo frames */
void obvious_demodulate(struct obvious_demodulator* d, const int16_t* in, int16_t* out, int32_t count);
#ifdef __cplusplus
}
#endif
#endif
