// Tone detectors and extraction primitives: samples (pairs, terms) a second by processor class, beside the
// obvious loops in C compiled for this machine.
#include "core/cpu.h"
#include "decode/extract_kernels.h"
#include "obvious_tone.h"
#include "support/processors.h"
#include <benchmark/benchmark.h>
#include <random>
#include <vector>
#include <zovek/extract.h>
#include <zovek/tone_detector.h>
#include <zovek/tone_detector_corr.h>

namespace {
constexpr int32_t block = 4096;

std::vector<int16_t> noise(size_t count)
{
    std::mt19937 random(1);
    std::vector<int16_t> signal(count);
    for (int16_t& v : signal) v = int16_t(random() % 20000 - 10000);
    return signal;
}

// Repeats run() on items items.
template <class Run>
void repeat(benchmark::State& state, int64_t items, Run run)
{
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * items);
}

// ---- The band-pass ----
void detector(benchmark::State& state)
{
    ZVToneDetector tone;
    ZVToneDetector_Construct(&tone);
    const auto in = noise(block);
    repeat(state, block, [&] { ZVToneDetector_Process_16(&tone, in.data(), block, 1); });
}

template <auto process>
void obvious_detector(benchmark::State& state)
{
    ZVToneDetector tone;
    ZVToneDetector_Construct(&tone);
    obvious_tone t = {tone.a0, tone.a1, tone.a2, tone.b1, tone.b2};
    const auto in = noise(block);
    repeat(state, block, [&] { process(&t, in.data(), block); });
}

// ---- The correlator with its low-pass ----
struct Class {
    const char* name;
    uint32_t features, sets;
};
constexpr Class classes[] = {
    {"chosen", 0, 0}, // as this machine is
    {"vnni", ZV_CPU_MMX | ZV_CPU_SSE2, zv::avx2 | zv::avx512 | zv::avx512vnni},
    {"avx512", ZV_CPU_MMX | ZV_CPU_SSE2, zv::avx2 | zv::avx512},
    {"avx2", ZV_CPU_MMX | ZV_CPU_SSE2, zv::avx2},
    {"mmx", ZV_CPU_MMX, 0},
    {"scalar", 0, 0},
};

void corr(benchmark::State& state)
{
    const Class& as = classes[state.range(1)];
    if (!test::runs_here(as.features, as.sets))
        return state.SkipWithError("this machine lacks the instructions");
    const bool forced = state.range(1) != 0;
    const test::OnProcessor processor(forced ? 0 : _CPU()->classification,
                                      forced ? as.features : _CPU()->features,
                                      forced ? as.sets : zv::wider_sets);
    ZVToneDetectorCorr tone;
    ZVToneDetectorCorr16_Construct(&tone);
    ZVToneDetectorCorr_ToneLength(&tone, float(state.range(0)) / 22050);
    const auto in = noise(block);
    std::vector<int16_t> out(block);
    repeat(state, block, [&] { ZVToneDetectorCorr16_Process_16_16(&tone, in.data(), out.data(), block, 1); });
    state.SetLabel(as.name);
    ZVToneDetectorCorr_Destruct(&tone, 0);
}

void by_hand_corr(benchmark::State& state)
{
    const int positions = int(state.range(0)), taps = 31, piece = 512;
    const auto sine = noise(size_t(positions)), cosine = noise(sine.size());
    const auto h = noise(taps), in = noise(block);
    std::vector<int16_t> window(size_t(positions + piece)), history(taps + piece), out(block);
    obvious_corr tone = {sine.data(), cosine.data(), h.data(),      positions,
                         taps,        window.data(), history.data()};
    repeat(state, block, [&] {
        for (size_t at = 0; at < block; at += piece) obvious_tone_corr(&tone, &in[at], piece, &out[at]);
    });
}

// ---- The primitives ----
template <auto process>
void correlate(benchmark::State& state)
{
    const int32_t lags = int32_t(state.range(0));
    const auto samples = noise(2 * size_t(lags));
    const std::vector<float> in(samples.begin(), samples.end());
    std::vector<float> out(size_t(lags), 0.f);
    repeat(state, int64_t(lags) * lags, [&] { process(in.data(), out.data(), 2 * lags, lags); });
}

template <auto process, class... Rate>
void extract(benchmark::State& state, Rate... rate)
{
    const auto in = noise(2 * block);
    std::vector<float> out(block);
    repeat(state, block, [&] { benchmark::DoNotOptimize(process(in.data(), out.data(), block, rate...)); });
}

// A form of a primitive, where its set is there.
template <auto measure, uint32_t set>
void with(benchmark::State& state)
{
    if (!test::runs_here(0, set)) return state.SkipWithError("this machine lacks the instructions");
    measure(state);
}
void frequency(benchmark::State& s) { extract<ExtractFrequency_16_Float>(s, 48000.f); }
void frequency_by_hand(benchmark::State& s) { extract<obvious_frequency>(s, 48000.f); }
} // namespace

BENCHMARK(obvious_detector<obvious_tone_extended>)->Name("obvious_tone_extended");
BENCHMARK(obvious_detector<obvious_tone_double>)->Name("obvious_tone_double");
BENCHMARK(detector)->Name("tone_detector");
BENCHMARK(by_hand_corr)->Name("obvious_tone_corr")->ArgName("samples")->Arg(4)->Arg(22)->Arg(110)->Arg(441);
BENCHMARK(corr)
    ->Name("tone_corr")
    ->ArgNames({"samples", "cpu"})
    ->ArgsProduct({{4, 22, 110, 441}, {0, 1, 2, 3, 4, 5}});
BENCHMARK(correlate<obvious_correlate>)
    ->Name("obvious_correlate")
    ->ArgName("lags")
    ->Arg(16)
    ->Arg(256)
    ->Arg(2048);
BENCHMARK(correlate<Correlate_Float_Float>)->Name("correlate")->ArgName("lags")->Arg(16)->Arg(256)->Arg(2048);
BENCHMARK(with<correlate<zv::extract::correlate_avx512>, zv::avx512>)
    ->Name("correlate_avx512")
    ->Arg(16)
    ->Arg(256)
    ->Arg(2048);
BENCHMARK(with<correlate<zv::extract::correlate_avx2>, zv::avx2>)
    ->Name("correlate_avx2")
    ->Arg(16)
    ->Arg(256)
    ->Arg(2048);
BENCHMARK(correlate<zv::extract::correlate_portable>)
    ->Name("correlate_portable")
    ->Arg(16)
    ->Arg(256)
    ->Arg(2048);
BENCHMARK(extract<obvious_amplitude>)->Name("obvious_amplitude");
BENCHMARK(extract<ExtractAmplitude_16_Float>)->Name("amplitude");
BENCHMARK(with<extract<zv::extract::amplitude_avx512>, zv::avx512>)->Name("amplitude_avx512");
BENCHMARK(with<extract<zv::extract::amplitude_avx2>, zv::avx2>)->Name("amplitude_avx2");
BENCHMARK(extract<zv::extract::amplitude_portable>)->Name("amplitude_portable");
BENCHMARK(frequency_by_hand)->Name("obvious_frequency");
BENCHMARK(frequency)->Name("frequency");
