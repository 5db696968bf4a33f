/* Sample delay: returns a stream a fixed number of samples later.
 * ZVDelayLine16 carries 16-bit samples, ZVDelayLine32 32-bit ones. */
#ifndef ZOVEK_DELAY_LINE_H
#define ZOVEK_DELAY_LINE_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVDelayLine ZVDelayLine;
struct ZVDelayLine {
    /* Both point into storage: read them again after a setter. */
    void    *input_position; /* where the next block goes: storage + delay samples */
    void    *output_area;    /* own output, buffer_size samples */
    int32_t  buffer_size;    /* samples a block takes, at least 1; 1024 at first */
    int32_t  delay;          /* samples, at least 0; 1 at first */
    void    *storage;        /* owned: history | input block | output area */
    void   (*rebuild)(ZVDelayLine *self); /* lays out storage; the history falls silent. Both setters go
                                             through it with the new value stored */
    uint32_t storage_bytes;  /* capacity of storage; grows, never shrinks */
};

/* A null self takes the record from the heap. Both return self, or null when memory can't be had. */
ZV_API ZVDelayLine *ZVDelayLine16_Construct(ZVDelayLine *self);
ZV_API ZVDelayLine *ZVDelayLine32_Construct(ZVDelayLine *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVDelayLine_Destruct(ZVDelayLine *self, uint32_t flags);

/* Clamped to the bound. A new value clears the history, the present one does nothing. */
ZV_API void ZVDelayLine_BufferSize(ZVDelayLine *self, int32_t samples); /* >= 1 */
ZV_API void ZVDelayLine_Delay(ZVDelayLine *self, int32_t samples);      /* >= 0 */

/* Delays the count samples that stand at input_position into out. Null out means output_area, count 0 means
 * buffer_size, which is the most that is taken. out must not overlap the first count + delay samples of
 * storage. */
ZV_API void ZVDelayLine16_Process(ZVDelayLine *self, int16_t *out, uint32_t count);
ZV_API void ZVDelayLine32_Process(ZVDelayLine *self, int32_t *out, uint32_t count);

/* Delays a caller's stream of any length. Takes in[0], in[step], ... while the position is below length; out
 * is contiguous and may be in when step is 1. A null out leaves each block in output_area, over the one
 * before. A length or step of 0 or below does nothing. */
ZV_API void ZVDelayLine16_Process_16_16(ZVDelayLine *self, int16_t *out, const int16_t *in, int32_t length,
                                        int32_t step);
ZV_API void ZVDelayLine32_Process_32_32(ZVDelayLine *self, int32_t *out, const int32_t *in, int32_t length,
                                        int32_t step);
ZV_END
#endif
