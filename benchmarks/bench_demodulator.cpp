// The whole demodulator against the obvious C loop (-O3 -march=native), mode by mode, at three input rates.
// Both run on the same signal, block by block in turn, after their outputs have been compared. Time is ours;
// "loop" is the other's in ns a sample, "ratio" ours by the other's.
#include "obvious_demodulator.h"
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>
#include <zovek/demodulator.h>

namespace {
struct Rate {
    const char* name;
    int32_t rate, frequency;
    uint32_t decimation, upsample;
    int32_t block, post_taps, audio_taps;
};
constexpr Rate rates[] = {
    {"48k", 48000, 12000, 2, 2, 1024, 31, 31},
    {"192k", 192000, 45000, 8, 2, 4096, 63, 31},
    {"2M4", 2400000, 455000, 50, 1, 51200, 127, 63},
    {"2M4_odd_frequency", 2400000, 455123, 50, 1, 51200, 127, 63},
};
constexpr const char* modes[] = {"am", "sync_am", "isb", "ssb", "fm"};

struct Ours {
    ZVDemodulator record;
    Ours(const Rate& r, int mode)
    {
        ZVDemodulator* d = ZVDemodulator16_Construct(&record);
        ZVDemodulator_IQDecimation(d, r.decimation);
        ZVDemodulator_AudioUpsample(d, r.upsample);
        ZVDemodulator_SamplingRate(d, r.rate, 1);
        ZVDemodulator_BufferSize(d, r.block, 0);
        ZVDemodulator_PostMixerLength(d, r.post_taps);
        ZVDemodulator_AudioFilterLength(d, r.audio_taps);
        ZVDemodulator_Mode(d, uint8_t(mode));
        ZVDemodulator_PostMixerCutOff(d, 5000);
        ZVDemodulator_LocalFrequency(d, r.frequency);
    }
    ~Ours() { ZVDemodulator_Destruct(&record, 0); }
};

// The loop's own room, with the settings and the taps of ours.
struct Loop {
    std::vector<int16_t> history[5];
    std::vector<int32_t> area[8];
    obvious_demodulator record;

    explicit Loop(const ZVDemodulator& d)
    {
        const ZVFIR* firs[5] = {d.post_mixer_filter_i, d.post_mixer_filter_q, d.isb_filter, d.audio_filter_1,
                                d.audio_filter_2};
        filter filters[5];
        for (int f = 0; f < 5; ++f) {
            history[f].resize(size_t(firs[f]->taps_count) - 1 + size_t(firs[f]->buffer_size));
            filters[f] = {firs[f]->taps_count, static_cast<const int16_t*>(firs[f]->taps), history[f].data()};
        }
        for (auto& a : area) a.resize(size_t(d.buffer_size) + size_t(d.isb_filter->taps_count));
        record = {d.mode,
                  d.sampling_rate,
                  d.local_frequency,
                  int32_t(d.iq_decimation),
                  int32_t(d.audio_upsample),
                  d.sideband_offset,
                  d.dc_cutoff,
                  d.volume,
                  d.oscillator_table,
                  filters[0],
                  filters[1],
                  filters[2],
                  filters[3],
                  filters[4],
                  area[0].data(),
                  area[1].data(),
                  area[2].data(),
                  area[3].data(),
                  area[4].data(),
                  area[5].data(),
                  area[6].data(),
                  area[7].data()};
    }
};

// A carrier near the local frequency under amplitude and frequency modulation, with noise.
std::vector<int16_t> programme(const Rate& r, size_t count)
{
    std::vector<int16_t> x(count);
    uint32_t random = 1;
    for (size_t k = 0; k < count; ++k) {
        random = random * 1664525 + 1013904223;
        const double t = 2 * std::numbers::pi * double(k) / r.rate;
        const double v =
            (1 + 0.5 * std::sin(400 * t)) * std::cos((r.frequency + 20) * t + 2 * std::sin(300 * t));
        x[k] = int16_t(9000 * v + double(int32_t(random) >> 16) / 40);
    }
    return x;
}

void demodulate(benchmark::State& state, int mode, const Rate& r)
{
    using Clock = std::chrono::steady_clock;
    Ours ours(r, mode);
    Loop loop(ours.record);
    const std::vector<int16_t> x = programme(r, size_t(r.block) * 20);
    const size_t frames = size_t(r.block) / r.decimation * r.upsample;
    std::vector<int16_t> out(2 * frames), loop_out(2 * frames);
    std::chrono::duration<double> spent{}, loop_spent{};
    size_t block = 0;
    for (auto _ : state) {
        const int16_t* in = x.data() + block++ % 20 * size_t(r.block);
        const auto start = Clock::now();
        ZVDemodulator16_Process_StereoOut_16_16(&ours.record, in, out.data(), uint32_t(r.block), 1);
        benchmark::ClobberMemory();
        const auto middle = Clock::now();
        obvious_demodulate(&loop.record, in, loop_out.data(), r.block);
        benchmark::ClobberMemory();
        const auto end = Clock::now();
        spent += middle - start;
        loop_spent += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(middle - start).count());
        for (size_t k = 0; block <= 20 && k < out.size(); ++k)
            if (std::abs(out[k] - loop_out[k]) > 2) return state.SkipWithError("the two outputs differ");
    }
    const double samples = double(state.iterations()) * r.block;
    state.SetItemsProcessed(int64_t(samples));
    state.counters["ns"] = spent.count() * 1e9 / samples;
    state.counters["loop"] = loop_spent.count() * 1e9 / samples;
    state.counters["ratio"] = spent / loop_spent;
}

const bool registered = [] {
    for (const Rate& r : rates)
        for (int mode = 0; mode < 5; ++mode)
            benchmark::RegisterBenchmark((std::string(modes[mode]) + '/' + r.name).c_str(),
                                         [=, &r](benchmark::State& state) { demodulate(state, mode, r); })
                ->UseManualTime();
    return true;
}();
} // namespace
