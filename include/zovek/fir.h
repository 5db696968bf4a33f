/* FIR filters: designed at run time, quantised to integer taps, run by a kernel chosen for the processor.
 *
 *   kind         taps    history  result   arithmetic of one result, A = sum of taps[t] * x[t]
 *   ZVFIR1616    16-bit  16-bit   16-bit   32-bit sum, wraps; bits 15 to 30 of A
 *   ZVFIR1632    16-bit  16-bit   32-bit   32-bit sum, wraps; A * 2, low 32 bits
 *   ZVFIR3232    32-bit  32-bit   32-bit   exact: 64-bit sum, bits 31 to 62 of A;
 *                                          with MMX: upper 16 bits of tap and sample, then as ZVFIR1632
 *
 * Low bits are cut (rounding toward minus infinity) and nothing saturates: the design and the level keep
 * results within half the accumulator's range. tap 0 meets the oldest sample of a span, tap N-1 the newest.
 *
 * Low-pass to band-stop are a windowed sinc under a Blackman window 0.42/0.5/0.08 (A. V. Oppenheim, R. W.
 * Schafer, Discrete-Time Signal Processing, ch. 7). All designs delay by (N-1)/2 samples. */
#ifndef ZOVEK_FIR_H
#define ZOVEK_FIR_H
#include <zovek/base.h>

ZV_BEGIN
enum ZVFIRType {
    ZVFIRType_PassThrough   = 0, /* a delay */
    ZVFIRType_LowPass       = 1, /* below cut_off_high; DC gain 1 */
    ZVFIRType_HighPass      = 2, /* above cut_off_low; passband gain -1 */
    ZVFIRType_BandPass      = 3, /* from cut_off_low to cut_off_high */
    ZVFIRType_BandStop      = 4, /* all but what lies between them */
    ZVFIRType_Hilbert       = 5, /* Hilbert transformer under a Hamming window: turns cos(wt) into -sin(wt) */
    ZVFIRType_MovingAverage = 6  /* N taps of 1/N */
};

typedef struct ZVFIR ZVFIR;
struct ZVFIR {
    /* Load count taps of the caller's, for the next block: count becomes N as in ZVFIR_TapsNum, then v >= 1
     * gives the largest tap, v < -1 or no number the most negative, any other v * 32767 (or 2147483647)
     * rounded to nearest, ties to even. Each design is handed to set_taps_double. */
    void (*set_taps_double)(ZVFIR *self, const double *taps, int32_t count);
    void (*set_taps_float)(ZVFIR *self, const float *taps, int32_t count);
    /* Filters the count samples that stand at history_write (0: buffer_size; at most buffer_size) into
     * count / decimation results at out (null: out_buffer), and moves the history on by as many whole
     * decimations. Samples beyond the last whole decimation are dropped. out must not overlap the history.
     * Chosen in Construct. The calls below go through it, and so do the objects that hold a filter. */
    void   (*kernel)(ZVFIR *self, void *out, int32_t count, int32_t decimation);
    /* These three and history point into storage: read them again after TapsNum, BufferSize and a loader. */
    void    *history_write; /* history slot N-1: where new samples go, oldest first */
    void    *out_buffer;    /* own output, buffer_size results */
    void    *taps;          /* N integer taps, then zeros up to the next 64-byte boundary */
    float    cut_off_high;  /* Hz; 3000 at first */
    float    cut_off_low;   /* Hz; 1000 at first */
    float    sampling_rate; /* Hz; 11025 at first */
    int32_t  buffer_size;   /* new samples a kernel call takes at most; 1024 at first */
    int32_t  fir_type;      /* design, ZVFIRType; 0 at first */
    int32_t  taps_count;    /* N, odd, at least 3; 31 at first */
    void    *history;       /* slot 0, the oldest sample; slots 0 to N-2 are kept from call to call */
    void   (*rebuild)(ZVFIR *self); /* lays out storage; the history falls silent. TapsNum and BufferSize go
                                       through it with the new value stored */
    void    *storage;       /* owned: design (N doubles) | taps | history | output, each at 64 bytes */
    uint32_t storage_bytes; /* capacity of storage; grows, never shrinks */
};

/* A null self takes the record from the heap. All return self, or null when memory can't be had. */
ZV_API ZVFIR *ZVFIR1616_Construct(ZVFIR *self);
ZV_API ZVFIR *ZVFIR1632_Construct(ZVFIR *self);
ZV_API ZVFIR *ZVFIR3232_Construct(ZVFIR *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVFIR_Destruct(ZVFIR *self, uint32_t flags);

/* Setters for any kind. The present value does nothing. TapsNum and BufferSize clear the history; a new
 * design leaves it in place, so a cut-off can move while the stream runs. */
ZV_API void ZVFIR_TapsNum(ZVFIR *self, int32_t taps);      /* >= 3; an even count goes up by one */
ZV_API void ZVFIR_BufferSize(ZVFIR *self, int32_t samples); /* >= 1; the taps stay */
ZV_API void ZVFIR_FIRType(ZVFIR *self, int32_t type);      /* ZVFIRType; any other is ignored */
/* 2 Hz to sampling_rate / 2; a low cut-off not below it moves to 1 Hz below. */
ZV_API void ZVFIR_CutOffHigh(ZVFIR *self, float hz);
/* 1 Hz to sampling_rate / 2 - 1; a high cut-off not above it moves to 1 Hz above. */
ZV_API void ZVFIR_CutOffLow(ZVFIR *self, float hz);
/* >= 4 Hz; lowers a high cut-off above half of it, and then a low one not below that. */
ZV_API void ZVFIR_SamplingRate(ZVFIR *self, float hz);

/* Filter a caller's stream of any length in blocks of at most buffer_size, the two numbers being the widths
 * of input and output. The samples are in[0], in[step], ...: length / step of them, rounded down for
 * ZVFIR1616 and ZVFIR3232, up for ZVFIR1632. Each block of b samples gives b / decimation contiguous results,
 * so a caller that decimates keeps buffer_size a multiple of it. A step or decimation below 1 makes nothing.
 * A null out leaves each block's results in out_buffer, over the last one's (32-bit ones for the calls that
 * narrow). out may be in when step and decimation are 1 and both have one width. 16-bit input to a ZVFIR3232
 * fills the upper half; 32-bit input to a ZVFIR1632 and 32-bit results bound for 16-bit output keep their
 * upper half. */
ZV_API void ZVFIR1616_Process_16_16(ZVFIR *self, int16_t *out, const int16_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
ZV_API void ZVFIR1632_Process_16_32(ZVFIR *self, int32_t *out, const int16_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
ZV_API void ZVFIR1632_Process_32_32(ZVFIR *self, int32_t *out, const int32_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
ZV_API void ZVFIR3232_Process_16_16(ZVFIR *self, int16_t *out, const int16_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
ZV_API void ZVFIR3232_Process_16_32(ZVFIR *self, int32_t *out, const int16_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
ZV_API void ZVFIR3232_Process_32_16(ZVFIR *self, int16_t *out, const int32_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
ZV_API void ZVFIR3232_Process_32_32(ZVFIR *self, int32_t *out, const int32_t *in, int32_t length, int32_t step,
                                    int32_t decimation);
/* Filters a stream of which every second sample is zero with half the products: the count samples at
 * history_write (0: buffer_size) into count results at out (null: out_buffer). Only history slots whose index
 * has the parity of phase (0 or 1) are used. A ZVFIR3232 only; exact or upper-half arithmetic by the MMX bit
 * of the processor record at each call. out must not overlap the history. phase isn't stored: after an odd
 * count the other value goes on. */
ZV_API void ZVFIR3232_Process2(ZVFIR *self, int32_t *out, int32_t count, int32_t phase);
ZV_END
#endif
