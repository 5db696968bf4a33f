/* LMS adaptive filter: a linear predictor of 16-bit audio that learns while it runs. It predicts each sample
 * from a window of T older ones. What is periodic can be predicted and what is random cannot, so the
 * prediction is the signal's tones with the noise lowered, and the error is the signal without its tones.
 *
 *   p = sum of c[i] h[i], e = x - p
 *   c[i] <- (1 - leakage) c[i] + g h[i],  g = step_size e / (E + regularisation + 1) in Q15
 *
 * h is the window, oldest sample first, E its energy, and x the sample delay places after the newest of h:
 * normalised LMS with leakage (S. Haykin, Adaptive Filter Theory, ch. 6). Coefficients are Q15, rounded to
 * nearest, ties to even, at each step. Nothing saturates: results wrap at 16 bits, and a coefficient that
 * leaves its range becomes -32768. The divisor isn't guarded, and an adaptation that diverges goes unnoticed.
 *
 * Speech at 8 kHz, as measured: against noise the prediction with step_size 0.2, leakage 0.1 and delay 0 (10
 * dB better signal to noise, and 8 dB quieter); against whistles the error with 64 taps, delay 16, step_size
 * 0.002 and leakage 0.00001 (27 dB off a whistle as loud as the speech). */
#ifndef ZOVEK_LMS_H
#define ZOVEK_LMS_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVLMS1616 ZVLMS1616;
/* "open": the client writes the field, there is no setter, and the next sample goes by it. */
struct ZVLMS1616 {
    /* These three point into work_block: read them again after a setter. Coefficients that a client stores
     * count from the next call on. */
    int16_t *coefficients;   /* T values in Q15, then zeros past the next multiple of 4; in work_block */
    int16_t *input_write;    /* where new samples go: work_block + T + delay - 1 samples */
    int16_t *output_buffer;  /* own output, buffer_size samples; an area of work_block */
    float    step_size;      /* open; stable below 2; 0.5 at first. With 0 nothing new is learnt, but leakage
                                goes on: coefficients are frozen only where both are 0, and fade to 0 else */
    float    regularisation; /* open; added to the window's energy, 16-bit units squared; 1 at first */
    float    leakage;        /* open; what a coefficient loses at a sample, 0 nothing, 1 all; 0.5 at first */
    uint32_t output_error;   /* open; 0: the prediction comes out, else the error; 0 at first */
    uint32_t buffer_size;    /* samples a block takes, at least 1; 1024 at first */
    uint32_t delay;          /* samples from the newest of the window to the predicted one; 0 at first, which
                                puts the predicted one itself into the window */
    uint32_t taps_count;     /* T, at least 1; 31 at first */
    void    *work_block;     /* owned: T + delay - 1 samples of history and the input block | output |
                                coefficients, each at 64 bytes; grows, never shrinks */
    void   (*rebuild)(ZVLMS1616 *self); /* lays out work_block; history, power and coefficients become 0.
                                           The setters go through it with the new value stored */
    float    power;          /* energy of the next window without its newest sample; 0 at first */
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVLMS1616 *ZVLMS1616_Construct(ZVLMS1616 *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVLMS_Destruct(ZVLMS1616 *self, uint32_t flags);

/* A new value starts the adaptation anew from silence; the present one does nothing. */
ZV_API void ZVLMS_BufferSize(ZVLMS1616 *self, uint32_t samples); /* 0 becomes 1 */
ZV_API void ZVLMS_TapsNum(ZVLMS1616 *self, uint32_t taps);       /* 0 becomes 1 */
ZV_API void ZVLMS_DelaySize(ZVLMS1616 *self, uint32_t samples);

/* Runs over the count samples that stand at input_write, into out. Null out means output_buffer, count 0
 * means buffer_size, which is the most that is taken. out must not overlap history and input. The kernel is
 * chosen at the program's first call, by the processor record as it stands then, for all objects. */
ZV_API void ZVLMS1616_Process(ZVLMS1616 *self, int16_t *out, uint32_t count);
/* Runs over a caller's stream of any length. Takes in[0], in[step], ... while the position is below length;
 * out is contiguous and may be in when step is 1. A null out leaves each block in output_buffer, over the one
 * before. A length or step of 0 or below does nothing. */
ZV_API void ZVLMS1616_Process_16_16(ZVLMS1616 *self, int16_t *out, const int16_t *in, int32_t length,
                                    int32_t step);
ZV_END
#endif
