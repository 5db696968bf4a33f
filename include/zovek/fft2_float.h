/* Power spectra in single precision, with transforms for the processor at hand, and for a few bins without
 * the fast transform. Record, bins, windows and levels are those of fft.h, the arrays hold floats;
 * ZVFFT_WindowType and ZVFFT_Destruct serve this kind too. Transforms of real samples are the record's code
 * pointers:
 *
 *   compute_16, compute_32            as ZVFFT_Compute_16 and ZVFFT_Compute_32
 *   compute_band_16, compute_band_32  only bins first_bin to last_bin, first_bin <= last_bin < H, each by a
 *                                     direct sum of S terms; the other bins become 0
 *
 * A band's components stand the other way round and undoubled: re is the imaginary part of X[k] and im the
 * real part. module is re^2 + im^2 there, which is what the transform gives, but for bin 0: four times as
 * much. */
#ifndef ZOVEK_FFT2_FLOAT_H
#define ZOVEK_FFT2_FLOAT_H
#include <zovek/fft.h>

ZV_BEGIN
/* A null self takes the record from the heap. Chooses the transforms by the processor record, for good.
 * Returns self, or null when memory can't be had. */
ZV_API ZVFFT *ZVFFT2Float_Construct(ZVFFT *self);
/* As ZVFFT_BufferSize, but a request below 4 becomes 4. The block holds 20 S bytes; its capacity isn't
 * kept. */
ZV_API void ZVFFT2Float_BufferSize(ZVFFT *self, uint32_t size);

/* I/Q pairs, H of them. A larger count is cut, a smaller one is filled up with zeros. The samples are not
 * changed and must not lie in the object's arrays. */
ZV_API void ZVFFT2Float_ComputeComplex_IQ_16(ZVFFT *self, const int16_t *i_samples, const int16_t *q_samples,
                                             uint32_t count);
ZV_API void ZVFFT2Float_ComputeComplex_IQ_32(ZVFFT *self, const int32_t *i_samples, const int32_t *q_samples,
                                             uint32_t count);
/* module[k] = (a[k]^2 + b[k]^2) / 4 for k = 0 to H - 1, from any two arrays of H values,
 * re, im and module among them. */
ZV_API void ZVFFT2Float_Compute_Module(ZVFFT *self, const float *a, const float *b);
ZV_END
#endif
