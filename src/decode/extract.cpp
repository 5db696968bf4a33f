// Autocorrelation, envelope and instantaneous frequency: the portable forms, the one form of the frequency,
// and the choice.
#include "decode/extract_kernels.h"
#include "decode/extract_loops.h"
#include <atomic>
#include <zovek/extract.h>

namespace zv::extract {
float magnitude_of_sum(const float* a, const float* b, int32_t terms)
{
    extended sum = 0;
    for (int32_t k = 0; k < terms; ++k) sum += extended(a[k]) * b[k];
    return static_cast<float>(fabsl(sum));
}

void normalise(float* out, int32_t lags)
{
    float largest = 0;
    for (int32_t j = 0; j < lags; ++j) largest = std::max(largest, out[j]);
    if (largest == 0) return;
    const extended scale = 1 / extended(largest);
    for (int32_t j = 0; j < lags; ++j) out[j] = static_cast<float>(out[j] * scale);
}

void correlate_portable(const float* in, float* out, int32_t length, int32_t lags)
{
    for (int32_t j = 0; j < lags; ++j) out[j] = magnitude_of_sum(in, in + j, std::min(lags, length - j - 1));
    normalise(out, lags);
}

long double amplitude_portable(const int16_t* in, float* out, uint32_t count)
{
    return amplitude_of(in, out, count);
}

// In four sums, since each addition waits for the one before it.
static extended extended_sum_of(const float* values, uint32_t count)
{
    extended a = 0, b = 0, c = 0, d = 0;
    uint32_t k = 0;
    for (; k + 4 <= count; k += 4) {
        a += values[k];
        b += values[k + 1];
        c += values[k + 2];
        d += values[k + 3];
    }
    for (; k < count; ++k) a += values[k];
    return (a + b) + (c + d);
}

void frequencies_portable(const int16_t* in, float* out, uint32_t count, double scale)
{
    frequencies_of(in, out, count, scale);
}

// ---- The choice ----
// clang-format off
static constexpr Row<Correlate> correlates[] = {
    {on(amd_3dnow, amd_f6), "3dnow",    "3DNow!",   correlate_3dnow},
    {has(sse2 | avx512),    "avx512",   "AVX-512",  correlate_avx512},
    {has(sse2 | avx2),      "avx2",     "AVX2",     correlate_avx2},
    {otherwise,             "portable", "portable", correlate_portable},
};
static constexpr Row<Amplitude> amplitudes[] = {
    {on(amd_3dnow, amd_f6), "3dnow",    "3DNow!",   amplitude_3dnow},
    {has(sse2 | avx512),    "avx512",   "AVX-512",  amplitude_avx512},
    {has(sse2 | avx2),      "avx2",     "AVX2",     amplitude_avx2},
    {otherwise,             "portable", "portable", amplitude_portable},
};
static constexpr Row<Frequencies> frequencies[] = {
    {has(sse2 | avx512),    "avx512",   "AVX-512",  frequencies_avx512},
    {has(sse2 | avx2),      "avx2",     "AVX2",     frequencies_avx2},
    {otherwise,             "portable", "portable", frequencies_portable},
};
// clang-format on
constinit const Rows<Correlate> correlate_rows = correlates;
constinit const Rows<Amplitude> amplitude_rows = amplitudes;
constinit const Rows<Frequencies> frequency_rows = frequencies;

// One pointer for the library each, which starts at its own chooser: the first call stores the choice.
// Threads that race store the same.
static void choose_correlate(const float* in, float* out, int32_t length, int32_t lags);
static long double choose_amplitude(const int16_t* in, float* out, uint32_t count);
static constinit std::atomic<Correlate> correlate_kernel = choose_correlate;
static constinit std::atomic<Amplitude> extract_amplitude_kernel = choose_amplitude;

static void choose_correlate(const float* in, float* out, int32_t length, int32_t lags)
{
    const Correlate chosen = select(correlate_rows).kernel;
    correlate_kernel.store(chosen, std::memory_order_relaxed);
    chosen(in, out, length, lags);
}

static long double choose_amplitude(const int16_t* in, float* out, uint32_t count)
{
    const Amplitude chosen = select(amplitude_rows).kernel;
    extract_amplitude_kernel.store(chosen, std::memory_order_relaxed);
    return chosen(in, out, count);
}
} // namespace zv::extract

using namespace zv;
using namespace zv::extract;

void Correlate_Float_Float(const float* in, float* out, int32_t length, int32_t lags)
{
    correlate_kernel.load(std::memory_order_relaxed)(in, out, length, lags);
}

long double ExtractAmplitude_16_Float(const int16_t* in, float* out, uint32_t count)
{
    if (count == 0) return 0;
    return extract_amplitude_kernel.load(std::memory_order_relaxed)(in, out, count);
}

long double ExtractFrequency_16_Float(const int16_t* in, float* out, uint32_t count, float sampling_rate)
{
    if (count == 0) return 0;
    const double scale = sampling_rate * double(0.15915494f); // exact
    const Frequencies frequencies = select(frequency_rows).kernel;
    extended sum = out[0] = 0;
    for (uint32_t start = 1; start < count; start += piece) {
        const uint32_t size = std::min(piece, count - start);
        frequencies(in + 2 * size_t(start), out + start, size, scale);
        sum += extended_sum_of(out + start, size);
    }
    // The mean in two doubles: their difference to out[k] keeps the precision of the extended one.
    const extended mean = sum / count;
    const auto high = static_cast<double>(mean), low = static_cast<double>(mean - high);
    for (uint32_t k = 0; k < count; ++k) out[k] = static_cast<float>((out[k] - high) - low);
    return mean;
}
