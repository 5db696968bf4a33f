#include "obvious_demodulator.h"
#include <math.h>
#include <string.h>

static const double two_pi = 6.283185307179586;

static void mix(struct obvious_demodulator* d, const int16_t* in, int32_t count)
{
    int16_t* i = d->post_mixer_i.history + d->post_mixer_i.taps_count - 1;
    int16_t* q = d->post_mixer_q.history + d->post_mixer_q.taps_count - 1;
    for (int32_t k = 0; k < count; k++) {
        i[k] = (int16_t)(((int64_t)in[k] * d->table[2 * d->phase]) >> 31);
        q[k] = (int16_t)(((int64_t)in[k] * d->table[2 * d->phase + 1]) >> 31);
        d->phase += d->local_frequency;
        if (d->phase >= d->sampling_rate) d->phase -= d->sampling_rate;
    }
}

static void run(struct filter* f, int32_t* out, int32_t count, int32_t decimation)
{
    for (int32_t k = 0; k < count / decimation; k++) {
        const int16_t* x = f->history + k * decimation;
        int32_t sum = 0;
        for (int32_t t = 0; t < f->taps_count; t++) sum += f->taps[t] * x[t];
        out[k] = sum * 2;
    }
    memmove(f->history, f->history + count, (size_t)(f->taps_count - 1) * sizeof(int16_t));
}

static int32_t to_int32(double v)
{
    if (v > 2147483647.0) return INT32_MAX;
    if (v < -2147483648.0) return INT32_MIN;
    return (int32_t)lrint(v);
}

static void detect_envelope(struct obvious_demodulator* d, int32_t n)
{
    for (int32_t k = 0; k < n; k++) {
        double i = d->i[k], q = d->q[k];
        d->detected[k] = (int32_t)lrint(0.7071067811865476 * sqrt(i * i + q * q));
    }
}

static void detect_synchronous(struct obvious_demodulator* d, int32_t n)
{
    for (int32_t k = 0; k < n; k++) {
        double c = cos(d->carrier_phase), s = sin(d->carrier_phase);
        double r = d->i[k] * c - d->q[k] * s, x = d->i[k] * s + d->q[k] * c;
        double power = r * r + x * x;
        d->detected[k] = to_int32(1.4142135623730951 * x);
        if (power > 0) d->carrier_error = r * x / power;
        d->carrier_frequency += 2.5e-5 * d->carrier_error;
        d->carrier_phase += d->carrier_frequency + 0.01 * d->carrier_error;
        if (d->carrier_phase > two_pi / 2) d->carrier_phase -= two_pi;
        if (d->carrier_phase <= -two_pi / 2) d->carrier_phase += two_pi;
    }
}

static void detect_weaver(struct obvious_demodulator* d, int32_t n)
{
    int32_t step = d->sideband_offset * d->decimation;
    for (int32_t k = 0; k < n; k++) {
        int64_t c = d->table[2 * d->sideband_phase], s = d->table[2 * d->sideband_phase + 1];
        d->detected[k] = (int32_t)(((d->i[k] * c) >> 31) + ((d->q[k] * s) >> 31));
        d->sideband_phase = (d->sideband_phase + step) % d->sampling_rate;
    }
}

static void detect_frequency(struct obvious_demodulator* d, int32_t n)
{
    for (int32_t k = 0; k < n; k++) {
        int64_t i = d->i[k], q = d->q[k];
        int32_t y = (int32_t)((i * d->previous_q) >> 32) - (int32_t)((q * d->previous_i) >> 32);
        int32_t p = (int32_t)((i * i) >> 32) + (int32_t)((q * q) >> 32);
        d->detected[k] = (int32_t)lrint(atan2(y, p) * -341782624.0);
        d->previous_i = d->i[k];
        d->previous_q = d->q[k];
    }
}

struct blocker {
    double a, b, input, output;
};

static struct blocker blocker(const struct obvious_demodulator* d, double input, double output)
{
    double r = exp(-two_pi * d->dc_cutoff * d->decimation / d->sampling_rate);
    struct blocker made = {(float)r, (float)((1 + r) / 2), input, output};
    return made;
}

static int16_t block_dc(struct blocker* b, double x)
{
    b->output = b->a * b->output + b->b * (x - b->input);
    b->input = x;
    return (int16_t)lrint(b->output / 65536);
}

static int16_t to_int16(double v)
{
    long rounded = lrint(v);
    return (int16_t)(rounded > 32767 ? 32767 : rounded < -32768 ? -32768 : rounded);
}

static void sidebands(struct obvious_demodulator* d, int16_t* out, int32_t n)
{
    int32_t late = d->hilbert.taps_count / 2, frames = n * d->upsample;
    int16_t* upper = d->hilbert.history + d->hilbert.taps_count - 1;
    for (int32_t k = 0; k < n; k++) upper[k] = (int16_t)(d->i[k] >> 16);
    run(&d->hilbert, d->h, n, 1);
    memcpy(d->delay + late, d->q, (size_t)n * sizeof(int32_t));
    memcpy(d->p, d->delay, (size_t)n * sizeof(int32_t));
    memmove(d->delay, d->delay + n, (size_t)late * sizeof(int32_t));

    struct blocker lower = blocker(d, d->dc_input, d->dc_output);
    struct blocker higher = blocker(d, d->dc_input_2, d->dc_output_2);
    int16_t* left = d->audio_left.history + d->audio_left.taps_count - 1;
    int16_t* right = d->audio_right.history + d->audio_right.taps_count - 1;
    memset(left, 0, (size_t)frames * sizeof(int16_t));
    memset(right, 0, (size_t)frames * sizeof(int16_t));
    for (int32_t k = 0; k < n; k++) {
        left[k * d->upsample] = block_dc(&lower, (double)d->p[k] + d->h[k]);
        right[k * d->upsample] = block_dc(&higher, (double)d->p[k] - d->h[k]);
    }
    d->dc_input = lower.input;
    d->dc_output = lower.output;
    d->dc_input_2 = higher.input;
    d->dc_output_2 = higher.output;
    run(&d->audio_left, d->audio, frames, 1);
    run(&d->audio_right, d->audio_2, frames, 1);
    double gain = d->volume * d->upsample / 65536;
    for (int32_t k = 0; k < frames; k++) {
        out[2 * k] = to_int16(d->audio[k] * gain);
        out[2 * k + 1] = to_int16(d->audio_2[k] * gain);
    }
}

void obvious_demodulate(struct obvious_demodulator* d, const int16_t* in, int16_t* out, int32_t count)
{
    int32_t n = count / d->decimation, frames = n * d->upsample;
    mix(d, in, count);
    run(&d->post_mixer_i, d->i, count, d->decimation);
    run(&d->post_mixer_q, d->q, count, d->decimation);
    switch (d->mode) {
    case 0:
        detect_envelope(d, n);
        break;
    case 1:
        detect_synchronous(d, n);
        break;
    case 2:
        sidebands(d, out, n);
        return;
    case 3:
        detect_weaver(d, n);
        break;
    case 4:
        detect_frequency(d, n);
        break;
    }
    struct blocker b = blocker(d, d->dc_input, d->dc_output);
    int16_t* to = d->audio_left.history + d->audio_left.taps_count - 1;
    memset(to, 0, (size_t)frames * sizeof(int16_t));
    for (int32_t k = 0; k < n; k++) to[k * d->upsample] = block_dc(&b, d->detected[k]);
    d->dc_input = b.input;
    d->dc_output = b.output;
    run(&d->audio_left, d->audio, frames, 1);
    double gain = (d->mode == 0 ? 2 : 1) * d->volume * d->upsample / 65536;
    for (int32_t k = 0; k < frames; k++) out[2 * k] = out[2 * k + 1] = to_int16(d->audio[k] * gain);
}
