// Functions and objects with real results.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
void exponentials(Reals& reals)
{
    for (const double x : {-20.5, -0.125, 1.0, 7.75}) {
        reals.value(Exp_Double(x));
        reals.value(Exp_Float(static_cast<float>(x)));
    }
    for (const float x : {0.0078125f, 0.75f, 3.0f, 1e6f}) reals.value(Log10_F32_Fxx(x));
}

void numbers_of_texts(Reals& reals)
{
    for (const char* text : {" +3.14159265358979", "-0,0625", "123456789012345678", ".7x"})
        reals.value(StringToDouble(text));
}

// Bins in and beside a station's lines.
constexpr uint32_t size = 256, bins[] = {0, 32, 33, 96};

static std::vector<int16_t> line_signal() { return station(size, 8000, 1000, 250, 15000); }
// The same backwards, of 32 bits at the same level, so that all results lie within one scale.
static std::vector<int32_t> line_signal_32()
{
    const auto signal = line_signal();
    return {signal.rbegin(), signal.rend()};
}

template <class Real>
static void take(Reals& reals, const ZVFFT* fft)
{
    for (const uint32_t k : bins) {
        reals.value(static_cast<const Real*>(fft->re)[k]);
        reals.value(static_cast<const Real*>(fft->im)[k]);
    }
}

template <class Real, class Compute16, class Compute32, class ComputePairs>
static void spectra(Reals& reals, ZVFFT* fft, int32_t window, Compute16 compute_16, Compute32 compute_32,
                    ComputePairs compute_pairs)
{
    const auto signal = line_signal();
    ZVFFT_WindowType(fft, window);
    compute_16(fft, signal.data(), size);
    take<Real>(reals, fft);
    compute_32(fft, line_signal_32().data(), size);
    take<Real>(reals, fft);
    compute_pairs(fft, signal.data(), signal.data() + size / 2, size / 2);
    take<Real>(reals, fft);
}

void spectrum_double(Reals& reals)
{
    const zovek::FFT fft(ZVFFT_Construct);
    ZVFFT_BufferSize(fft, size);
    spectra<double>(reals, fft, ZVWindowType_Hann, ZVFFT_Compute_16, ZVFFT_Compute_32,
                    ZVFFT_ComputeComplex_IQ_16);
}

void spectrum_float(Reals& reals)
{
    const zovek::FFT fft(ZVFFT2Float_Construct);
    ZVFFT2Float_BufferSize(fft, size);
    spectra<float>(reals, fft, ZVWindowType_Blackman, fft->compute_16, fft->compute_32,
                   ZVFFT2Float_ComputeComplex_IQ_16);
}

void band_float(Reals& reals)
{
    const zovek::FFT fft(ZVFFT2Float_Construct);
    const auto signal = line_signal();
    ZVFFT2Float_BufferSize(fft, size);
    fft->compute_band_16(fft, signal.data(), size, 31, 64);
    take<float>(reals, fft);
}

void tone_detector(Reals& reals)
{
    const zovek::ToneDetector detector(ZVToneDetector_Construct);
    ZVToneDetector_SamplingRate(detector, 8000);
    ZVToneDetector_Bandwidth(detector, 50);
    const auto signal = station(2000, 8000, 1000, 3, 9000);
    ZVToneDetector_Process_16(detector, signal.data(), uint32_t(signal.size()), 1);
    reals.value(detector->input_level);
    reals.value(detector->tone_level);
}

void autocorrelation(Reals& reals)
{
    const auto signal = station(400, 8000, 1000, 77, 9000);
    const std::vector<float> in(signal.begin(), signal.end());
    std::vector<float> out(16);
    Correlate_Float_Float(in.data(), out.data(), int32_t(in.size()), int32_t(out.size()));
    for (const float value : out) reals.value(value);
}

void envelope(Reals& reals)
{
    const auto pairs = station(200, 8000, 1000, 100, 9000);
    std::vector<float> out(pairs.size() / 2);
    reals.value(
        static_cast<float>(ExtractAmplitude_16_Float(pairs.data(), out.data(), uint32_t(out.size()))));
    for (size_t n = 0; n < out.size(); n += 17) reals.value(out[n]);
}

void frequency(Reals& reals)
{
    const auto pairs = station(200, 8000, 700, 100, 9000);
    std::vector<float> out(pairs.size() / 2);
    const long double mean = ExtractFrequency_16_Float(pairs.data(), out.data(), uint32_t(out.size()), 8000);
    reals.value(static_cast<float>(mean));
    for (size_t n = 0; n < out.size(); n += 17) reals.value(out[n]);
}
} // namespace client::selftest
