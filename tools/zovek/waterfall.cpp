// zovek waterfall: a recording as a picture, time downward, frequency across, level as colour.
//
// A column is a whole number of bins or a bin a whole number of columns, and likewise a row and blocks: no
// row or column averages more than its neighbour, so noise looks the same everywhere.
#include "command.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "spectra/lines.h"
#include "spectra/live.h"
#include "spectra/picture_options.h"
#include "spectra/plot.h"
#include "words/words.h"
#include <algorithm>
#include <cmath>

namespace client::spectra {
using namespace words;
namespace {
constexpr int level_margin = 100, lighter = 20; // pixels; steps of the ramp by which the grid stands out

struct Options : PictureOptions {
    bool live = false;
};

// Pixels a line takes, so that count lines fill most pixels as well as they can.
int magnified(size_t count, int most) { return std::max(most / int(count), 1); }

class Picture {
public:
    Picture(const Options& options, const Analysis& analysis, const Lines& lines)
        : columns_(lines.columns()), levels_(lines.powers().size())
    {
        std::transform(lines.powers().begin(), lines.powers().end(), levels_.begin(), decibels);
        range_ = fitted(range_of(levels_, columns_, float(analysis.rounding_level())), options.floor,
                        options.ceiling);

        const double row = double(lines.each()) * analysis.hop(); // s
        from_ = analysis.middle() - analysis.hop() / 2;
        to_ = from_ + row * double(lines.count());
        tall_ = magnified(lines.count(), options.height);
        wide_ = magnified(columns_, options.width);
    }

    Plot draw(const Options& options, const Analysis& analysis, size_t group) const
    {
        const int rows = int(levels_.size() / columns_) * tall_, columns = int(columns_) * wide_;
        const double low = analysis.low(), high = low + double(columns_ * group) * analysis.bin_width();
        Plot plot(options, analysis, {columns, rows, low, high, level_margin});
        const Axis down = {from_, to_, plot.top, rows};
        const Ticks times = time_ticks(down, 60);
        draw_field(plot, down, times);
        plot.draw_frame();
        plot.draw_left_axis(down, times);
        draw_scale(plot);
        return plot;
    }

    Range range() const { return range_; }
    double from() const { return from_; }
    double to() const { return to_; }

private:
    void draw_field(Plot& plot, const Axis& down, const Ticks& times) const
    {
        // How much lighter than its level a column or row is.
        std::vector<int> across(size_t(plot.across.pixels)), along(size_t(down.pixels));
        for (const int x : plot.grid()) across[size_t(x - plot.left())] = lighter;
        for (const Tick& tick : times.ticks)
            if (!tick.label.empty()) along[size_t(down.place(tick.value) - plot.top)] = lighter;
        std::vector<bool> carrier(across.size());
        for (const int x : plot.carriers()) carrier[size_t(x - plot.left())] = true;
        for (int y = 0; y < down.pixels; ++y)
            for (int x = 0; x < plot.across.pixels; ++x) {
                const float level = levels_[size_t(y / tall_) * columns_ + size_t(x / wide_)];
                const int dash = carrier[size_t(x)] && y / 4 % 3 == 0 ? 3 * lighter : 0;
                const int light = std::max({across[size_t(x)], along[size_t(y)], dash});
                const int colour = level_colour((level - range_.floor) / (range_.ceiling - range_.floor));
                plot.canvas.dot(plot.left() + x, plot.top + y,
                                uint8_t(std::min(colour + light, ramp_colours - 1)));
            }
    }

    // The colours beside the field, with their levels.
    void draw_scale(Plot& plot) const
    {
        const int left = plot.right() + 22, height = std::min(plot.bottom - plot.top + 1, 400);
        for (int y = 0; y < height; ++y)
            plot.canvas.fill(left, plot.top + y, left + 13, plot.top + y,
                             level_colour(1 - (y + 0.5) / height));
        plot.canvas.frame(left - 1, plot.top - 1, left + 14, plot.top + height, shade(Ink::dim, 7));
        const Axis up = {range_.floor, range_.ceiling, 0, height};
        for (const Tick& tick : plain_ticks({up.low, up.high + 0.01, 0, height}, 40).ticks) {
            if (tick.label.empty()) continue;
            const int y = plot.top + height - 1 - int(std::min(up.position(tick.value), height - 1.0));
            plot.canvas.fill(left + 16, y, left + 19, y, shade(Ink::dim, 15));
            plot.canvas.text(left + 24, y + 4, tick.label, Ink::text);
        }
        plot.canvas.text(left, plot.top - 10, "dBFS", Ink::dim);
    }

    size_t columns_;
    std::vector<float> levels_; // dBFS
    Range range_;
    double from_, to_; // s
    int tall_, wide_;  // pixels a row and a column of levels take
};

int draw(const Options& options)
{
    if (options.output.empty()) throw WrongUsage("where to? -o FILE.png, or --live");
    const auto width = size_t(options.width), height = size_t(options.height);
    Analysis analysis(options.analysis, {.bins = double(width) * 0.9, .rows = double(options.height)});
    Destination to(options.output);
    watch_for_stop();

    const int64_t expected = analysis.blocks_expected().value_or(0);
    const size_t group = (analysis.bins() + width - 1) / width;
    Lines lines(analysis.bins(), group, height,
                std::max<int64_t>((expected + options.height - 1) / options.height, 1));
    while (const float* power = analysis.next()) lines.add(power);
    lines.finish();
    analysis.tell_end("waterfall");

    const Picture picture(options, analysis, lines);
    const Plot plot = picture.draw(options, analysis, group);
    write_png(plot.canvas, to);

    const Range range = picture.range();
    if (options.json) {
        JsonObject summary;
        summary.add("file", to.name());
        analysis.add_to(summary);
        summary.add("floor", range.floor).add("ceiling", range.ceiling);
        summary.add("left", int64_t(plot.left())).add("right", int64_t(plot.right()));
        summary.add("top", int64_t(plot.top)).add("bottom", int64_t(plot.bottom));
        analysis.add_frequency(summary, "low", plot.across.low);
        analysis.add_frequency(summary, "high", plot.across.high);
        summary.add("first", picture.from()).add("last", picture.to());
        report(summary);
    } else
        say("waterfall: " + number(std::round(analysis.seconds() * 10) / 10) + " s, " + analysis.described() +
            ", " + number(range.floor) + " to " + number(range.ceiling) + " dBFS, to " + to.name());
    return exit_status();
}
} // namespace
} // namespace client::spectra

client::Run client::add_waterfall(CommandLine& line)
{
    using namespace client::spectra;
    const auto options = std::make_shared<Options>(Options{{.width = 1200, .height = 640}});
    add_picture_options(line, *options);
    line.flag("--live", options->live, "draw in the terminal, as the signal comes");
    line.flag("--json", options->json, "summary as JSON on standard error");
    return [options, line] {
        check_picture_options(line, *options);
        if (options->live) {
            if (!options->output.empty() || options->json)
                throw WrongUsage("--live draws in the terminal: no -o or --json");
            return draw_live(*options);
        }
        options->height -= options->height % 2;
        return draw(*options);
    };
}
