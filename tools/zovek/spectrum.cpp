// zovek spectrum: the power spectrum of a recording, averaged over all of it (Welch's method), as a list of
// tones, as numbers or as a picture.
#include "command.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "spectra/font.h"
#include "spectra/lines.h"
#include "spectra/peaks.h"
#include "spectra/picture_options.h"
#include "spectra/plot.h"
#include "words/words.h"
#include <algorithm>
#include <cmath>
#include <tuple>

namespace client::spectra {
using namespace words;
namespace {
struct Options : PictureOptions {
    int peaks = 20;
    bool csv = false;
};

double decibels_of(double power) { return double(decibels(float(power))); }
double rounded(double value, double step) { return std::round(value / step) * step; }

struct Spectrum {
    Mean mean;
    std::vector<double> highest; // power of each bin
    std::vector<Peak> peaks;
};

Spectrum measure(Analysis& analysis, const Options& options)
{
    Spectrum result;
    Mean& mean = result.mean;
    mean.power.resize(analysis.bins());
    mean.square.resize(analysis.bins());
    result.highest.resize(analysis.bins());
    while (const float* power = analysis.next())
        for (size_t k = 0; k < analysis.bins(); ++k) {
            mean.power[k] += power[k];
            mean.square[k] += double(power[k]) * power[k];
            result.highest[k] = std::max<double>(result.highest[k], power[k]);
        }
    for (auto* sum : {&mean.power, &mean.square})
        for (double& value : *sum) value /= double(std::max<int64_t>(analysis.blocks(), 1));
    mean.averages = analysis.averages();
    result.peaks = find_peaks(mean, Kernel(options.analysis.window), size_t(options.peaks));
    return result;
}

class Picture {
public:
    Picture(const Options& options, const Analysis& analysis, const Spectrum& spectrum)
        : analysis_(analysis),
          spectrum_(spectrum),
          plot_(options, analysis, {options.width, options.height, analysis.low(), analysis.high(), 30},
                ", average of " + number(double(analysis.blocks())))
    {
        std::vector<double> sorted = spectrum.mean.power;
        std::sort(sorted.begin(), sorted.end());
        const double most = *std::max_element(spectrum.highest.begin(), spectrum.highest.end());
        const double top = 10 * std::ceil((decibels_of(most) + 4) / 10);
        const double low = 10 * std::floor((decibels_of(sorted[sorted.size() / 10]) - 4) / 10);
        const double ceiling = options.ceiling.value_or(std::max(top, options.floor.value_or(top - 30) + 30));
        const double floor = options.floor.value_or(std::clamp(low, ceiling - 140, ceiling - 30));
        down_ = {ceiling, floor, plot_.top, options.height};
    }

    const Canvas& draw()
    {
        const Ticks levels = plain_ticks({down_.high, down_.low, 0, down_.pixels}, 44, "dBFS");
        draw_grid(levels);
        draw_trace(spectrum_.highest, Ink::hold, 8, 3);
        draw_trace(spectrum_.mean.power, Ink::trace, 15, 4);
        draw_peaks();
        draw_legend();
        plot_.draw_frame();
        plot_.draw_left_axis(down_, levels);
        return plot_.canvas;
    }

private:
    int row(double power) const
    {
        return std::clamp(down_.place(decibels_of(power)), plot_.top, plot_.bottom);
    }
    int column(double bin) const
    {
        return std::clamp(plot_.across.place(analysis_.frequency(bin)), plot_.left(), plot_.right());
    }

    void draw_grid(const Ticks& levels)
    {
        for (const int x : plot_.grid())
            plot_.canvas.fill(x, plot_.top, x, plot_.bottom, shade(Ink::grid, 3));
        for (const Tick& tick : levels.ticks)
            if (!tick.label.empty()) {
                const int y = down_.place(tick.value);
                plot_.canvas.fill(plot_.left(), y, plot_.right(), y, shade(Ink::grid, 3));
            }
        for (const int x : plot_.carriers())
            for (int y = plot_.top; y < plot_.bottom; y += 12)
                plot_.canvas.fill(x, y, x, y + 3, shade(Ink::mark, 7));
    }

    // Lines from bin to bin, over a body of the same ink.
    void draw_trace(const std::vector<double>& power, Ink ink, int line, int body)
    {
        std::vector<int> tops(size_t(plot_.across.pixels), plot_.bottom + 1);
        for (size_t k = 0; k < power.size(); ++k) {
            const int from = column(double(k) - 0.5), to = column(double(k) + 0.5), y = row(power[k]);
            for (int x = from; x <= to; ++x) {
                int& top = tops[size_t(x - plot_.left())];
                top = std::min(top, y);
            }
        }
        for (size_t k = 0; k < tops.size(); ++k)
            if (tops[k] <= plot_.bottom)
                plot_.canvas.fill(plot_.left() + int(k), tops[k], plot_.left() + int(k), plot_.bottom,
                                  shade(ink, body));
        for (size_t k = 1; k < power.size(); ++k)
            plot_.canvas.line(column(double(k - 1)), row(power[k - 1]), column(double(k)), row(power[k]),
                              shade(ink, line));
    }

    // Frequencies over the peaks, the strongest first, where there is room.
    void draw_peaks()
    {
        struct Box {
            int left, right, top;
        };
        std::vector<Box> boxes;
        for (const Peak& peak : spectrum_.peaks) {
            const double hz = analysis_.frequency(peak.bin);
            const std::string text = frequency_text(rounded(hz, analysis_.bin_width() < 2 ? 0.1 : 1));
            const int half = int(text_width(text) / 2) + 4, x = column(peak.bin);
            if (2 * half > plot_.right() - plot_.left()) continue;
            const int middle = std::clamp(x, plot_.left() + half, plot_.right() - half);
            const int y = row(std::max(peak.top, spectrum_.highest[size_t(std::lround(peak.bin))])) - 5;
            const Box box = {middle - half, middle + half, y - 14};
            const auto meets = [&](const Box& other) {
                return box.left < other.right && other.left < box.right && std::abs(box.top - other.top) < 16;
            };
            if (box.top < plot_.top + 2 || std::any_of(boxes.begin(), boxes.end(), meets)) continue;
            boxes.push_back(box);
            plot_.canvas.text(middle, y - 3, text, Ink::text, Align::middle);
            plot_.canvas.fill(x, y, x, y + 2, shade(Ink::text, 12));
        }
    }

    void draw_legend()
    {
        int x = plot_.right();
        for (const auto& [text, ink, cover] :
             {std::tuple("average", Ink::trace, 15), {"highest", Ink::hold, 12}}) {
            plot_.canvas.text(x, plot_.top - 26, text, Ink::dim, Align::right);
            x -= int(text_width(text)) + 24;
            plot_.canvas.fill(x, plot_.top - 31, x + 14, plot_.top - 30, shade(ink, cover));
            x -= 16;
        }
    }

    const Analysis& analysis_;
    const Spectrum& spectrum_;
    Plot plot_;
    Axis down_; // dBFS
};

void print_json(const Options& options, const Analysis& analysis, const Spectrum& spectrum)
{
    JsonObject object;
    if (!options.output.empty()) object.add("file", options.output);
    analysis.add_to(object);
    std::vector<JsonObject> peaks;
    for (const Peak& peak : spectrum.peaks) {
        analysis.add_frequency(peaks.emplace_back(), "frequency",
                               rounded(analysis.frequency(peak.bin), 1e-4));
        peaks.back()
            .add("level", rounded(decibels_of(peak.power), 1e-3))
            .add("above_floor", rounded(decibels_of(peak.top / peak.floor), 1e-3));
    }
    analysis.add_frequency(object.add("peaks", peaks), "first", analysis.frequency(0));
    for (const auto& [name, power] :
         {std::pair("levels", &spectrum.mean.power), {"highest", &spectrum.highest}}) {
        std::vector<double> levels;
        for (const double value : *power) levels.push_back(rounded(decibels_of(value), 1e-3));
        object.add(name, levels);
    }
    std::printf("%s\n", object.text().c_str());
}

void print_csv(const Analysis& analysis, const Spectrum& spectrum)
{
    const int digits = analysis.tuned() ? 15 : 9;
    std::printf("frequency_hz,level_dbfs,highest_dbfs\n");
    for (size_t k = 0; k < analysis.bins(); ++k)
        std::printf("%.*g,%.3f,%.3f\n", digits, analysis.frequency(double(k)),
                    decibels_of(spectrum.mean.power[k]), decibels_of(spectrum.highest[k]));
}

void print_peaks(const Analysis& analysis, const Spectrum& spectrum)
{
    std::printf("%14s %10s %12s\n", "frequency Hz", "level dBFS", "above floor");
    for (const Peak& peak : spectrum.peaks)
        std::printf("%14.2f %10.2f %9.1f dB\n", analysis.frequency(peak.bin), decibels_of(peak.power),
                    decibels_of(peak.top / peak.floor));
}

int run(const Options& options)
{
    Analysis analysis(options.analysis, {.bins = 2000, .longest = 1.0 / 8});
    std::optional<Destination> to;
    if (!options.output.empty()) to.emplace(options.output);
    watch_for_stop();
    const Spectrum spectrum = measure(analysis, options);
    analysis.tell_end("spectrum");
    if (to) write_png(Picture(options, analysis, spectrum).draw(), *to);

    if (options.json)
        print_json(options, analysis, spectrum);
    else if (options.csv)
        print_csv(analysis, spectrum);
    else if (options.output != "-")
        print_peaks(analysis, spectrum);
    deliver();
    if (!options.json)
        say("spectrum: " + number(rounded(analysis.seconds(), 0.1)) + " s, " + analysis.described() +
            ", average of " + number(double(analysis.blocks())) + ", bins of " +
            number(rounded(analysis.bin_width(), 1e-4)) + " Hz" + (to ? ", to " + to->name() : ""));
    return exit_status();
}
} // namespace
} // namespace client::spectra

client::Run client::add_spectrum(CommandLine& line)
{
    using namespace client::spectra;
    const auto options = std::make_shared<Options>(Options{{.width = 1100, .height = 480}});
    add_picture_options(line, *options);
    line.quantity("--peaks", options->peaks, 0, 10000, "N", "tones to list and to label, the strongest first")
        .usually(number(options->peaks));
    line.flag("--json", options->json, "summary, tones and levels of all bins as JSON on standard output");
    line.flag("--csv", options->csv, "levels of all bins as CSV on standard output");
    return [options, line] {
        check_picture_options(line, *options, {"--floor", "--ceiling"});
        if (options->json && options->csv) throw WrongUsage("--json or --csv, not both");
        if (options->output == "-" && (options->json || options->csv))
            throw WrongUsage("standard output can't take picture and numbers: name a file with -o");
        return run(*options);
    };
}
