/* Power spectra of a block of integer samples, in double precision: window, fast transform, squared
 * magnitude. The client reads the results out of the record. The same record in single precision is
 * fft2_float.h.
 *
 *   S = buffer_size real samples, a power of two;  H = S / 2 result bins
 *   real samples  bin k stands for k fs / S;  re + i im = 2 X[k] for k = 1 to H - 1, X[0] for k = 0,
 *                 X[k] = sum x[t] w[t] exp(-2 pi i k t / S)
 *   I/Q pairs     H pairs; slot n stands for (n - H/2) fs / H;  re + i im = Z[n - H/2],
 *                 Z[k] = sum (I[p] + i Q[p]) w[2p] exp(-2 pi i k p / H)
 *   module        (re^2 + im^2) / 4 in both: (A S / 2)^2 for a sine of amplitude A or a constant level A,
 *                 (A H / 2)^2 for a complex tone
 *
 * Samples count at face value: nothing is scaled to full scale or by the length. Window and twiddles are
 * single precision in both kinds, so a spectrum is good to about seven digits. */
#ifndef ZOVEK_FFT_H
#define ZOVEK_FFT_H
#include <zovek/base.h>

ZV_BEGIN
enum ZVWindowType {
    ZVWindowType_Rectangular = 0,
    ZVWindowType_Triangular  = 1,
    ZVWindowType_Hann        = 2, /* 0.5, 0.5 */
    ZVWindowType_Hamming     = 3, /* 0.54, 0.46 */
    ZVWindowType_Blackman    = 4  /* 0.42, 0.5, 0.08 */
};

typedef struct ZVFFT ZVFFT;
struct ZVFFT {
    /* The transforms of a ZVFFT2Float, see fft2_float.h; null in a ZVFFT. */
    void   (*compute_16)(ZVFFT *self, const int16_t *samples, uint32_t count);
    void   (*compute_32)(ZVFFT *self, const int32_t *samples, uint32_t count);
    void   (*compute_band_16)(ZVFFT *self, const int16_t *samples, uint32_t count, uint32_t first_bin,
                              uint32_t last_bin);
    void   (*compute_band_32)(ZVFFT *self, const int32_t *samples, uint32_t count, uint32_t first_bin,
                              uint32_t last_bin);
    /* Arrays of double in a ZVFFT, of float in a ZVFFT2Float; all point into the block at bit_reverse, as
     * twiddle and window do: read them again after BufferSize. */
    void    *work;          /* scratch of a transform: H complex values, or S real ones for a band */
    void    *re;            /* H values, first component of each bin */
    void    *im;            /* H values, second component of each bin */
    void    *module;        /* H values, power of each bin */
    uint32_t buffer_size;   /* S, real samples a transform takes; 512 at first */
    uint32_t half_size;     /* H = S / 2, result bins and complex points */
    int32_t  window_type;   /* ZVWindowType, see ZVFFT_WindowType; 0 at first */
    uint32_t storage_bytes; /* capacity of the block, 30 S at the largest S so far; 0 in a ZVFFT2Float */
    uint32_t *bit_reverse;  /* owned: H indices, n with its bits reversed, and the start of the one block */
    float   *twiddle;       /* H pairs sin, cos of -pi n / H, sine first. Read them: most transforms work with
                               copies in an order of their own */
    float   *window;        /* S factors, filled by ZVFFT_WindowType; a client may write its own */
};

/* A null self takes the record from the heap. Chooses the transforms by the processor record, for good.
 * Returns self, or null when memory can't be had. */
ZV_API ZVFFT *ZVFFT_Construct(ZVFFT *self);
/* Of both kinds. Bit 0 of flags frees the record as well. A null self does nothing. */
ZV_API void ZVFFT_Destruct(ZVFFT *self, uint32_t flags);
/* Rounded up to a power of two, at most 2^30. A new size clears the results; the present one, a request below
 * 3 and a size for which memory can't be had do nothing. The block grows and never shrinks. */
ZV_API void ZVFFT_BufferSize(ZVFFT *self, uint32_t size);
/* Of both kinds. A ZVWindowType; other numbers do nothing. Of period S, with the peak at H - 1; all but the
 * triangular one (mean (H - 1) / S) are scaled to a mean of 1, so that the level of a steady tone doesn't
 * change. Counts from the next transform on. */
ZV_API void ZVFFT_WindowType(ZVFFT *self, int32_t type);

/* Real samples, S of them, or I/Q pairs, H of them. A larger count is cut, a smaller one is filled up with
 * zeros, 0 to silence. The samples are not changed and must not lie in the object's arrays. */
ZV_API void ZVFFT_Compute_16(ZVFFT *self, const int16_t *samples, uint32_t count);
ZV_API void ZVFFT_Compute_32(ZVFFT *self, const int32_t *samples, uint32_t count);
ZV_API void ZVFFT_ComputeComplex_IQ_16(ZVFFT *self, const int16_t *i_samples, const int16_t *q_samples,
                                       uint32_t count);
ZV_API void ZVFFT_ComputeComplex_IQ_32(ZVFFT *self, const int32_t *i_samples, const int32_t *q_samples,
                                       uint32_t count);
/* module[k] = (a[k]^2 + b[k]^2) / 4 for k = 0 to H - 1, from any two arrays of H values,
 * re, im and module among them. */
ZV_API void ZVFFT_Compute_Module(ZVFFT *self, const double *a, const double *b);
ZV_END
#endif
