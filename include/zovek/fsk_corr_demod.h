/* FSK demodulator by correlation: two-tone audio becomes a soft bit stream, one 16-bit value a sample.
 *
 * Each tone has a quadrature correlator over the last N samples, one bit long, with the phase p of its
 * oscillator running on: A = sqrt((sum of x cos p)^2 + (sum of x sin p)^2). The result is (A1 - A2) / N,
 * rounded to nearest, ties to even: positive while tone 1 is the stronger one. A steady tone of amplitude a
 * that fills whole cycles of the window gives a / 2 or -a / 2. Bits are for ZVDataFormatter2 to take.
 *
 * Sums only ever gain and lose products, so what rounding leaves in them stays until the next rebuild. Phases
 * are not reduced, and their single precision coarsens as they grow: at the first settings tone 2 passes
 * 65536 radians, where a phase is rounded by up to 0.004 radians a block, after 5 seconds, and a million
 * radians, 0.03, after 76. A client that runs for long takes whole turns off phase_1 and phase_2 between
 * calls. */
#ifndef ZOVEK_FSK_CORR_DEMOD_H
#define ZOVEK_FSK_CORR_DEMOD_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVFSKCorrDemod ZVFSKCorrDemod;
struct ZVFSKCorrDemod {
    /* Demodulates the first count samples of buffer (0: buffer_size; at most buffer_size) into out (null, or
     * buffer itself: over buffer). Chosen in Construct; Process goes through it. */
    void   (*kernel)(ZVFSKCorrDemod *self, int16_t *out, uint32_t count);
    int16_t *buffer;          /* owned: the block being worked on, buffer_size samples. Read it again after
                                 BufferSize, and window after the other two setters */
    uint32_t buffer_size;     /* samples a block takes, at least 1; 512 at first */
    float    sampling_rate;   /* Hz; 22050 at first */
    float    tone_1;          /* Hz; 1200 at first. The client writes both tones; a block reads them at its */
    float    tone_2;          /* Hz; 2200 at first. start, and neither window nor phases are disturbed */
    float    bit_rate;        /* bits a second; 1200 at first */
    uint32_t window_capacity; /* floats in window; grows, never shrinks */
    float   *window;          /* owned: ring of window_length products, four a sample: x cos p1, x sin p1, */
                              /* x sin p2, x cos p2 */
    void   (*rebuild)(ZVFSKCorrDemod *self); /* derives the window anew: empty, sums at 0; phases run on */
    void   (*resize)(ZVFSKCorrDemod *self);  /* makes buffer hold buffer_size samples */
    uint32_t window_length;   /* 4 N */
    uint32_t window_index;    /* oldest sample's first product in window, a multiple of 4 */
    float    phase_1;         /* radians, of the next sample */
    float    phase_2;
    float    sum_1_cos;       /* sums of the four products over the window */
    float    sum_1_sin;
    float    sum_2_sin;
    float    sum_2_cos;
    int32_t  samples_per_bit; /* N: sampling_rate / bit_rate + 0.5 to nearest, ties to even, at least 2; */
                              /* 19 at first */
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVFSKCorrDemod *ZVFSKCorrDemod16_Construct(ZVFSKCorrDemod *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVFSKCorrDemod_Destruct(ZVFSKCorrDemod *self, uint32_t flags);

/* The present value (the same bits) does nothing. A new rate empties the window; a new size keeps all. */
ZV_API void ZVFSKCorrDemod_BitRate(ZVFSKCorrDemod *self, float bit_rate);   /* above 0 */
ZV_API void ZVFSKCorrDemod_SamplingRate(ZVFSKCorrDemod *self, float hz);    /* above 0 */
ZV_API void ZVFSKCorrDemod_BufferSize(ZVFSKCorrDemod *self, uint32_t size); /* samples, at least 1 */

/* in stands before out. Demodulates in[0], in[step], ...: length / step samples, rounded down, into as many
 * contiguous values; a step below 1 takes nothing. out may be in when step is 1. A null out leaves the values
 * of the first block in buffer, and what exceeds buffer_size is not read. */
ZV_API void ZVFSKCorrDemod16_Process_16_16(ZVFSKCorrDemod *self, const int16_t *in, int16_t *out, int32_t length,
                                           int32_t step);
ZV_END
#endif
