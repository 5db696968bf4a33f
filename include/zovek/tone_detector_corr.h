/* Correlating tone detector: the power of one tone at each sample. The last L samples are correlated with a
 * stored cosine and sine of the tone, and the squared magnitude of the two sums goes through a low-pass:
 *
 *   S = sum over i < L of x[n - L + 1 + i] sine[i], C likewise with cosine[i]    32-bit sums, wrap
 *   power = (S^2 + C^2) >> 45, low 16 bits                                       then the filter
 *   cosine[i], sine[i] = 2 * 32767 / L * cos, sin(2 pi tone_frequency i / sampling_rate), to nearest
 *
 * A steady tone of amplitude a whose cycles fill the window reads about a^2 / 32768: 32767 at full scale,
 * 8192 at half. More than that (a full-scale square wave) doesn't saturate and shows as negative. */
#ifndef ZOVEK_TONE_DETECTOR_CORR_H
#define ZOVEK_TONE_DETECTOR_CORR_H
#include <zovek/fir.h>

ZV_BEGIN
typedef struct ZVToneDetectorCorr ZVToneDetectorCorr;
struct ZVToneDetectorCorr {
    /* Takes the count samples that stand at input_write (0: buffer_size; at most buffer_size) to count
     * results at out (null: the filter's out_buffer), and moves the history on. Process goes through it. */
    void    (*kernel)(ZVToneDetectorCorr *self, int16_t *out, uint32_t count);
    int16_t  *input_write;   /* where new samples go: buffer + L - 1. Read it, buffer and table again after a
                                setter */
    ZVFIR    *filter;        /* owned: ZVFIR1616 behind the correlator, low-pass at 3000 Hz at first, at half the
                                tone once ToneFrequency has changed it; a client may redesign it */
    uint32_t  buffer_size;   /* samples a block takes, not 0; 512 at first */
    uint32_t  tone_samples;  /* L, tone_length * sampling_rate + 0.5 to nearest, ties to even; at least 4 */
    float     sampling_rate; /* Hz, not 0; 22050 at first */
    float     tone_length;   /* seconds; 0.0001 at first */
    float     tone_frequency; /* Hz; 1200 at first */
    uint32_t  table_capacity; /* tone positions that table has room for; grows, never shrinks */
    int16_t  *buffer;        /* owned: L - 1 samples of history | block | slack */
    /* Owned. Two entries a position, zeros up to a whole group of four positions. If the processor record had
     * the MMX bit: groups of four sines and then four cosines; else cosine, sine, cosine, sine, ... */
    int16_t  *table;
    void    (*rebuild)(ZVToneDetectorCorr *self); /* table from the settings, then resize; the history falls
                                                     silent if L is new */
    void    (*resize)(ZVToneDetectorCorr *self);  /* lays out buffer; the history stays */
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVToneDetectorCorr *ZVToneDetectorCorr16_Construct(ZVToneDetectorCorr *self);
/* Frees what the object owns, the filter included; bit 0 of flags frees the record. A null self does
 * nothing. */
ZV_API void ZVToneDetectorCorr_Destruct(ZVToneDetectorCorr *self, uint32_t flags);

/* A value with the bits of the present one does nothing. A new table is used for the samples of the history
 * at once, unless L has changed. */
ZV_API void ZVToneDetectorCorr_BufferSize(ZVToneDetectorCorr *self, uint32_t samples); /* the filter's as well */
ZV_API void ZVToneDetectorCorr_SamplingRate(ZVToneDetectorCorr *self, float hz);       /* the filter's as well */
ZV_API void ZVToneDetectorCorr_ToneLength(ZVToneDetectorCorr *self, float seconds);
ZV_API void ZVToneDetectorCorr_ToneFrequency(ZVToneDetectorCorr *self, float hz); /* the filter cuts at half */

/* in stands before out. Takes in[0], in[step], ...: length / step samples, rounded down; a step of 0 takes
 * nothing. One result a sample, contiguous. With a null out it stops after the first block, whose results are
 * in the filter's out_buffer. out may be in when step is 1. */
ZV_API void ZVToneDetectorCorr16_Process_16_16(ZVToneDetectorCorr *self, const int16_t *in, int16_t *out,
                                               uint32_t length, uint32_t step);
ZV_END
#endif
