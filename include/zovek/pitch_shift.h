/* Pitch shifter: moves every component of 16-bit audio up or down by the same number of Hz. It shifts
 * frequencies by the phasing method (R. G. Lyons, Understanding Digital Signal Processing, ch. 9): ratios of
 * harmonics change, the duration doesn't.
 *
 *   out = H cos(a) - D sin(a), a = 2 pi table_index / L, table_index moves on by shift at each sample
 *
 * D is the signal delayed by half of a Hilbert transformer, H the transformer's output, 90 degrees from D. Of
 * the two sidebands that the oscillator makes, one cancels. The gain is 32767 / 32768; nothing saturates, a
 * sum beyond 16 bits wraps. */
#ifndef ZOVEK_PITCH_SHIFT_H
#define ZOVEK_PITCH_SHIFT_H
#include <zovek/delay_line.h>
#include <zovek/fir.h>

ZV_BEGIN
typedef struct ZVPitchShift ZVPitchShift;
/* "open": the client writes the field, there is no setter. */
struct ZVPitchShift {
    /* buffer and table change with the setters, as do the members' pointers: read them again. */
    int16_t    *buffer;       /* owned: gathers a block, buffer_size samples */
    uint32_t    buffer_size;  /* samples a block takes, at least 1; 1024 at first */
    int32_t     table_length; /* L, entries of table: the sampling rate in whole Hz; 11025 at first */
    int32_t     shift;        /* open; Hz, -L or above; read at each block, the phase goes on; 0 at first */
    int32_t     taps_count;   /* taps of filter, odd, at least 3; 63 at first */
    int16_t    *table;        /* owned: L pairs (c, s), one cycle; c[k] = 32767 cos(2 pi k / L),
                                 s[k] = -32767 sin(2 pi k / L), rounded */
    int32_t     table_index;  /* oscillator's place in the table, 0 to L - 1; 0 at first */
    ZVDelayLine delay_line;   /* ZVDelayLine16, half of taps_count, rounded down: D */
    ZVFIR       filter;       /* ZVFIR1616, Hilbert transformer: H. Its kernel is chosen in Construct */
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVPitchShift *ZVPitchShift1616_Construct(ZVPitchShift *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVPitchShift_Destruct(ZVPitchShift *self, uint32_t flags);

/* A new size clears the histories of both paths, the present one does nothing. 0 becomes 1. */
ZV_API void ZVPitchShift1616_BufferSize(ZVPitchShift *self, uint32_t samples);
/* Hz, at least 4. Takes four bytes of table for each Hz; the oscillator starts again from 0, even when the
 * rate is the present one. */
ZV_API void ZVPitchShift1616_SamplingRate(ZVPitchShift *self, int32_t hz);
/* At least 3, an even count goes up by one; more taps reach lower frequencies, and delay by as many half
 * samples. A new count clears the histories of both paths. */
ZV_API void ZVPitchShift1616_TapsNum(ZVPitchShift *self, int32_t taps);

/* Shifts a caller's stream of any length: in[0], in[step], ..., length / step of them, rounded down, into as
 * many contiguous results at out, which may be in when step is 1 and must not be null. A step below 1 takes
 * nothing. */
ZV_API void ZVPitchShift1616_Process_16_16(ZVPitchShift *self, int16_t *out, const int16_t *in,
                                           int32_t length, int32_t step);
ZV_END
#endif
