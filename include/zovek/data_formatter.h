/* Bits out of a soft data stream: recovers the bit timing of a signal whose level is the data, and hands the
 * bits to the client. Two ways, by the call that is made:
 *
 *   DPLL      a phase-locked loop on the zero crossings; samples the sign in the middle of each bit, and
 *             delivers bit by bit
 *   Process   finds the edges as peaks of the slope, measures the time between them, and delivers runs of
 *             equal bits
 *
 * Both keep time in samples with a fraction, P = sampling_rate / bit_rate samples a bit.
 * ZVDataFormatter2_Init stands between the two on one object, because they take the two bit points
 * differently. There are no setters: the client writes the first six fields between calls. */
#ifndef ZOVEK_DATA_FORMATTER_H
#define ZOVEK_DATA_FORMATTER_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVDataFormatter2 ZVDataFormatter2;
struct ZVDataFormatter2 {
    /* Takes count bits, all of the given value, 0 or 1: one from a DPLL, any number but 0 from Process. There
     * a pulse that sets no highest point is dated by the one before it, and count can come out negative: a
     * receiver passes that over, or takes so many bits back.
     *
     * Runs inside the call that found the bits and sees the object as it is at the present sample, however
     * the stream was cut. What it changes stays, ZVDataFormatter2_Init included: a DPLL goes on with what it
     * finds in next_bit_point, as the middle of this bit, and in previous_sample. Parameters that it changes
     * count from the next call on; from the next edge on in Process, but for peak_decay. Null, as at first:
     * no delivery, and the timing runs all the same. */
    void    (*callback)(uintptr_t user_data, ZVDataFormatter2 *self, int32_t count, int32_t value);
    uintptr_t user_data;        /* the callback's first argument; 0 at first */
    double    bit_rate;         /* bits a second; 1000 at first */
    double    loop_gain;        /* fraction of the timing error corrected at each edge; 0.01 at first */
    double    peak_decay;       /* fraction of the way to the slope that its peaks fall each sample, up to 1; */
                                /* 0.0008 at first */
    double    sampling_rate;    /* Hz; 44100 at first */
    /* From here on: state, all 0 after ZVDataFormatter2_Init. Bit points are the middles of bits in samples,
     * from the present sample on in a DPLL, from the last edge on in Process. */
    double    last_bit_point;   /* the one before next_bit_point */
    double    next_bit_point;   /* the coming one */
    int32_t   previous_sample;  /* last sample, in Process after the mask */
    int32_t   peak_high;        /* tracked positive peak of the slope */
    int32_t   peak_low;         /* tracked negative peak */
    int32_t   extreme_value;    /* largest slope of the pulse that runs */
    int32_t   slope_state;      /* 1 while a positive slope pulse is followed, 0 for a negative one */
    int32_t   extreme_position; /* sample_counter at extreme_value */
    int32_t   sample_counter;   /* samples since the last edge */
    int32_t   difference_2;     /* first difference two samples back */
    int32_t   difference_1;     /* and one sample back */
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVDataFormatter2 *ZVDataFormatter2_Construct(ZVDataFormatter2 *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVDataFormatter2_Destruct(ZVDataFormatter2 *self, uint32_t flags);
/* Reset between transmissions: the state becomes 0, the parameters stay. */
ZV_API void ZVDataFormatter2_Init(ZVDataFormatter2 *self);

/* The loop. Takes in[0], always, and in[step], ... while the position is below length. A change of sign, or
 * to 0 from anything else, moves the coming bit point B by the last one's distance A:
 * B = A (1 - g) + P (1 - g / 2),
 * which brings it toward half a bit after the edge by the fraction g = loop_gain of the error. The bit is 1
 * where the sample at its middle is at least 0. All three calls return self. */
ZV_API ZVDataFormatter2 *ZVDataFormatter2_DPLL_16(ZVDataFormatter2 *self, const int16_t *in, int32_t length,
                                                  int32_t step);
ZV_API ZVDataFormatter2 *ZVDataFormatter2_DPLL_32(ZVDataFormatter2 *self, const int32_t *in, int32_t length,
                                                  int32_t step);
/* Edges by slope, s[n] = (v[n] - v[n-3]) / 3 toward zero, of v = sample & mask (the sample being widened
 * first, so that mask -1 takes it as it is). A pulse of the slope ends where it falls below half its tracked
 * peak; its highest point is the edge. The bits between two edges are delivered as one run, but for none. */
ZV_API ZVDataFormatter2 *ZVDataFormatter2_Process_16(ZVDataFormatter2 *self, const int16_t *in, int32_t mask,
                                                     int32_t length, int32_t step);
ZV_END
#endif
