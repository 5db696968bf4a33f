// Resampler beside libsamplerate, soxr and speexdsp: what the same sweep of tones measures, and the time.
//
// ripple: greatest less least gain of tones up to 0.7 of the lower Nyquist frequency, dB
// snr:    power of these tones over all else that comes out, dB
// band:   where the gain has fallen by 3 dB, in the lower Nyquist frequency
// stop:   loudest of what must not come out, dB below the tone that makes it. Rate rising: images of tones
//         from 0.7 to 0.95 of Nyquist. Rate falling: tones from 1.1 of the lower Nyquist frequency to the
//         input's own
// realtime: seconds of one channel converted a second
#include "support/signals.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>
#include <optional>
#include <samplerate.h>
#include <soxr.h>
#include <speex/speex_resampler.h>
#include <string>
#include <vector>
#include <zovek/resampler.h>

namespace {
using Reals = std::vector<float>; // full scale 1
struct Rates {
    int32_t input, output;
    double lower_nyquist() const { return std::min(input, output) / 2.0; }
};

// A whole signal from one rate to another, quality in the converter's own terms.
using Convert = void (*)(Rates rates, int quality, const Reals& in, Reals& out);

// Blocks of the object's own samples, as a program with reals would call it; when the rate falls with as many
// more taps, so that the filter is as sharp beside the lower rate. bits is the width of the samples on both
// sides.
template <int bits>
void zovek(Rates rates, int taps, const Reals& in, Reals& out)
{
    constexpr int unused = 32 - bits;
    constexpr float scale = bits == 32 ? 2147483520.0f : 32767.0f; // the largest real below 2^31
    ZVResampler32* r = ZVResampler32_Construct(nullptr);
    const int falls = std::max(rates.input / rates.output, 1);
    ZVResampler32_Setup(r, float(rates.input), float(rates.output), 0, uint32_t(taps * falls));
    size_t made = 0;
    for (size_t at = 0; at < in.size();) {
        const size_t count = std::min(size_t(r->buffer_size), in.size() - at);
        for (size_t k = 0; k < count; ++k)
            r->input_write[k] = int32_t(std::lrintf(in[at + k] * scale)) << unused;
        const uint32_t block = ZVResampler32_ProcessIn(r, nullptr, uint32_t(count));
        for (uint32_t k = 0; k < block; ++k)
            out[made++] =
                float((int64_t(r->output_buffer[k]) + (int64_t(1) << unused) / 2) >> unused) / scale;
        at += count;
    }
    out.resize(made);
    ZVResampler32_Destruct(r, 1);
}

void libsamplerate(Rates rates, int type, const Reals& in, Reals& out)
{
    SRC_DATA data = {};
    data.data_in = in.data();
    data.data_out = out.data();
    data.input_frames = long(in.size());
    data.output_frames = long(out.size());
    data.src_ratio = double(rates.output) / rates.input;
    src_simple(&data, type, 1);
    out.resize(size_t(data.output_frames_gen));
}

void soxr(Rates rates, int recipe, const Reals& in, Reals& out)
{
    const soxr_quality_spec_t quality = soxr_quality_spec(static_cast<unsigned long>(recipe), 0);
    size_t made = 0;
    soxr_oneshot(rates.input, rates.output, 1, in.data(), in.size(), nullptr, out.data(), out.size(), &made,
                 nullptr, &quality, nullptr);
    out.resize(made);
}

void speexdsp(Rates rates, int quality, const Reals& in, Reals& out)
{
    SpeexResamplerState* state = speex_resampler_init(1, rates.input, rates.output, quality, nullptr);
    spx_uint32_t taken = spx_uint32_t(in.size()), made = spx_uint32_t(out.size());
    speex_resampler_process_float(state, 0, in.data(), &taken, out.data(), &made);
    out.resize(made);
    speex_resampler_destroy(state);
}

struct Tone {
    double gain, rest; // amplitudes against the input's
};

// A tone through a converter: the middle half of what comes out, and a sine fitted to it by least squares.
// Above the output's Nyquist frequency there is no tone to fit.
Tone through(Convert convert, Rates rates, int quality, double hz)
{
    const double amplitude = 0.5, turn = 2 * std::numbers::pi * hz;
    Reals in(size_t(rates.input / 2)), out(size_t(rates.output / 2 + 1000));
    for (size_t k = 0; k < in.size(); ++k)
        in[k] = float(amplitude * std::sin(turn * double(k) / rates.input));
    convert(rates, quality, in, out);
    const size_t first = out.size() / 4, last = out.size() - first;
    double cc = 0, cs = 0, ss = 0, yc = 0, ys = 0, yy = 0;
    for (size_t k = first; k < last; ++k) {
        const double c = std::cos(turn * double(k) / rates.output),
                     s = std::sin(turn * double(k) / rates.output);
        cc += c * c, cs += c * s, ss += s * s;
        yc += out[k] * c, ys += out[k] * s, yy += double(out[k]) * out[k];
    }
    const double scale = 1 / amplitude, count = double(last - first);
    if (hz >= rates.output / 2.0) return {0, scale * std::sqrt(2 * yy / count)};
    const double det = cc * ss - cs * cs, a = (yc * ss - ys * cs) / det, b = (ys * cc - yc * cs) / det;
    double rest = 0;
    for (size_t k = first; k < last; ++k) {
        const double phase = turn * double(k) / rates.output,
                     e = out[k] - a * std::cos(phase) - b * std::sin(phase);
        rest += e * e;
    }
    return {scale * std::hypot(a, b), scale * std::sqrt(2 * rest / count)};
}

double db(double amplitude) { return 20 * std::log10(amplitude); }

struct Figures {
    double ripple, snr, band, stop;
};

Figures measure(Convert convert, Rates rates, int quality)
{
    const double nyquist = rates.lower_nyquist();
    double most = 0, least = 10, power = 0, noise = 0, stop = 0, band = 0;
    for (int k = 1; k <= 17; ++k) {
        const double f = 0.7 * k / 17;
        const Tone tone = through(convert, rates, quality, f * nyquist);
        most = std::max(most, tone.gain);
        least = std::min(least, tone.gain);
        power += tone.gain * tone.gain;
        noise += tone.rest * tone.rest;
    }
    for (int k = 0; k < 30; ++k) {
        const double f = 0.701 + k / 100.0;
        const Tone tone = through(convert, rates, quality, f * nyquist);
        if (tone.gain > std::sqrt(0.5)) band = f;
        if (rates.output > rates.input && f <= 0.95) stop = std::max(stop, tone.rest);
    }
    for (int k = 0; 1.1 + k * 0.0431 < double(rates.input) / rates.output; ++k)
        stop = std::max(stop, through(convert, rates, quality, (1.1 + k * 0.0431) * nyquist).rest);
    return {db(most / least), 10 * std::log10(power / noise), band, -db(stop)};
}

struct Row {
    const char* name;
    Convert convert;
    int quality;
};

// The figures are measured once, though the benchmark runs several times.
void peer(benchmark::State& state, const Row& row, Rates rates, std::optional<Figures>& figures)
{
    constexpr int32_t seconds = 4;
    const test::Signal noise = test::noise(size_t(rates.input) * seconds, 1, 10000);
    Reals in(noise.size()), out;
    for (size_t k = 0; k < in.size(); ++k) in[k] = float(noise[k]) / 32768;
    const size_t room = size_t(rates.output) * seconds + 1000;
    for (auto _ : state) {
        out.resize(room);
        row.convert(rates, row.quality, in, out);
    }
    if (!figures) figures = measure(row.convert, rates, row.quality);
    state.counters["realtime"] = benchmark::Counter(seconds, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["ripple"] = figures->ripple;
    state.counters["snr"] = figures->snr;
    state.counters["band"] = figures->band;
    state.counters["stop"] = figures->stop;
}

// Each library's own scale from its least to its best.
const Row rows[] = {
    {"zovek/16_taps", zovek<32>, 16},
    {"zovek/32_taps", zovek<32>, 32},
    {"zovek/64_taps", zovek<32>, 64},
    {"zovek/128_taps", zovek<32>, 128},
    {"zovek_16bit/16_taps", zovek<16>, 16},
    {"zovek_16bit/64_taps", zovek<16>, 64},
    {"libsamplerate/fastest", libsamplerate, SRC_SINC_FASTEST},
    {"libsamplerate/medium", libsamplerate, SRC_SINC_MEDIUM_QUALITY},
    {"libsamplerate/best", libsamplerate, SRC_SINC_BEST_QUALITY},
    {"soxr/quick", soxr, SOXR_QQ},
    {"soxr/low", soxr, SOXR_LQ},
    {"soxr/medium", soxr, SOXR_MQ},
    {"soxr/high", soxr, SOXR_HQ},
    {"speexdsp/3", speexdsp, 3},
    {"speexdsp/5", speexdsp, 5},
    {"speexdsp/10", speexdsp, 10},
};

const int registered = [] {
    for (const Rates rates : {Rates{44100, 48000}, Rates{48000, 8000}})
        for (const Row& row : rows) {
            const std::string name =
                std::to_string(rates.input) + "_" + std::to_string(rates.output) + "/" + row.name;
            benchmark::RegisterBenchmark(name.c_str(), [&row, rates, figures = std::optional<Figures>()](
                                                           benchmark::State& state) mutable {
                peer(state, row, rates, figures);
            })->Unit(benchmark::kMillisecond);
        }
    return 0;
}();
} // namespace
