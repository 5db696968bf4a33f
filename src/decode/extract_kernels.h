// The forms of autocorrelation and envelope.
#pragma once
#include "core/select.h"
#include <cstdint>

namespace zv::extract {
using Correlate = void (*)(const float* in, float* out, int32_t length, int32_t lags);
using Amplitude = long double (*)(const int16_t* in, float* out, uint32_t count);
// f[k] of count pairs, the first of which has another before it; scale = sampling_rate / (2 pi).
using Frequencies = void (*)(const int16_t* in, float* out, uint32_t count, double scale);

extern const Rows<Correlate> correlate_rows;
extern const Rows<Amplitude> amplitude_rows;
extern const Rows<Frequencies> frequency_rows;

// Portable and wide forms: lag j, products exact, stored results those of extended sums to 1 ulp.
// 3DNow! forms: lag j + 1, float throughout.
void correlate_portable(const float* in, float* out, int32_t length, int32_t lags);
void correlate_avx2(const float* in, float* out, int32_t length, int32_t lags);
void correlate_avx512(const float* in, float* out, int32_t length, int32_t lags);
void correlate_3dnow(const float* in, float* out, int32_t length, int32_t lags);
long double amplitude_portable(const int16_t* in, float* out, uint32_t count);
long double amplitude_avx2(const int16_t* in, float* out, uint32_t count);
long double amplitude_avx512(const int16_t* in, float* out, uint32_t count);
long double amplitude_3dnow(const int16_t* in, float* out, uint32_t count);
// One kernel in the sense of its results: the same bits everywhere.
void frequencies_portable(const int16_t* in, float* out, uint32_t count, double scale);
void frequencies_avx2(const int16_t* in, float* out, uint32_t count, double scale);
void frequencies_avx512(const int16_t* in, float* out, uint32_t count, double scale);

// |sum over k < terms of a[k] b[k]| in extended precision.
float magnitude_of_sum(const float* a, const float* b, int32_t terms);
// Divides all by the largest, unless that is 0.
void normalise(float* out, int32_t lags);
} // namespace zv::extract
