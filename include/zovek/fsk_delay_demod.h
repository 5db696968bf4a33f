/* FSK demodulator by delay: a one-bit delay-and-multiply discriminator for 16-bit audio.
 *
 *   in -> [first difference] -> pre_filter -> delay_line
 *      -> signs equal: 16383, else -16384 -> post_filter -> out
 *
 * A tone whose phase turns by f (-pi to pi) over the delay settles at 16383 (1 - 2 |f| / pi): full scale for
 * no turn, 0 for a quarter, minus full scale for half a turn. The level of the input plays no part. The
 * client tunes the chain through its open members: ZVDelayLine_Delay on delay_line, ZVFIR_CutOffHigh,
 * ZVFIR_TapsNum and the like on the filters, whose kernels are chosen in Construct. */
#ifndef ZOVEK_FSK_DELAY_DEMOD_H
#define ZOVEK_FSK_DELAY_DEMOD_H
#include <zovek/delay_line.h>
#include <zovek/fir.h>

ZV_BEGIN
typedef struct ZVFSKDelayDemod ZVFSKDelayDemod;
struct ZVFSKDelayDemod {
    ZVFIR       *pre_filter;      /* the object's own, as are the next two; ZVFIR1616 low-pass at first settings */
    ZVDelayLine *delay_line;      /* ZVDelayLine16; 1 sample at first */
    ZVFIR       *post_filter;     /* ZVFIR1616 low-pass at first settings */
    uint32_t     buffer_size;     /* samples a block takes, at least 1; 1024 at first */
    uint32_t     differentiate;   /* not 0: (x - previous_sample) >> 1 goes on in place of x; the client writes */
                                  /* it; 0 at first */
    int32_t      previous_sample; /* the last input sample, with or without difference */
    ZVFIR        pre_filter_object;
    ZVDelayLine  delay_line_object;
    ZVFIR        post_filter_object;
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVFSKDelayDemod *ZVFSKDelayDemod16_Construct(ZVFSKDelayDemod *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVFSKDelayDemod_Destruct(ZVFSKDelayDemod *self, uint32_t flags);

/* >= 1. A new size goes to the three members, whose histories it clears; the present one does nothing. */
ZV_API void ZVFSKDelayDemod16_BufferSize(ZVFSKDelayDemod *self, uint32_t size);
/* Hz, for the designs of both filters. The delay stays as many samples. */
ZV_API void ZVFSKDelayDemod_SamplingRate(ZVFSKDelayDemod *self, float hz);

/* Demodulates in[0], in[step], ...: length / step samples, rounded down, into as many contiguous values. out
 * may be in when step is 1. A null out leaves the values of each block in out_buffer of post_filter, over the
 * last one's. A length below step, or a step below 1, does nothing. */
ZV_API void ZVFSKDelayDemod16_Process(ZVFSKDelayDemod *self, int16_t *out, const int16_t *in, int32_t length,
                                      int32_t step);
ZV_END
#endif
