// Spectra of real 16-bit samples (window, transform, power) against FFTW with the same window and power
// loop, planned with FFTW_MEASURE, and I/Q spectra. Time is of one whole spectrum; error_dB is of its
// components against the exact transform of the windowed samples, from FFTW in extended precision.
#include <benchmark/benchmark.h>
#include <cmath>
#include <complex>
#include <fftw3.h>
#include <random>
#include <vector>
#include <zovek/fft2_float.h>

namespace {
std::vector<int16_t> noise(size_t count)
{
    std::mt19937 random(1);
    std::vector<int16_t> samples(count);
    for (int16_t& v : samples) v = static_cast<int16_t>(random());
    return samples;
}

struct Fft {
    ZVFFT* self;
    Fft(bool single, uint32_t size) : self(single ? ZVFFT2Float_Construct(nullptr) : ZVFFT_Construct(nullptr))
    {
        (single ? ZVFFT2Float_BufferSize : ZVFFT_BufferSize)(self, size);
        ZVFFT_WindowType(self, ZVWindowType_Hann);
    }
    ~Fft() { ZVFFT_Destruct(self, 1); }
};

// component(k) is X[k] of the samples under the window.
template <class Component>
double error_db(const std::vector<int16_t>& samples, const float* window, Component component)
{
    const size_t size = samples.size();
    std::vector<long double> in(size);
    std::vector<std::complex<long double>> exact(size / 2 + 1);
    auto* out = reinterpret_cast<fftwl_complex*>(exact.data());
    const fftwl_plan plan = fftwl_plan_dft_r2c_1d(int(size), in.data(), out, FFTW_ESTIMATE);
    for (size_t t = 0; t < size; ++t) in[t] = static_cast<long double>(samples[t]) * window[t];
    fftwl_execute(plan);
    fftwl_destroy_plan(plan);
    long double error = 0, power = 0;
    for (size_t k = 0; k < size / 2; ++k) {
        error += std::norm(std::complex<long double>(component(k)) - exact[k]);
        power += std::norm(exact[k]);
    }
    return static_cast<double>(10 * std::log10(error / power));
}

template <class Real>
double error_db(const std::vector<int16_t>& samples, const ZVFFT* fft)
{
    return error_db(samples, fft->window, [&](size_t k) {
        const std::complex<long double> bin(static_cast<Real*>(fft->re)[k], static_cast<Real*>(fft->im)[k]);
        return k == 0 ? bin : bin / 2.0L;
    });
}

void real_double(benchmark::State& state)
{
    const auto samples = noise(size_t(state.range(0)));
    const Fft fft(false, uint32_t(samples.size()));
    for (auto _ : state) {
        ZVFFT_Compute_16(fft.self, samples.data(), uint32_t(samples.size()));
        benchmark::ClobberMemory();
    }
    state.counters["error_dB"] = error_db<double>(samples, fft.self);
}

void real_float(benchmark::State& state)
{
    const auto samples = noise(size_t(state.range(0)));
    const Fft fft(true, uint32_t(samples.size()));
    for (auto _ : state) {
        fft.self->compute_16(fft.self, samples.data(), uint32_t(samples.size()));
        benchmark::ClobberMemory();
    }
    state.counters["error_dB"] = error_db<float>(samples, fft.self);
}

void pairs_double(benchmark::State& state)
{
    const auto samples = noise(size_t(state.range(0)));
    const uint32_t half = uint32_t(samples.size() / 2);
    const Fft fft(false, 2 * half);
    for (auto _ : state) {
        ZVFFT_ComputeComplex_IQ_16(fft.self, samples.data(), samples.data() + half, half);
        benchmark::ClobberMemory();
    }
}

void pairs_float(benchmark::State& state)
{
    const auto samples = noise(size_t(state.range(0)));
    const uint32_t half = uint32_t(samples.size() / 2);
    const Fft fft(true, 2 * half);
    for (auto _ : state) {
        ZVFFT2Float_ComputeComplex_IQ_16(fft.self, samples.data(), samples.data() + half, half);
        benchmark::ClobberMemory();
    }
}

// The peer's results: re and im interleaved as it leaves them, and the power.
template <class Real, class Complex, class Plan, Plan plan_real(int, Real*, Complex*, unsigned),
          void execute(Plan), void destroy(Plan), void* allocate(size_t), void release(void*)>
void real_fftw(benchmark::State& state)
{
    const auto size = size_t(state.range(0));
    const auto samples = noise(size);
    const Fft tables(true, uint32_t(size));
    const float* window = tables.self->window;
    auto* in = static_cast<Real*>(allocate(size * sizeof(Real)));
    auto* out = static_cast<Complex*>(allocate((size / 2 + 1) * sizeof(Complex)));
    auto* module = static_cast<Real*>(allocate(size / 2 * sizeof(Real)));
    const Plan plan = plan_real(int(size), in, out, FFTW_MEASURE);
    for (auto _ : state) {
        for (size_t t = 0; t < size; ++t) in[t] = Real(samples[t]) * window[t];
        execute(plan);
        for (size_t k = 0; k < size / 2; ++k) module[k] = out[k][0] * out[k][0] + out[k][1] * out[k][1];
        benchmark::ClobberMemory();
    }
    state.counters["error_dB"] =
        error_db(samples, window, [&](size_t k) { return std::complex<Real>(out[k][0], out[k][1]); });
    destroy(plan);
    release(in);
    release(out);
    release(module);
}

void real_double_fftw(benchmark::State& state)
{
    real_fftw<double, fftw_complex, fftw_plan, fftw_plan_dft_r2c_1d, fftw_execute, fftw_destroy_plan,
              fftw_malloc, fftw_free>(state);
}

void real_float_fftw(benchmark::State& state)
{
    real_fftw<float, fftwf_complex, fftwf_plan, fftwf_plan_dft_r2c_1d, fftwf_execute, fftwf_destroy_plan,
              fftwf_malloc, fftwf_free>(state);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("size")->Arg(512)->Arg(4096)->Arg(65536);
}
BENCHMARK(real_double)->Apply(sizes);
BENCHMARK(real_double_fftw)->Apply(sizes);
BENCHMARK(real_float)->Apply(sizes);
BENCHMARK(real_float_fftw)->Apply(sizes);
BENCHMARK(pairs_double)->Apply(sizes);
BENCHMARK(pairs_float)->Apply(sizes);
} // namespace
