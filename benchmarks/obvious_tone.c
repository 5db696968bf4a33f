#include "obvious_tone.h"
#include <math.h>
#include <string.h>

void obvious_tone_extended(struct obvious_tone* t, const int16_t* in, int count)
{
    const double a0 = t->a0, a1 = t->a1, a2 = t->a2, b1 = t->b1, b2 = t->b2;
    double x1 = t->x1, x2 = t->x2, y1 = t->y1, y2 = t->y2;
    long double input = t->input_level, tone = t->tone_level;
    for (int k = 0; k < count; ++k) {
        const double x = in[k];
        const long double y = (long double)a2 * x2 + (long double)a1 * x1 + (long double)a0 * x +
                              (long double)b2 * y2 + (long double)b1 * y1;
        x2 = x1, x1 = x, y2 = y1, y1 = (double)y;
        input += fabs(x);
        tone += fabsl(y);
    }
    t->x1 = x1, t->x2 = x2, t->y1 = y1, t->y2 = y2;
    t->input_level = (double)input, t->tone_level = (double)tone;
}

void obvious_tone_double(struct obvious_tone* t, const int16_t* in, int count)
{
    const double a0 = t->a0, a1 = t->a1, a2 = t->a2, b1 = t->b1, b2 = t->b2;
    double x1 = t->x1, x2 = t->x2, y1 = t->y1, y2 = t->y2, input = t->input_level, tone = t->tone_level;
    for (int k = 0; k < count; ++k) {
        const double x = in[k];
        const double y = a2 * x2 + a1 * x1 + a0 * x + b2 * y2 + b1 * y1;
        x2 = x1, x1 = x, y2 = y1, y1 = y;
        input += fabs(x);
        tone += fabs(y);
    }
    t->x1 = x1, t->x2 = x2, t->y1 = y1, t->y2 = y2;
    t->input_level = input, t->tone_level = tone;
}

void obvious_tone_corr(struct obvious_corr* t, const int16_t* in, int count, int16_t* out)
{
    const int16_t *sine = t->sine, *cosine = t->cosine, *taps = t->taps;
    const int positions = t->positions, taps_count = t->taps_count;
    int16_t *window = t->window, *history = t->history, *power = history + taps_count - 1;
    memcpy(window + positions - 1, in, (size_t)count * sizeof *in);
    for (int r = 0; r < count; ++r) {
        int32_t s = 0, c = 0;
        for (int i = 0; i < positions; ++i) {
            s += window[r + i] * sine[i];
            c += window[r + i] * cosine[i];
        }
        power[r] = (int16_t)(((int64_t)s * s + (int64_t)c * c) >> 45);
    }
    memmove(window, window + count, (size_t)(positions - 1) * sizeof *window);
    for (int r = 0; r < count; ++r) {
        int32_t sum = 0;
        for (int k = 0; k < taps_count; ++k) sum += taps[k] * history[r + k];
        out[r] = (int16_t)(sum >> 15);
    }
    memmove(history, history + count, (size_t)(taps_count - 1) * sizeof *history);
}

void obvious_correlate(const float* in, float* out, int length, int lags)
{
    float largest = 0;
    for (int j = 0; j < lags; ++j) {
        const int terms = lags < length - j - 1 ? lags : length - j - 1;
        double sum = 0;
        for (int k = 0; k < terms; ++k) sum += (double)in[k] * in[k + j];
        out[j] = (float)fabs(sum);
        if (out[j] > largest) largest = out[j];
    }
    for (int j = 0; j < lags; ++j) out[j] /= largest;
}

double obvious_amplitude(const int16_t* in, float* out, int count)
{
    float lowest = INFINITY, highest = 0;
    for (int k = 0; k < count; ++k) {
        const float i = in[2 * k], q = in[2 * k + 1], a = sqrtf(i * i + q * q);
        out[k] = a;
        if (a < lowest) lowest = a;
        if (a > highest) highest = a;
    }
    const float scale = 1 / (lowest + highest);
    double sum = 0;
    for (int k = 0; k < count; ++k) sum += out[k] *= scale;
    return sum / count;
}

double obvious_frequency(const int16_t* in, float* out, int count, float rate)
{
    const float scale = rate * 0.15915494f;
    int before_i = 0, before_q = 0;
    double sum = 0;
    for (int k = 0; k < count; ++k) {
        const int i = in[2 * k], q = in[2 * k + 1], power = i * i + q * q;
        out[k] = power ? scale * (float)(before_q * i - before_i * q) / (float)power : 0;
        sum += out[k];
        before_i = i, before_q = q;
    }
    const float mean = (float)(sum / count);
    for (int k = 0; k < count; ++k) out[k] -= mean;
    return sum / count;
}
