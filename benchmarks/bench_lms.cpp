// LMS filter: samples a second by taps, signal and processor class, beside the obvious loop in C compiled for
// this machine. Blocks of 4096. Quiet signals have many samples of 0, at which coefficients meet rounding
// ties.
#include "filter/lms_kernels.h"
#include "obvious_lms.h"
#include "support/processors.h"
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>
#include <vector>

namespace {
constexpr int32_t block = 4096;
constexpr uint32_t mmx = ZV_CPU_MMX, sse = 1u << 25;

struct Class {
    const char* name;
    uint32_t classification, features, sets;
};
constexpr Class classes[] = {
    {"chosen", 0, 0, 0}, // as this machine is
    {"avx512", 0, mmx, zv::avx2 | zv::avx512},
    {"avx2", 0, mmx, zv::avx2},
    {"mmx", 0, mmx, 0},
    {"amd_f5", zv::amd_f5m8, mmx, 0},
    {"amd_f6", zv::amd_f6, mmx | sse, 0},
    {"scalar", zv::amd_k5, 0, 0},
};

struct Setting {
    const char* name;
    double amplitude, noise;
    float step_size, leakage;
};
constexpr Setting settings[] = {
    {"defaults", 8000, 2000, 0.5f, 0.5f},
    {"slow", 8000, 2000, 0.01f, 0.0001f},
    {"quiet", 6, 4, 0.5f, 0.5f},
};

std::vector<int16_t> signal_of(const Setting& setting)
{
    std::mt19937 random(1);
    std::normal_distribution<double> hiss(0, setting.noise);
    std::vector<int16_t> signal(block);
    for (int32_t k = 0; k < block; ++k)
        signal[k] = static_cast<int16_t>(std::lrint(setting.amplitude * std::sin(0.6 * k) + hiss(random)));
    return signal;
}

void library(benchmark::State& state)
{
    const Class& as = classes[state.range(2)];
    const bool forced = state.range(2) != 0;
    if (!test::runs_here(as.features, as.sets))
        return state.SkipWithError("this machine lacks the instructions");
    const Setting& setting = settings[state.range(1)];
    const ZVCPUInfo here = *_CPU();
    const test::OnProcessor processor(forced ? as.classification : here.classification,
                                      forced ? as.features : here.features,
                                      forced ? as.sets : zv::wider_sets);
    zv::lms::lms_kernel = zv::lms::choose;
    ZVLMS1616 filter;
    ZVLMS1616_Construct(&filter);
    ZVLMS_TapsNum(&filter, uint32_t(state.range(0)));
    ZVLMS_DelaySize(&filter, 1);
    filter.step_size = setting.step_size, filter.leakage = setting.leakage;
    const auto in = signal_of(setting);
    std::vector<int16_t> out(block);
    for (auto _ : state) {
        ZVLMS1616_Process_16_16(&filter, out.data(), in.data(), block, 1);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * block);
    state.SetLabel(std::string(as.name) + " " + setting.name);
    ZVLMS_Destruct(&filter, 0);
    zv::lms::lms_kernel = zv::lms::choose;
}

void obvious(benchmark::State& state)
{
    const Setting& setting = settings[state.range(1)];
    const auto taps = int(state.range(0));
    const auto in = signal_of(setting);
    std::vector<int16_t> coefficients(taps), window(taps + block), out(block);
    float power = 0;
    for (auto _ : state) {
        obvious_lms(coefficients.data(), taps, 1, window.data(), &power, setting.step_size, 1,
                    setting.leakage, in.data(), block, out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * block);
    state.SetLabel(setting.name);
}
} // namespace

BENCHMARK(obvious)->ArgNames({"taps", "signal"})->ArgsProduct({{31, 127}, {0, 1, 2}});
BENCHMARK(library)
    ->ArgNames({"taps", "signal", "cpu"})
    ->ArgsProduct({{31, 127}, {0, 1, 2}, {0, 1, 2, 3, 4, 5, 6}});
