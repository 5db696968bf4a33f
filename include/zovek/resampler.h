/* Resampler: converts a stream from one rate to another by the exact ratio over / under.
 *
 * A polyphase FIR interpolator-decimator: one windowed-sinc low-pass at the rate input * over, of which an
 * output meets every over-th tap, so that stuffed zeros are never multiplied (R. E. Crochiere, L. R. Rabiner,
 * Multirate Digital Signal Processing, ch. 3). Samples and taps are Q31, sums 64 bits wide; results saturate.
 *
 *   y[m] = floor(over / 2^31 * sum over j of x[j] * taps[over * j - m * under])
 *
 * where x[0] is the oldest sample of the history at the start of the stream. The output lags the input by
 * history_length - (taps_count - 1) / (2 over) input samples.
 *
 * Outside samples are of 8 bits (128 is zero), 16 or 32 bits, left-justified to 32 bits and narrowed by
 * cutting the low bits. */
#ifndef ZOVEK_RESAMPLER_H
#define ZOVEK_RESAMPLER_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVResampler32 ZVResampler32;
struct ZVResampler32 {
    int32_t *input_write;   /* where the next block goes: input_area + history_length. Read it again after a
                               setter, like all that points into work_block */
    int32_t *output_buffer; /* own output: buffer_size * over / under samples, rounded up */
    int32_t  buffer_size;   /* input samples a block takes, at least 1; 1024 at first */
    int32_t  over;          /* interpolation factor, at least 1; 1 at first */
    int32_t  taps_count;    /* taps of the prototype, odd, at least 3; 127 at first */
    int32_t  under;         /* decimation factor, at least 1; 1 at first */
    int32_t *input_area;    /* history_length old samples, then room for a block */
    void   (*rebuild)(ZVResampler32 *self); /* lays out work_block, designs the taps; the history falls silent */
    int32_t *coefficients;  /* the prototype, Q31, sum 1; read it. Blocks are converted by private copies of it,
                               so a store that goes round store_routine has no effect */
    void    *work_block;    /* owned: design (taps_count doubles) | taps | input area | output area */
    /* Quantises a design of count taps into coefficients: v >= 1 gives 2147483647, v < -1 or no number the
     * most negative value, any other v * 2147483647 rounded to nearest, ties to even. Taps from count on
     * become 0, and those past taps_count are left out. rebuild calls it with the library's design; a client
     * may call it with one of its own, which the next block uses: history, phase and what is pending stay.
     * A client's own routine, put here, writes coefficients, and counts where rebuild calls it or where it
     * ends by calling the library's. */
    void   (*store_routine)(ZVResampler32 *self, const double *taps, int32_t count);
    int32_t *pending_read;     /* the next of the pending outputs */
    uint32_t work_block_bytes; /* largest need of work_block so far; never shrinks */
    int32_t  phase;            /* position of the next output, in 1/over of a sample from the start of the input
                                  area; 0 to under - 1 */
    int32_t  history_length;   /* samples kept from block to block: (taps_count - 1) / over, rounded down */
    int32_t  pending_count;    /* outputs made by a pull call and not yet handed over */
};

/* Ratio 1 : 1, 127 taps. Kernels are chosen by the processor record here, and anew in each setter that has a
 * new value. A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVResampler32 *ZVResampler32_Construct(ZVResampler32 *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVResampler32_Destruct(ZVResampler32 *self, uint32_t flags);

/* Clamped to the bound. A new value designs the taps anew, clears the history and drops what is pending; the
 * present one does nothing. buffer_size * over + under must stay below 2^31. */
ZV_API void ZVResampler32_BufferSize(ZVResampler32 *self, int32_t samples); /* >= 1 */
ZV_API void ZVResampler32_Over(ZVResampler32 *self, int32_t factor);        /* >= 1 */
ZV_API void ZVResampler32_Under(ZVResampler32 *self, int32_t factor);       /* >= 1 */
ZV_API void ZVResampler32_TapsNum(ZVResampler32 *self, int32_t taps); /* >= 3; an even count goes up by one */
/* The ratio with the smallest over that meets |output_rate * under / over / input_rate - 1| <= tolerance, and
 * over * taps_per_phase taps, so that an output costs taps_per_phase products; then a restart. Rates in one
 * unit. tolerance is relative, 0 or above: 0 asks for the exact ratio. A rate of 0 gives over 1 and under 1
 * or more. When memory can't be had nothing changes. */
ZV_API void ZVResampler32_Setup(ZVResampler32 *self, float input_rate, float output_rate, float tolerance,
                                uint32_t taps_per_phase);
/* Phase 0, nothing pending. The history stays: old samples still feed the first outputs. */
ZV_API void ZVResampler32_Restart(ZVResampler32 *self);

/* Input samples that a pull call for this many outputs takes if one block holds them:
 * (outputs - pending_count) * under / over, rounded up; 0 where enough is pending. */
ZV_API uint32_t ZVResampler32_InSamples(ZVResampler32 *self, uint32_t outputs);

/* Converts the count samples that stand at input_write (0: buffer_size; at most buffer_size) into out (null:
 * output_buffer) and returns the number of outputs, which can be 0 when decimating. The sample behind the
 * last new one counts as 0; only where taps_count - 1 is no multiple of over can a tap reach it, and there
 * the last bits depend on how the stream is cut. Elsewhere any cut gives the same stream. */
ZV_API uint32_t ZVResampler32_ProcessIn(ZVResampler32 *self, int32_t *out, uint32_t count);

/* Push: convert a caller's stream of any length and return the number of outputs. The samples are in[0],
 * in[step], ... while the position is below length. out is contiguous with room for samples * over / under,
 * rounded up; null drops the outputs. out may be in when step is 1 and over is at most under. A length or
 * step of 0 or below does nothing. A stream keeps to push or to pull. */
ZV_API uint32_t ZVResampler32_ProcessIn_8_8(ZVResampler32 *self, uint8_t *out, const uint8_t *in, int32_t length,
                                            int32_t step);
ZV_API uint32_t ZVResampler32_ProcessIn_16_16(ZVResampler32 *self, int16_t *out, const int16_t *in,
                                              int32_t length, int32_t step);
ZV_API uint32_t ZVResampler32_ProcessIn_32_32(ZVResampler32 *self, int32_t *out, const int32_t *in,
                                              int32_t length, int32_t step);

/* Pull: hand over exactly the wanted number of outputs, taking in[0], in[step], ... as needed. Outputs beyond
 * the request stay pending and come first in the next call. A request that one block serves takes
 * ZVResampler32_InSamples samples; a larger one may differ a little from that. out and in must not overlap. A
 * step below 1 takes and gives nothing. */
ZV_API void ZVResampler32_ProcessOut_8_8(ZVResampler32 *self, uint8_t *out, const uint8_t *in, uint32_t outputs,
                                         int32_t step);
ZV_API void ZVResampler32_ProcessOut_16_16(ZVResampler32 *self, int16_t *out, const int16_t *in,
                                           uint32_t outputs, int32_t step);
ZV_END
#endif
