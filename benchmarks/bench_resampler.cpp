// Resampling 16-bit audio: time an output, by ratio and taps per phase, beside the plain loop of
// obvious_resampler.c on the same taps and the same input. realtime: seconds of input a second.
#include "obvious_resampler.h"
#include "support/signals.h"
#include <benchmark/benchmark.h>
#include <core/cpu.h>
#include <zovek/resampler.h>

namespace {
struct Rates {
    const char* name;
    float input, output;
};
const Rates rates[] = {
    {"44100->48000", 44100, 48000}, {"48000->8000", 48000, 8000}, {"8000->48000", 8000, 48000}};

struct Job {
    explicit Job(benchmark::State& state) : rate(rates[state.range(0)]), state(state)
    {
        ZVResampler32_Setup(resampler, rate.input, rate.output, 0, uint32_t(state.range(1)));
        out.resize(in.size() * size_t(resampler->over) / size_t(resampler->under) + 1);
    }
    ~Job()
    {
        state.SetItemsProcessed(int64_t(state.iterations()) * made);
        state.counters["realtime"] =
            benchmark::Counter(double(in.size()) / rate.input, benchmark::Counter::kIsIterationInvariantRate);
        state.SetLabel(rate.name);
        ZVResampler32_Destruct(resampler, 1);
    }

    ZVResampler32* resampler = ZVResampler32_Construct(nullptr);
    Rates rate;
    benchmark::State& state;
    test::Signal in = test::noise(48000, 1, 10000), out;
    int64_t made = 0;
};

// Zovek, with the wider sets of the third argument at most.
void zovek(benchmark::State& state)
{
    const uint32_t all = zv::wider_sets, levels[] = {0, zv::avx2, all};
    zv::wider_sets = all & levels[state.range(2)];
    {
        Job job(state);
        for (auto _ : state)
            job.made = ZVResampler32_ProcessIn_16_16(job.resampler, job.out.data(), job.in.data(),
                                                     int32_t(job.in.size()), 1);
    }
    zv::wider_sets = all;
}

void zovek_32(benchmark::State& state)
{
    Job job(state);
    const test::Signal32 in = test::noise<int32_t>(job.in.size(), 1, 1 << 30);
    test::Signal32 out(job.out.size());
    for (auto _ : state)
        job.made = ZVResampler32_ProcessIn_32_32(job.resampler, out.data(), in.data(), int32_t(in.size()), 1);
}

void obvious(benchmark::State& state)
{
    Job job(state);
    const ZVResampler32* r = job.resampler;
    const int32_t count = int32_t(job.in.size()) - r->history_length - 1;
    for (auto _ : state)
        job.made = obvious_resample(job.out.data(), job.in.data(), count, r->coefficients, r->taps_count,
                                    r->over, r->under);
}

void obvious_sorted(benchmark::State& state)
{
    Job job(state);
    const ZVResampler32* r = job.resampler;
    const int32_t row_taps = r->history_length + 1, over = r->over;
    test::Signal32 rows(size_t(over) * size_t(row_taps));
    for (int32_t phase = 0; phase < over; ++phase)
        for (int32_t k = 0; k < row_taps; ++k)
            if (const int32_t tap = k * over - phase; tap >= 0)
                rows[size_t(phase) * size_t(row_taps) + size_t(k)] = r->coefficients[tap];
    const int32_t count = int32_t(job.in.size()) - r->history_length - 1;
    for (auto _ : state)
        job.made =
            obvious_polyphase(job.out.data(), job.in.data(), count, rows.data(), row_taps, over, r->under);
}

BENCHMARK(zovek)->ArgNames({"rates", "taps", "level"})->ArgsProduct({{0, 1, 2}, {16, 32}, {0, 1, 2}});
BENCHMARK(zovek_32)->ArgNames({"rates", "taps"})->ArgsProduct({{0, 1, 2}, {16, 32}});
BENCHMARK(obvious)->ArgNames({"rates", "taps"})->ArgsProduct({{0, 1, 2}, {16, 32}});
BENCHMARK(obvious_sorted)->ArgNames({"rates", "taps"})->ArgsProduct({{0, 1, 2}, {16, 32}});
} // namespace
