// Two rows of spectrum make a line of text: the upper half block U+2580 has the colour of the upper row on
// the lower row's. Below the newest line stands the frequency axis.
//
// A row covers 1/19 s of signal and is shown at most 20 times a second. So a live source never has to wait,
// and a recording runs through a little faster than it was. Where the terminal takes longer for a row, rows
// cover more signal: all blocks are averaged in, none is dropped.
#include "spectra/live.h"
#include "io/progress.h"
#include "io/stop.h"
#include "io/system.h"
#include "line/failure.h"
#include "spectra/axis.h"
#include "spectra/lines.h"
#include "spectra/palette.h"
#include "words/words.h"
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <thread>

namespace client::spectra {
using namespace words;
namespace {
constexpr double pace = 1.0 / 20, covered = 1.0 / 19; // s
constexpr size_t remembered = 512;                    // rows that are drawn anew after a resize

system::Size size_of_picture()
{
    if (const auto size = system::terminal_size()) return {size->columns, std::max(size->lines, 3)};
    const char* columns = std::getenv("COLUMNS");
    const int wanted = columns ? std::atoi(columns) : 0;
    return {wanted > 0 && wanted <= 4096 ? wanted : 80, 25};
}

// Standard output, with cursor and colours as they were when it goes.
class Screen {
public:
    Screen()
    {
        if (terminal_) put("\033[?25l");
    }
    Screen(const Screen&) = delete;
    ~Screen()
    {
        static constexpr char restore[] = "\033[0m\033[?25h";
        if (terminal_) system::write(system::standard_output(), restore, sizeof restore - 1);
    }

    void put(const std::string& text) const
    {
        if (!system::write(system::standard_output(), text.data(), text.size()))
            throw Failure("standard output", system::reason());
    }
    bool terminal() const { return terminal_; }

private:
    const bool terminal_ = system::is_terminal(system::standard_output());
};

// Levels that follow the signal: quickly up, slowly down.
class Follower {
public:
    explicit Follower(const PictureOptions& options) : options_(options) {}

    Range follow(const std::vector<float>& row)
    {
        std::vector<float> levels(row.size());
        std::transform(row.begin(), row.end(), levels.begin(), decibels);
        std::sort(levels.begin(), levels.end());
        const float low = levels[levels.size() / 4] - 3, top = levels.back() + 3;
        if (first_) range_ = {low, top};
        first_ = false;
        range_.floor += (low - range_.floor) * 0.05f;
        range_.ceiling = top > range_.ceiling ? top : range_.ceiling + (top - range_.ceiling) * 0.01f;
        return fitted(range_, options_.floor, options_.ceiling);
    }

private:
    const PictureOptions& options_;
    bool first_ = true;
    Range range_ = {};
};

class Live {
public:
    explicit Live(const PictureOptions& options)
        : analysis_(options.analysis, {.bins = 512, .seconds = 0.1}),
          follower_(options),
          palette_(make_palette()),
          sum_(analysis_.bins())
    {
    }

    int run()
    {
        watch_for_stop();
        screen_.emplace();
        double signal = covered; // s that a row covers
        double next = clock_.seconds(), filled = 0;
        while (const float* power = analysis_.next()) {
            for (size_t k = 0; k < sum_.size(); ++k) sum_[k] += power[k];
            ++blocks_;
            filled += analysis_.hop();
            if (filled < signal) continue;
            filled = std::max(filled - signal, 0.0);
            if (const double left = next - clock_.seconds(); left > 0 && !stop_signal())
                std::this_thread::sleep_for(std::chrono::duration<double>(left));
            const double before = clock_.seconds();
            next = std::max(next, before - pace) + pace;
            show();
            signal = std::max(covered, 1.1 * (clock_.seconds() - before));
        }
        if (blocks_ > 0) show();
        if (rows_.size() % 2 == 1 && !screen_->terminal()) screen_->put(line(rows_.size() - 1));
        if (screen_->terminal() && !rows_.empty())
            screen_->put(rows_.size() % 2 == 1 ? "\r\n\r\n" : "\r\n"); // below the axis
        screen_.reset();
        analysis_.tell_end("waterfall");
        return exit_status();
    }

private:
    struct Row {
        std::vector<float> power; // of each bin
        Range range;
    };

    void show()
    {
        std::vector<float> power(sum_.size());
        for (size_t k = 0; k < power.size(); ++k) power[k] = float(sum_[k] / double(blocks_));
        std::fill(sum_.begin(), sum_.end(), 0.0);
        blocks_ = 0;
        const Range range = follower_.follow(power);
        if (rows_.size() == remembered) rows_.erase(rows_.begin(), rows_.begin() + 2); // pairs stay pairs
        rows_.push_back({std::move(power), range});

        const bool pair = rows_.size() % 2 == 0;
        const size_t first = rows_.size() - (pair ? 2 : 1);
        if (!screen_->terminal()) {
            if (pair) screen_->put(line(first));
            return;
        }
        const system::Size size = size_of_picture();
        if (drawn_in_.value_or(size) != size) {
            const size_t lines = size_t(size.lines) - 2;
            screen_->put("\033[H\033[2J");
            for (size_t k = first - std::min(first, 2 * lines); k < first; k += 2) screen_->put(line(k));
        }
        drawn_in_ = size;
        // The line, the axis below it, and back up; a complete line stays where it is.
        screen_->put(std::string("\r") + line(first) + axis() + "\033[K\r" + (pair ? "" : "\033[A"));
    }

    // Rows k and k + 1 side by side in height; the second may not be there yet.
    std::string line(size_t k) const
    {
        const auto columns = size_t(size_of_picture().columns);
        const std::vector<uint8_t> upper = colours(rows_[k], columns);
        const std::vector<uint8_t> lower =
            k + 1 < rows_.size() ? colours(rows_[k + 1], columns) : std::vector<uint8_t>(columns, paper);
        std::string text;
        for (size_t c = 0; c < columns; ++c) {
            if (c == 0 || upper[c] != upper[c - 1]) text += colour("38", palette_[upper[c]]);
            if (c == 0 || lower[c] != lower[c - 1]) text += colour("48", palette_[lower[c]]);
            text += "\u2580";
        }
        return text + "\033[0m" + (screen_->terminal() ? "\r\n" : "\n");
    }

    static std::string colour(const char* which, uint32_t rgb)
    {
        char text[32];
        std::snprintf(text, sizeof text, "\033[%s;2;%u;%u;%um", which, rgb >> 16, rgb >> 8 & 255, rgb & 255);
        return text;
    }

    // The highest bin of each column.
    std::vector<uint8_t> colours(const Row& row, size_t columns) const
    {
        std::vector<uint8_t> result(columns);
        const size_t bins = row.power.size();
        for (size_t c = 0; c < columns; ++c) {
            const size_t first = c * bins / columns, last = std::max((c + 1) * bins / columns, first + 1);
            const float most = *std::max_element(&row.power[first], &row.power[0] + last);
            result[c] =
                level_colour((decibels(most) - row.range.floor) / (row.range.ceiling - row.range.floor));
        }
        return result;
    }

    // Frequencies under their columns.
    std::string axis() const
    {
        const int columns = size_of_picture().columns;
        const Axis across = {analysis_.low(), analysis_.high(), 0, columns};
        const Ticks ticks = frequency_ticks(across, 10);
        std::string text(size_t(columns), ' ');
        const auto write = [&](int place, const std::string& label) {
            if (place >= 0 && place + int(label.size()) < columns)
                text.replace(size_t(place), label.size(), label);
        };
        write(columns - 1 - int(ticks.unit.size()), ticks.unit);
        const int most = columns - 3 - int(ticks.unit.size());
        for (const Tick& tick : ticks.ticks) {
            const std::string label = "|" + tick.label; // the bar stands at the frequency
            const int place = across.place(tick.value);
            if (!tick.label.empty() && place + int(label.size()) < most) write(place, label);
        }
        return text.substr(0, size_t(columns) - 1);
    }

    Clock clock_;
    Analysis analysis_;
    Follower follower_;
    const Palette palette_;
    std::vector<double> sum_;
    int64_t blocks_ = 0; // in sum_
    std::deque<Row> rows_;
    std::optional<Screen> screen_;
    std::optional<system::Size> drawn_in_; // of the row before
};
} // namespace

int draw_live(const PictureOptions& options) { return Live(options).run(); }
} // namespace client::spectra
