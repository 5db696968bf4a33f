// zovek resample: a recording at another sampling rate.
//
// The ratio is over / under in whole numbers. An output sample is made of so many input samples as --quality
// tells, and of more where the rate falls, so that the filter is as sharp beside the lower of the two rates.
#include "command.h"
#include "io/converter.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "words/words.h"
#include <algorithm>
#include <cmath>
#include <optional>

namespace client {
using namespace words;
namespace {
constexpr int64_t most_taps = 1 << 23; // of all channels together: about 200 MB

// docs/resample.md tells how these were measured.
constexpr char qualities[] =
    R"(Quality: band is the part of the lower Nyquist frequency below -3 dB, stop what is kept
off, times real time those of one channel from 48 to 8 kHz on one core at 2.3 GHz.
  taps   band    ripple     stop    delay at 48 kHz   x real time
    16   0.78   0.9  dB    30 dB       0.17 ms           6600
    32   0.81   0.02 dB    75 dB       0.33 ms           5200
    64   0.83   0.001 dB   86 dB       0.67 ms           2200
   128   0.84   0.0001 dB 104 dB       1.33 ms           1200
Where the rate falls, an output takes taps x in / out, and so does the delay.
The delay is taken off the start and made up with silence behind the end.)";

struct Options {
    InputOptions input;
    OutputOptions output;
    int32_t rate = 0;     // Hz
    int32_t quality = 64; // taps per phase; more where the rate falls
    double tolerance = 0;
    bool json = false;
};

struct Ratio {
    int64_t over, under;
};

// The ratio with the smallest over that meets a tolerance: the resampler's own search, with an end.
std::optional<Ratio> find_ratio(int32_t input, int32_t output, double tolerance, int64_t most_over)
{
    using Real = long double;
    for (int64_t over = 1; over <= most_over; ++over) {
        const Real under = rintl(Real(input) * Real(over) / output);
        if (under > most_factor) break;
        if (under >= 1 && fabsl(output * under / Real(over) / input - 1) <= tolerance)
            return Ratio{over, int64_t(under)};
    }
    return {};
}

// Input samples that an output is made of.
int64_t taps_per_output(const Options& options, int32_t input)
{
    return std::max<int64_t>(options.quality,
                             (int64_t(options.quality) * input + options.rate - 1) / options.rate);
}

Ratio ratio_for(const Options& options, const Input& input)
{
    const int64_t most_over = most_taps / (taps_per_output(options, input.rate) * input.channels);
    if (const auto ratio = find_ratio(input.rate, options.rate, options.tolerance, most_over)) return *ratio;
    const std::string rates = number(input.rate) + " Hz to " + number(options.rate) + " Hz";
    for (const double tolerance : {1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2})
        if (const auto ratio = find_ratio(input.rate, options.rate, tolerance, most_over);
            ratio && tolerance > options.tolerance)
            throw Failure(rates, "the ratio needs too large a table; --tolerance " + number(tolerance) +
                                     " makes do with " + number(double(ratio->over)) + "/" +
                                     number(double(ratio->under)));
    throw Failure(rates, "the rates are too far apart");
}

// The rate stays: nothing is to be filtered off.
class Copy : public Channel {
public:
    void run(const int32_t* in, size_t count, size_t step, std::vector<int32_t>& out) override
    {
        for (size_t k = 0; k < count; ++k) out.push_back(in[k * step]);
    }
};

int run(const Options& options)
{
    const auto input = Input::open(options.input);
    const Ratio ratio = ratio_for(options, *input);
    const bool same = ratio.over == ratio.under;
    const int64_t taps = same ? 1 : taps_per_output(options, input->rate);
    Passage passage;
    double lag = 0; // s
    for (int32_t c = 0; c < input->channels; ++c) {
        if (same) {
            passage.channels.push_back(std::make_unique<Copy>());
            continue;
        }
        auto channel = std::make_unique<Converter>(ratio.over, ratio.under, taps);
        passage.delay = channel->delay();
        lag = channel->lag() / input->rate;
        passage.channels.push_back(std::move(channel));
    }
    // As many as there are positions up to the end, the first on the first sample.
    passage.frames_of = [=](int64_t frames) {
        return frames / ratio.under * ratio.over +
               (frames % ratio.under * ratio.over + ratio.under - 1) / ratio.under;
    };
    Output output(options.output, options.rate, input->channels);
    const Passed passed = pass("resample", *input, output, passage, options.json);

    // How far the true rate is from the one asked for, relatively.
    const double error = input->rate * double(ratio.over) / double(ratio.under) / options.rate - 1;
    if (options.json) {
        JsonObject summary;
        summary.add("file", output.name()).add("channels", int64_t(input->channels));
        summary.add("input_rate", int64_t(input->rate)).add("output_rate", int64_t(options.rate));
        summary.add("over", ratio.over).add("under", ratio.under).add("rate_error", error);
        summary.add("taps_per_output", taps).add("delay", lag);
        report(summary.append(passed.json()));
        return exit_status();
    }
    std::string line = passed.text() + ", " + number(input->rate) + " x " + number(double(ratio.over)) + "/" +
                       number(double(ratio.under)) + " = " + number(options.rate) + " Hz";
    if (error != 0) line += " (off by " + number(std::round(error * 1e10) / 1e4) + " ppm)";
    if (same)
        line += ", as it was";
    else
        line += " with " + number(double(taps)) + " taps an output, the filter's delay of " +
                number(std::round(lag * 1e7) / 1e4) + " ms taken off";
    say("resample: " + line + ", to " + output.name());
    return exit_status();
}
} // namespace

Run add_resample(CommandLine& line)
{
    const auto options = std::make_shared<Options>();
    options->input.all_channels = true;
    options->input.rate_names = "--input-rate";
    add_input_options(line, options->input);
    add_output_options(line, options->output);
    line.rate("-r,--rate", options->rate, "rate wanted; takes k and M: 8k").required();
    line.quantity("-q,--quality", options->quality, 8, 1024, "N", "taps per phase, 8 to 1024: see below")
        .usually(number(options->quality));
    line.quantity("--tolerance", options->tolerance, 0, 0.1, "PART",
                  "how far the ratio may be off, relatively: 1e-6; 0 is exact")
        .usually("0");
    line.flag("--json", options->json, "summary as JSON on standard error");
    line.footer(qualities);
    return [options] { return run(*options); };
}
} // namespace client
