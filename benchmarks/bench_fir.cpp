// FIR filters: input samples a second by taps, decimation and processor class, beside the obvious loop in C
// compiled for this machine. Blocks of 4096; each round takes the samples in and moves the history on.
#include "core/cpu.h"
#include "obvious_fir.h"
#include "support/processors.h"
#include <benchmark/benchmark.h>
#include <random>
#include <vector>
#include <zovek/fir.h>

namespace {
constexpr int32_t block = 4096;

struct Class {
    const char* name;
    uint32_t classification, features, sets;
};
constexpr uint32_t mmx = ZV_CPU_MMX, sse = 1u << 25, sse2 = ZV_CPU_SSE2;
constexpr Class classes[] = {
    {"chosen", 0, 0, 0}, // as this machine is
    {"vnni", 0, mmx | sse2, zv::avx2 | zv::avx512 | zv::avx512vnni},
    {"avx512", 0, mmx | sse2, zv::avx2 | zv::avx512},
    {"avx2", 0, mmx | sse2, zv::avx2},
    {"sse2", 0, mmx | sse2, 0},
    {"mmx", 0, mmx, 0},
    {"amd_f5", zv::amd_f5m8, mmx, 0},
    {"amd_f6", zv::amd_f6, mmx | sse, 0},
    {"scalar", zv::amd_k5, 0, 0},
};

template <class Sample>
std::vector<Sample> noise(size_t count)
{
    std::mt19937 random(1);
    std::vector<Sample> signal(count);
    for (Sample& v : signal) v = static_cast<Sample>(random());
    return signal;
}

// construct gives the kind, process one of its streams.
template <auto construct, auto process, class Out, class In>
void library(benchmark::State& state)
{
    const Class& as = classes[state.range(2)];
    const bool forced = state.range(2) != 0;
    if (!test::runs_here(as.features, as.sets))
        return state.SkipWithError("this machine lacks the instructions");
    ZVFIR fir;
    {
        const ZVCPUInfo& here = *_CPU();
        const test::OnProcessor processor(forced ? as.classification : here.classification,
                                          forced ? as.features : here.features,
                                          forced ? as.sets : zv::wider_sets);
        construct(&fir);
    }
    ZVFIR_TapsNum(&fir, int32_t(state.range(0)));
    ZVFIR_BufferSize(&fir, block);
    ZVFIR_FIRType(&fir, ZVFIRType_LowPass);
    const auto in = noise<In>(block);
    std::vector<Out> out(block);
    for (auto _ : state) {
        process(&fir, out.data(), in.data(), block, 1, int32_t(state.range(1)));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * block);
    state.SetLabel(as.name);
    ZVFIR_Destruct(&fir, 0);
}

template <auto process, class Out>
void obvious(benchmark::State& state)
{
    const auto taps_count = size_t(state.range(0));
    const auto taps = noise<int16_t>(taps_count), in = noise<int16_t>(block);
    std::vector<int16_t> history(taps_count - 1 + block);
    std::vector<Out> out(block);
    for (auto _ : state) {
        process(taps.data(), int(taps_count), history.data(), in.data(), block, int(state.range(1)),
                out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * block);
}

void sizes(benchmark::internal::Benchmark* bench) { bench->ArgsProduct({{31, 127, 511}, {1, 8}}); }

void sizes_and_classes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"taps", "by", "cpu"});
    for (int64_t cpu = 0; cpu < int64_t(std::size(classes)); ++cpu)
        for (const int64_t decimation : {1, 8})
            for (const int64_t taps : {31, 127, 511}) bench->Args({taps, decimation, cpu});
}
} // namespace

BENCHMARK(obvious<obvious_fir1616, int16_t>)->Name("obvious_16_16")->ArgNames({"taps", "by"})->Apply(sizes);
BENCHMARK(obvious<obvious_fir1632, int32_t>)->Name("obvious_16_32")->ArgNames({"taps", "by"})->Apply(sizes);
BENCHMARK(library<ZVFIR1616_Construct, ZVFIR1616_Process_16_16, int16_t, int16_t>)
    ->Name("fir1616_16_16")
    ->Apply(sizes_and_classes);
BENCHMARK(library<ZVFIR1632_Construct, ZVFIR1632_Process_16_32, int32_t, int16_t>)
    ->Name("fir1632_16_32")
    ->Apply(sizes_and_classes);
BENCHMARK(library<ZVFIR3232_Construct, ZVFIR3232_Process_32_32, int32_t, int32_t>)
    ->Name("fir3232_32_32")
    ->Apply(sizes_and_classes);
