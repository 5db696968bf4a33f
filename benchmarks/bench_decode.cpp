// FSK correlator, FSK delay demodulator and the data formatter's two ways: samples a second, beside the
// obvious loop in C compiled for this machine. The signal is 1200 Bd between 1200 and 2200 Hz at 22050 Hz in
// noise, 16384 samples; phases of the correlators start at 0 in each round.
#include "core/cpu.h"
#include "obvious_decode.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>
#include <zovek/zovek.h>

namespace {
constexpr int32_t samples = 16384;
constexpr double rate = 22050, two_pi = 2 * std::numbers::pi;

// The audio, or (soft) what a demodulator makes of it: a filtered level.
std::vector<int16_t> signal(bool soft)
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, soft ? 400 : 1500);
    std::vector<int16_t> made(samples);
    double phase = 0, level = 0;
    for (int32_t k = 0; k < samples; ++k) {
        static double bit = 1;
        if (std::fmod(k * 1200 / rate, 1) < 1200 / rate) bit = random() % 2 ? 1 : -1;
        phase += two_pi * (bit > 0 ? 1200 : 2200) / rate;
        level += (6000 * bit - level) * 0.15;
        made[k] = int16_t(std::lrint((soft ? level : 8000 * std::sin(phase)) + noise(random)));
    }
    return made;
}

// Runs one round at a time over the audio or the soft stream.
template <class Round>
void rounds(benchmark::State& state, bool soft, Round round)
{
    const auto in = signal(soft);
    std::vector<int16_t> out(samples);
    for (auto _ : state) {
        round(in.data(), out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * samples);
}

void correlator_library(benchmark::State& state, uint32_t sets)
{
    if ((zv::wider_sets & sets) != sets) return state.SkipWithError("this machine lacks the instructions");
    const uint32_t here = zv::wider_sets;
    zv::wider_sets = sets;
    ZVFSKCorrDemod demod;
    ZVFSKCorrDemod16_Construct(&demod);
    zv::wider_sets = here;
    rounds(state, false, [&](const int16_t* in, int16_t* out) {
        demod.phase_1 = demod.phase_2 = 0;
        ZVFSKCorrDemod16_Process_16_16(&demod, in, out, samples, 1);
    });
    ZVFSKCorrDemod_Destruct(&demod, 0);
}
void correlator_obvious(benchmark::State& state)
{
    obvious_correlator demod{.step_1 = two_pi * 1200 / rate, .step_2 = two_pi * 2200 / rate, .n = 19};
    rounds(state, false, [&](const int16_t* in, int16_t* out) {
        demod.phase_1 = demod.phase_2 = 0;
        obvious_correlate(&demod, in, out, samples);
    });
}

// Both with the filters' 31 taps and 10 samples of delay, in blocks of 1024.
void delay_library(benchmark::State& state)
{
    ZVFSKDelayDemod demod;
    ZVFSKDelayDemod16_Construct(&demod);
    ZVDelayLine_Delay(demod.delay_line, 10);
    rounds(state, false,
           [&](const int16_t* in, int16_t* out) { ZVFSKDelayDemod16_Process(&demod, out, in, samples, 1); });
    ZVFSKDelayDemod_Destruct(&demod, 0);
}
void delay_obvious(benchmark::State& state)
{
    constexpr int32_t taps_count = 31, delay = 10, block = 1024;
    const std::vector<int16_t> taps(taps_count, 1057);
    std::vector<int16_t> history_1(taps_count + block), history_2(taps_count + block), line(delay + block);
    obvious_delay demod{{taps_count, taps.data(), history_1.data()},
                        {taps_count, taps.data(), history_2.data()},
                        delay,
                        line.data()};
    rounds(state, false, [&](const int16_t* in, int16_t* out) {
        for (int32_t k = 0; k < samples; k += block) obvious_delay_demodulate(&demod, in + k, out + k, block);
    });
}

int64_t bits_seen;
void count_bits(uintptr_t, ZVDataFormatter2*, int32_t bits, int32_t) { bits_seen += bits; }
void count_obvious_bits(uintptr_t, void*, int32_t bits, int32_t) { bits_seen += bits; }

template <class Call>
void formatter_library(benchmark::State& state, Call call)
{
    ZVDataFormatter2 formatter;
    ZVDataFormatter2_Construct(&formatter);
    formatter.callback = count_bits;
    formatter.bit_rate = 1200;
    formatter.sampling_rate = rate;
    rounds(state, true, [&](const int16_t* in, int16_t*) { call(&formatter, in); });
}
template <class Call>
void formatter_obvious(benchmark::State& state, Call call)
{
    obvious_formatter formatter{count_obvious_bits, 0, rate / 1200, 0.01, 0.0008};
    rounds(state, true, [&](const int16_t* in, int16_t*) { call(&formatter, in, samples); });
}

const auto library_loop = [](ZVDataFormatter2* f, const int16_t* in) {
    ZVDataFormatter2_DPLL_16(f, in, samples, 1);
};
const auto library_slopes = [](ZVDataFormatter2* f, const int16_t* in) {
    ZVDataFormatter2_Process_16(f, in, -1, samples, 1);
};

BENCHMARK_CAPTURE(correlator_library, avx2, zv::avx2);
BENCHMARK_CAPTURE(correlator_library, sse2, 0);
BENCHMARK(correlator_obvious);
BENCHMARK(delay_library);
BENCHMARK(delay_obvious);
BENCHMARK_CAPTURE(formatter_library, loop, library_loop);
BENCHMARK_CAPTURE(formatter_obvious, loop, obvious_loop);
BENCHMARK_CAPTURE(formatter_library, slopes, library_slopes);
BENCHMARK_CAPTURE(formatter_obvious, slopes, obvious_slopes);
} // namespace
