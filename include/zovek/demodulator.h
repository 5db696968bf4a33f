/* The receiver: 16-bit real samples of a last intermediate frequency in, 16-bit stereo audio out.
 *
 *   copy -> mixer -> low-pass, every D-th -> detector -> DC blocker -> zeros between, low-pass -> stereo
 *   |------------ Fs -----------------|------- Fs / D ----------|----------- Fs * U / D ------------|
 *
 * Fs = sampling_rate, D = iq_decimation, U = audio_upsample. One Process call takes N samples, makes
 * n = N / D detector samples and writes F = n * U stereo frames.
 *
 * Frame j belongs to input sample j * D / U. What is heard in it lies earlier by
 *
 *   (P - 1) / 2 * U / D + M + (A - 1) / 2 frames, each 1 / (Fs * U / D) seconds
 *
 * with the taps P of the post-mixer filters and A of the audio filters. M is 0 in AM, synchronous AM and SSB,
 * U * (H - 1) / 2 in ISB, with the taps H of isb_filter, and U / 2 in FM, which measures between two samples.
 * At first that is 30 frames, 60 in ISB and 31 in FM. Gain controls and DC blocker delay nothing.
 *
 * Set a new object up in this order: IQDecimation and AudioUpsample; SamplingRate with force 1 (it tells the
 * members their rates); BufferSize; the filter lengths; Mode, then PostMixerCutOff (it looks at the mode), in
 * FM AudioFilterCutOff besides; LocalFrequency and the open fields.
 *
 * Level: a station of amplitude A (1: full scale) is heard with audio_gain * volume times
 *
 *   AM, synchronous AM    0.71 m A   modulated by m, 0 to 1
 *   independent sideband  1.00 A     a tone of amplitude A in one sideband
 *   single sideband       0.50 A     likewise; the mixer halves what comes, in all modes
 *   FM                    f D / Fs   deviation f, whatever A; less at large ones, arctan(sin v) / 2 pi with
 *                                    v = 2 pi f D / Fs
 *
 * of full scale. The fullest AM station that 16 bits hold, A = 0.5 and m = 1, thus has 0.18 of it with the
 * first values, 1 and 0.5. Another one wants another audio_gain, or a gain control:
 *
 *   iq_agc       before the detector. In AM and synchronous AM it sees the carrier, which stays in pauses:
 *                the right one for speech and music on a carrier. With its first rates the level is there
 *                after a second and the modulation keeps its shape (distortion 30 to 45 dB down). Weak
 *                stations gain by it, for behind the detector samples have 16 bits. iq_agc_level = -6 leaves
 *                room for full modulation and somewhat more; AM then comes out with 0.35 m volume.
 *   audio_agc_1  behind the audio filter. With its first rates it takes the pauses between words for weak
 *                signals and clips what follows; agc.h has the rates for speech.
 *
 * Both run away over digital silence, and iq_agc over the empty filters of a first block: enable it behind
 * that block, and write back the gain from before a silent stretch. */
#ifndef ZOVEK_DEMODULATOR_H
#define ZOVEK_DEMODULATOR_H
#include <zovek/agc.h>
#include <zovek/delay_line.h>
#include <zovek/fir.h>

ZV_BEGIN
enum ZVDemodMode {
    ZVDemodMode_AM     = 0, /* envelope, both channels alike */
    ZVDemodMode_SyncAM = 1, /* a phase-locked loop turns the carrier onto one axis, which is the audio */
    ZVDemodMode_ISB    = 2, /* phasing method: lower sideband left, upper sideband right */
    ZVDemodMode_SSB    = 3, /* Weaver's method: local_frequency + f comes out at offset + sign * f */
    ZVDemodMode_FM     = 4  /* discriminator: arctangent of the cross product of successive samples */
};

typedef struct ZVDemodulator ZVDemodulator;
/* A client's hook, run inside Process on the caller's thread. i and q are the working data, count of each,
 * and may be changed in place. A hook calls no setter of the object. */
typedef void (*ZVDemodulatorHook)(void *context, ZVDemodulator *self, int32_t count, void *i, void *q);

/* "open": the client writes the field, there is no setter. "result": Process writes it. */
struct ZVDemodulator {
    ZVDemodulatorHook mixed_callback;    /* open; after the mixer: N 16-bit samples; null: no call */
    void             *mixed_context;     /* open; its first argument */
    ZVDemodulatorHook filtered_callback; /* open; after the decimating filters: n 32-bit samples */
    void             *filtered_context;  /* open; its first argument */
    /* The members, which follow by value below. The client reaches them through these pointers. */
    ZVFIR       *post_mixer_filter_i; /* ZVFIR1632 low-pass at Fs, 31 taps, post_mixer_cutoff */
    ZVFIR       *post_mixer_filter_q; /* its twin */
    ZVAGC       *iq_agc;              /* gain control of the I/Q pair */
    ZVFIR       *isb_filter;          /* ZVFIR1632 Hilbert transformer, 31 taps */
    ZVDelayLine *isb_delay;           /* ZVDelayLine32, half the taps of isb_filter, rounded down */
    ZVFIR       *noise_filter;        /* ZVFIR1616 high-pass at Fs / D, 31 taps, 5000 Hz (lowered for good by
                                         a rate that can't hold it) */
    int32_t     *detector_output;     /* n detector samples; an area inside work_buffer, which BufferSize,
                                         IQDecimation and AudioUpsample can move: read it again after them */
    ZVFIR       *audio_filter_1;      /* ZVFIR1632 low-pass at Fs * U / D, 31 taps, 3000 Hz; left or only */
    ZVFIR       *audio_filter_2;      /* its twin; right channel of independent sideband */
    ZVAGC       *audio_agc_1;         /* target_level 600000000 in 32-bit units: mean magnitude
                                         0.28 U volume of full scale */
    ZVAGC       *audio_agc_2;         /* built alike; no mode runs it */
    uint8_t  overload;              /* result; 1 if a sample of the last call was <= -32000 or >= 32000 */
    uint8_t  iq_agc_enabled;        /* open; not 0 runs iq_agc (never in FM); 0 at first; see above */
    uint8_t  mode;                  /* ZVDemodMode; 0 at first */
    uint8_t  noise_measure_enabled; /* open; not 0 measures noise_level in FM; 0 at first */
    uint8_t  audio_agc_enabled;     /* open; not 0 runs audio_agc_1 (never in ISB); 0 at first; see above */
    int32_t  buffer_size;           /* input samples that are worked on at a time; 1024 at first */
    int32_t  sampling_rate;         /* Fs, Hz, at least 1; 44100 at first */
    int32_t  local_frequency;       /* mixer, whole Hz, 0 to Fs; 11025 at first */
    float    post_mixer_cutoff;     /* Hz; 3000 at first */
    uint32_t iq_decimation;         /* D, at least 1; 2 at first */
    float    iq_agc_level;          /* open; target of iq_agc, 10^(level / 10) of full scale; -10 at first */
    int32_t  sideband_sign;         /* open; SSB: +1 upright, -1 inverted; 1 at first */
    int32_t  sideband_offset;       /* open; SSB: second oscillator, whole Hz; 800 at first */
    int32_t  noise_level;           /* result; FM: smoothed magnitude above noise_filter, 16-bit units */
    uint32_t audio_upsample;        /* U, at least 1; 2 at first */
    float    dc_cutoff;             /* open; corner of the DC blocker, Hz; 5 at first */
    float    audio_gain;            /* open; used where the audio AGC doesn't run; 1 at first */
    float    volume;                /* open; output gain; 0.5 at first */
    uint32_t work_bytes;            /* capacity of work_buffer */
    uint32_t oscillator_bytes;      /* capacity of oscillator_table */
    void    *work_buffer;           /* owned: the input copy (N 16-bit samples), then detector_output */
    int32_t *oscillator_table;      /* owned: Fs pairs (c, s), one cycle; c[k] = 2147483600 cos(2 pi k / Fs),
                                       s[k] = -2147483600 sin(2 pi k / Fs), rounded. Read it only: most
                                       frequencies are mixed from a copy */
    int32_t  oscillator_phase;      /* mixer's place in the table */
    /* Synchronous AM. Over samples that are all 0 the last error stays and moves the step on, by 23 Hz a
     * second
       with an error of 0.01 at a detector rate of 24000 Hz, up to the limit of 30 pi Fs / D: the lock is lost, for
       minutes or for good. Where there is no signal the client holds the loop: it writes back the three values
       from before, or its filtered_callback puts a bare carrier in place of the silence. */
    double   carrier_phase;         /* synchronous AM: loop phase, radians, -pi < phase <= pi */
    double   carrier_frequency;     /* synchronous AM: phase step, radians a detector sample */
    double   carrier_error;         /* synchronous AM: last phase error, half the sine of twice the angle */
    int32_t  sideband_phase;        /* SSB: second oscillator's place in the table */
    int32_t  previous_i;            /* FM: the sample before */
    int32_t  previous_q;
    int32_t  dc_input_1;            /* DC blocker: previous input; in ISB the left one */
    int32_t  dc_input_2;            /* ISB: previous right input */
    int32_t  dc_output_1;           /* DC blocker: previous output; in ISB the right one */
    int32_t  dc_output_2;           /* ISB: previous left output */
    ZVFIR       post_mixer_filter_i_object;
    ZVFIR       post_mixer_filter_q_object;
    ZVAGC       iq_agc_object;
    ZVFIR       isb_filter_object;
    ZVDelayLine isb_delay_object;
    ZVFIR       noise_filter_object;
    ZVFIR       audio_filter_1_object;
    ZVFIR       audio_filter_2_object;
    ZVAGC       audio_agc_1_object;
    ZVAGC       audio_agc_2_object;
};

/* A null self takes the record from the heap. Returns self, or null when memory can't be had. */
ZV_API ZVDemodulator *ZVDemodulator16_Construct(ZVDemodulator *self);
/* Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVDemodulator_Destruct(ZVDemodulator *self, uint32_t flags);

/* Input samples that are worked on at a time, D to as many as memory holds, best a multiple of D; sizes all
 * members and clears the histories of those that get another size. An unchanged size with force 0 does
 * nothing. As with all setters that size something, a refusal shows in the field (here buffer_size), which
 * stays; that of a length shows in taps_count of the filter. */
ZV_API void ZVDemodulator_BufferSize(ZVDemodulator *self, int32_t samples, int32_t force);
/* Fs in whole Hz, at least 1: builds the oscillator table (8 bytes a Hz), sets oscillator_phase to 0 and
 * tells the members their rates. An unchanged rate with force 0 does nothing. */
ZV_API void ZVDemodulator_SamplingRate(ZVDemodulator *self, int32_t rate, int32_t force);
/* D and U; 0 becomes 1. A new value sizes the members again; SamplingRate with force 1 must follow. */
ZV_API void ZVDemodulator_IQDecimation(ZVDemodulator *self, uint32_t factor);
ZV_API void ZVDemodulator_AudioUpsample(ZVDemodulator *self, uint32_t factor);
/* 0 to Fs. The oscillator's phase goes on without a jump. */
ZV_API void ZVDemodulator_LocalFrequency(ZVDemodulator *self, int32_t hz);
/* ZVDemodMode. Each detector keeps its state while another mode runs. */
ZV_API void ZVDemodulator_Mode(ZVDemodulator *self, uint8_t mode);
/* Hands post_mixer_cutoff to both post-mixer filters; for clients that wrote the field. */
ZV_API void ZVDemodulator_DemodFiltersUpdate(ZVDemodulator *self);
/* Sets post_mixer_cutoff; the audio cut-off follows it in modes 0 to 2, becomes 2 * sideband_offset in mode 3
 * and stays in mode 4. */
ZV_API void ZVDemodulator_PostMixerCutOff(ZVDemodulator *self, float hz);
/* Taps of both post-mixer filters, odd and at least 3: an even count goes up by one. The gain is down by 1 dB
 * about 1.2 Fs / taps below the cut-off, by 6 dB at it and by 70 dB from 2.8 Fs / taps above it on, so more
 * taps keep out what lies beside the station; they cost time in proportion, and delay. A new count starts the
 * two filters from silence, which is heard as a click or a short gap; the present one does nothing. */
ZV_API void ZVDemodulator_PostMixerLength(ZVDemodulator *self, int32_t taps);
/* Cut-off of both audio filters, 2 Hz to half of Fs * U / D. With U above 1 they also take out the images
 * that the zeros make, the audio mirrored about Fs / D and its multiples, which are heard unless the cut-off
 * is well below half of Fs / D. A new one leaves the history, so the sound goes on. PostMixerCutOff sets
 * another one, but in FM. */
ZV_API void ZVDemodulator_AudioFilterCutOff(ZVDemodulator *self, float hz);
/* Taps of both audio filters, as with PostMixerLength, the widths counting in Fs * U / D. */
ZV_API void ZVDemodulator_AudioFilterLength(ZVDemodulator *self, int32_t taps);
/* Taps of isb_filter, odd and at least 3; isb_delay follows with half of them, and both start from silence.
 * The sidebands are 30 dB apart from 1.3 Fs / D / taps on: more taps part lower tones, and delay. */
ZV_API void ZVDemodulator_ISBFilterLength(ZVDemodulator *self, int32_t taps);

/* in stands before out. N = length / step samples in[0], in[step], ..., best a multiple of D: a remainder
 * moves the mixer on and is lost to the filters. F frames left, right, left, right to out; in is not changed.
 * out may be in where N is at most buffer_size.
 *
 * More samples than buffer_size run in pieces of as many whole D as it holds, with a call of each hook a
 * piece; overload is that of the whole call. Fewer than D make no output and hurt nothing, and neither does a
 * buffer_size below D. A step of 0 takes nothing.
 *
 * The mixer, the detectors and the output choose their kernels at each call, the filters in Construct. */
ZV_API void ZVDemodulator16_Process_StereoOut_16_16(ZVDemodulator *self, const int16_t *in, int16_t *out,
                                                    uint32_t length, uint32_t step);
/* Data of a stage as last written, of a long call its last piece; good until the next change of layout. Null
 * for any other index.
 * 0 input copy (16-bit, N)   1 mixer I, 2 mixer Q (16-bit, N)   3 filtered I, 4 filtered Q (32-bit, n, after
 * iq_agc)   5 Hilbert output, 6 delayed Q (32-bit, n)   7 audio filter input (16-bit, F)
 * 8 audio filter output (32-bit, F, after audio_agc_1) */
ZV_API void *ZVDemodulator16_TestPoint(ZVDemodulator *self, int32_t index);
ZV_END
#endif
