#include "obvious_decode.h"
#include <math.h>
#include <string.h>

void obvious_correlate(struct obvious_correlator* d, const int16_t* in, int16_t* out, int32_t count)
{
    for (int32_t k = 0; k < count; k++) {
        const double x = in[k];
        const double products[4] = {x * cos(d->phase_1), x * sin(d->phase_1), x * sin(d->phase_2),
                                    x * cos(d->phase_2)};
        float* old = d->ring[d->index];
        for (int j = 0; j < 4; j++) {
            d->sums[j] += products[j] - old[j];
            old[j] = (float)products[j];
        }
        const double a = d->sums[0], b = d->sums[1], c = d->sums[2], e = d->sums[3];
        out[k] = (int16_t)lrint((sqrt(a * a + b * b) - sqrt(c * c + e * e)) / d->n);
        d->phase_1 += d->step_1;
        d->phase_2 += d->step_2;
        if (++d->index == d->n) d->index = 0;
    }
}

static void filter(struct obvious_filter* f, int16_t* out, int32_t count)
{
    for (int32_t k = 0; k < count; k++) {
        const int16_t* x = f->history + k;
        int32_t sum = 0;
        for (int32_t t = 0; t < f->taps_count; t++) sum += f->taps[t] * x[t];
        out[k] = (int16_t)(sum >> 15);
    }
    memmove(f->history, f->history + count, (size_t)(f->taps_count - 1) * sizeof(int16_t));
}

void obvious_delay_demodulate(struct obvious_delay* d, const int16_t* in, int16_t* out, int32_t count)
{
    memcpy(d->before.history + d->before.taps_count - 1, in, (size_t)count * sizeof(int16_t));
    filter(&d->before, d->line + d->delay, count);
    int16_t* signs = d->after.history + d->after.taps_count - 1;
    for (int32_t k = 0; k < count; k++)
        signs[k] = (d->line[k] < 0) == (d->line[k + d->delay] < 0) ? 16383 : -16384;
    memmove(d->line, d->line + count, (size_t)d->delay * sizeof(int16_t));
    filter(&d->after, out, count);
}

void obvious_loop(struct obvious_formatter* f, const int16_t* in, int32_t count)
{
    const double p = f->samples_per_bit, g = f->loop_gain;
    for (int32_t k = 0; k < count; k++) {
        const int32_t x = in[k], previous = f->previous;
        f->previous = x;
        if ((x ^ previous) < 0 || (x == 0 && previous != 0)) f->next = f->last * (1 - g) + p * (1 - g / 2);
        if (f->next <= 0) {
            if (f->callback) f->callback(f->user, f, 1, x >= 0);
            f->last = f->next;
            f->next += p;
        }
        f->last -= 1;
        f->next -= 1;
    }
}

static void edge(struct obvious_formatter* f, int32_t state, int32_t slope)
{
    const double p = f->samples_per_bit;
    const int32_t bits = (int32_t)((f->position - f->next) / p + 1);
    f->state = state;
    f->extreme = slope;
    f->last -= f->position;
    f->next -= f->position;
    f->counter -= f->position;
    if (bits != 0) f->last = f->next + (bits - 1) * p;
    f->next = p / 2 - f->loop_gain * (f->last + p / 2);
    if (bits > 0 && f->callback) f->callback(f->user, f, bits, state);
}

void obvious_slopes(struct obvious_formatter* f, const int16_t* in, int32_t count)
{
    const double k = f->peak_decay;
    for (int32_t n = 0; n < count; n++) {
        const int32_t d = in[n] - f->previous, s = (d + f->d1 + f->d2) / 3;
        f->previous = in[n];
        f->d2 = f->d1;
        f->d1 = d;
        f->high = s >= f->high ? s : (int32_t)lrint((1 - k) * f->high + k * s);
        f->low = s <= f->low ? s : (int32_t)lrint((1 - k) * f->low + k * s);
        if (f->state) {
            const int32_t t = f->high >> 1;
            if (s >= t && s > f->extreme) f->extreme = s, f->position = f->counter;
            if (s < t && t < f->extreme) edge(f, 0, s);
        } else {
            const int32_t t = f->low >> 1;
            if (s <= t && s < f->extreme) f->extreme = s, f->position = f->counter;
            if (s > t && t > f->extreme) edge(f, 1, s);
        }
        f->counter++;
    }
}
