#include "spectra/axis.h"
#include "words/words.h"
#include <algorithm>
#include <cstdio>

namespace client::spectra {
using namespace words;
namespace {
// The ticks at whole steps, labelled at every so many of them.
template <class Label>
std::vector<Tick> ticks_at(const Axis& axis, double step, int labelled, Label label)
{
    std::vector<Tick> ticks;
    for (auto k = int64_t(std::ceil(axis.low / step)); double(k) * step < axis.high; ++k)
        ticks.push_back({double(k) * step, k % labelled == 0 ? label(double(k) * step) : std::string()});
    return ticks;
}

// Steps between labels: a step of 2 has four of 0.5, others have five.
int parts(double step)
{
    const double lead = step / std::pow(10, std::floor(std::log10(step) + 1e-9));
    return lead > 1.5 && lead < 3 ? 4 : 5;
}

std::string tidy(double value) { return exact(std::round(value * 1e6) / 1e6); }

double room(const Axis& axis, double apart) { return std::max(axis.pixels / apart, 1.0); }

// Seconds as h:mm:ss or m:ss.
std::string clock_text(double seconds)
{
    const auto all = int(std::lround(seconds));
    char text[32];
    if (all < 3600)
        std::snprintf(text, sizeof text, "%d:%02d", all / 60, all % 60);
    else
        std::snprintf(text, sizeof text, "%d:%02d:%02d", all / 3600, all / 60 % 60, all % 60);
    return text;
}
} // namespace

double round_step(double range, double most)
{
    const double least = range / most, power = std::pow(10, std::floor(std::log10(least)));
    for (const double lead : {1.0, 2.0, 5.0})
        if (lead * power >= least * (1 - 1e-9)) return lead * power;
    return 10 * power;
}

Ticks plain_ticks(const Axis& axis, double apart, const char* unit)
{
    const double step = round_step(axis.high - axis.low, room(axis, apart));
    const int labelled = parts(step);
    return {ticks_at(axis, step / labelled, labelled, tidy), unit};
}

Ticks frequency_ticks(const Axis& axis, double apart)
{
    const auto ticks = [&axis](double distance) -> Ticks {
        const double step = round_step(axis.high - axis.low, room(axis, distance));
        const double most = std::max(std::abs(axis.low), std::abs(axis.high));
        const double unit = most >= (step >= 1e3 ? 2e6 : 1e8) ? 1e6 : most >= 5e3 && step >= 10 ? 1e3 : 1;
        const int labelled = parts(step);
        return {ticks_at(axis, step / labelled, labelled, [unit](double hz) { return tidy(hz / unit); }),
                unit == 1e6   ? "MHz"
                : unit == 1e3 ? "kHz"
                              : "Hz"};
    };
    const Ticks found = ticks(apart);
    constexpr size_t usual = 9; // letters that the distance has room for
    size_t longest = usual;
    for (const Tick& tick : found.ticks) longest = std::max(longest, tick.label.size());
    return longest > usual ? ticks(apart * double(longest + 1) / usual) : found;
}

Ticks time_ticks(const Axis& axis, double apart)
{
    const double most = room(axis, apart), range = axis.high - axis.low;
    if (axis.high < 120) return plain_ticks(axis, apart, "s");
    struct Step {
        double seconds;
        int parts;
    };
    constexpr Step steps[] = {{1, 5},    {2, 4},    {5, 5},     {10, 5},    {20, 4},   {30, 3},
                              {60, 6},   {120, 4},  {300, 5},   {600, 5},   {1200, 4}, {1800, 3},
                              {3600, 6}, {7200, 4}, {14400, 4}, {21600, 6}, {43200, 6}};
    const Step* step = std::begin(steps);
    while (step + 1 != std::end(steps) && step->seconds * most < range) ++step;
    return {ticks_at(axis, step->seconds / step->parts, step->parts, clock_text),
            axis.high < 3600 ? "min:s" : "h:min:s"};
}

std::string frequency_text(double hz)
{
    const double most = std::abs(hz);
    if (most >= 1e6) return tidy(hz / 1e6) + " MHz";
    if (most >= 1e3) return tidy(hz / 1e3) + " kHz";
    return tidy(std::round(hz * 1e3) / 1e3) + " Hz";
}
} // namespace client::spectra
