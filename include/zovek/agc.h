/* Gain control: holds a signal at a target level by a slowly moving gain. Each update, with L the measured
 * level, at least 1:
 *
 *   T = target_level / L;  gain += (T > gain ? gain_rise_rate : gain_fall_rate) * (T - gain)
 *
 * Samples are multiplied by the gain, rounded to nearest, ties to even, and saturated to their width. There
 * are no setters: the client writes the first five fields.
 *
 * In seconds: with F updates a second a rate r closes all but 1 / e of the gap in 1 / (r F); for a time
 * constant of t it is 1 / (t F). The first rates move both ways within 0.21 s at 48000 Hz, 0.42 s at 24000 Hz
 * and 1.25 s at 8000 Hz. That suits a level that is always there, as a carrier's, and not speech: in a pause
 * L falls, and T knows no bound but target_level. Over silence, where L is 1, each update adds
 * gain_rise_rate * target_level to the gain: 3 with the first values, 60000 in a demodulator's audio_agc_1.
 * Behind it the gain takes one time constant down for each factor of e, and all is clipped for so long.
 *
 * Speech out of a receiver, whose noise fills the pauses, wants it down in 0.02 s and up in 20 s: rates of
 * 50 / F and 0.05 / F. Where pauses are silent (a station without noise, a gap in the samples) the client
 * holds the gain in them: both rates 0 in calls on samples that lie 70 dB below the target. With a
 * gain_rise_rate of 0 throughout and a high gain to begin with, the gain falls to what the loudest samples
 * want, and stays. */
#ifndef ZOVEK_AGC_H
#define ZOVEK_AGC_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVAGC ZVAGC;
struct ZVAGC {
    double gain_fall_rate;  /* fraction of the gap closed at each update, 0 to 1; 0.0001 at first */
    double gain_rise_rate;  /* the same while the gain rises; 0.0001 at first */
    double envelope_cutoff; /* Hz, of the envelope follower; 200 at first */
    double target_level;    /* in units of the sample format in use; 30000 at first */
    double sampling_rate;   /* Hz; 44100 at first */
    double gain;            /* present gain, at most target_level; 1 at first */
    double envelope;        /* present envelope; 0 at first */
};

ZV_API ZVAGC *ZVAGC_Construct(ZVAGC *self);
ZV_API void ZVAGC_Destruct(ZVAGC *self, uint32_t flags);
/* gain becomes 1 and envelope target_level. */
ZV_API void ZVAGC_Reset(ZVAGC *self);

/* One channel in place, L being the envelope a * envelope + (1 - a) * |x|, a = exp(-2 pi envelope_cutoff /
 * sampling_rate): one update a sample. Works on buffer[0], buffer[step], ... while the position is below
 * length; a length or step below 1 changes nothing. All five return self. */
ZV_API ZVAGC *ZVAGC_Process_Mono16(ZVAGC *self, int16_t *buffer, int32_t length, int32_t step);
ZV_API ZVAGC *ZVAGC_Process_Mono32(ZVAGC *self, int32_t *buffer, int32_t length, int32_t step);
/* A pair of channels in place, L = sqrt(left^2 + right^2): one update a pair. A count below 1 changes
 * nothing. */
ZV_API ZVAGC *ZVAGC_Process_Stereo16(ZVAGC *self, int16_t *left, int16_t *right, int32_t count);
ZV_API ZVAGC *ZVAGC_Process_Stereo32(ZVAGC *self, int32_t *left, int32_t *right, int32_t count);
/* One channel in place, L being the root mean square of the call's samples: one update a call, and one gain
 * for all of them. A length or step below 1 changes nothing. */
ZV_API ZVAGC *ZVAGC_ProcessBuffer_Mono32(ZVAGC *self, int32_t *buffer, int32_t length, int32_t step);
ZV_END
#endif
