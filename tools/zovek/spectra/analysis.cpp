#include "spectra/analysis.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "spectra/axis.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace client::spectra {
using namespace words;
namespace {
constexpr int32_t smallest = 16, largest = 1 << 20;
constexpr int32_t least_chosen = 256, most_chosen = 1 << 16;

int64_t most_frames(const AnalysisOptions& options, int rate)
{
    if (!options.end) return std::numeric_limits<int64_t>::max() / 2;
    const int64_t frames = std::llround((*options.end - options.start) * rate);
    if (frames <= 0) throw WrongUsage("--end is not behind --start");
    return frames;
}

std::optional<int64_t> expected_frames(const Input& input, const AnalysisOptions& options, int64_t most)
{
    if (input.announced < 0) return {};
    return std::clamp<int64_t>(input.announced - std::llround(options.start * input.rate), 0, most);
}

int32_t chosen_size(const Input& input, const AnalysisOptions& options, const Resolution& resolution,
                    std::optional<int64_t> expected)
{
    if (options.size) return options.size;
    const double half = input.rate / 2.0, origin = double(input.origin),
                 least = origin - (is_iq(options.input, options.iq) ? half : 0);
    const double band = std::max(options.to.value_or(origin + half) - options.from.value_or(least), 1.0);
    const double wanted = resolution.bins * input.rate / band;
    const double longest =
        expected ? double(*expected) * resolution.longest : resolution.seconds * input.rate;
    const auto most =
        int32_t(std::bit_floor(uint32_t(std::clamp<double>(longest, least_chosen, most_chosen))));
    return int32_t(std::bit_ceil(uint32_t(std::clamp<double>(wanted, least_chosen, most))));
}

// Half a block, or less where that makes too few of them; not less than a sixteenth, which would tell nothing
// new.
int32_t chosen_hop(int32_t size, const AnalysisOptions& options, const Resolution& resolution,
                   std::optional<int64_t> expected)
{
    if (options.overlap)
        return std::clamp(int32_t(std::lround(size * (1 - *options.overlap / 100))), 1, size);
    const int32_t least = size / 16, most = size / 2;
    double hop = most;
    if (expected && resolution.rows > 0)
        for (int each = 4; each >= 1; --each) {
            hop = std::ceil(double(*expected - size) / (each * resolution.rows));
            if (hop >= least) break;
        }
    return int32_t(std::clamp<double>(hop, least, most));
}
} // namespace

void add_analysis_options(CommandLine& line, AnalysisOptions& options)
{
    add_input_options(line, options.input);
    add_iq_options(line, options.iq);
    const auto size = [&options](const std::string& text) {
        const auto value = parse_quantity(text);
        const bool power = value && *value >= smallest && *value <= largest && *value == std::floor(*value) &&
                           std::has_single_bit(uint32_t(*value));
        if (!power) throw WrongValue(not_a("a power of two from 16 to 1048576", text));
        options.size = int32_t(*value);
    };
    line.text("--size", size, "samples (or I/Q pairs) a transform takes; fits the picture if left out")
        .unit("N");
    line.choice("--window", options.window, window_names,
                "rectangular, triangular, hann, hamming or blackman")
        .unit("NAME")
        .usually("hann");
    line.quantity("--overlap", options.overlap, 0, 99, "PERCENT",
                  "of neighbouring transforms, 0 to 99; 50, or what a short recording needs");
    const double top = highest_tuned;
    line.quantity("--from", options.from, -top, top, "HZ", "lower edge of the band shown; takes k, M and G");
    line.quantity("--to", options.to, -top, top, "HZ", "upper edge of the band shown; takes k, M and G");
    line.quantity("--start", options.start, 0, 1e9, "SECONDS", "where in the recording to begin (0)");
    line.quantity("--end", options.end, 0, 1e9, "SECONDS", "where in the recording to end (its end)");
}

Analysis::Analysis(const AnalysisOptions& options, const Resolution& resolution)
    : frame_(is_iq(options.input, options.iq) ? 2 : 1),
      swap_(options.iq.swap ? 1 : 0),
      input_(iq() ? open_pairs(options.input, options.iq) : open_real(options.input, options.iq)),
      selected_(*input_, iq() ? std::vector{swap_, 1 - swap_} : std::vector{size_t(input_->channel)}),
      window_(options.window),
      start_(options.start),
      most_(most_frames(options, input_->rate)),
      expected_(expected_frames(*input_, options, most_)),
      size_(chosen_size(*input_, options, resolution, expected_)),
      hop_(chosen_hop(size_, options, resolution, expected_)),
      transform_(size_, options.window, iq()),
      block_(size_t(size_) * frame_)
{
    choose_band(options);
    tell_centre(*input_);
}

// The whole bins whose middles lie within the band.
void Analysis::choose_band(const AnalysisOptions& options)
{
    const double zero = double(origin()), half = input_->rate / 2.0, least = iq() ? -half : 0;
    const double from = options.from.value_or(zero + least) - zero,
                 to = options.to.value_or(zero + half) - zero;
    const auto text = [zero](double hz) { return exact(hz + zero); };
    if (from < least || from >= half || to <= least || to > half)
        throw Failure("the band from " + text(from) + (options.to ? " to " + text(to) : "") + " Hz",
                      "the recording's is " + text(least) + " to " + text(half) + " Hz");
    if (from >= to) throw WrongUsage("--to is not above --from");
    const int64_t lowest = iq() ? -size_ / 2 : 0,
                  last = std::min<int64_t>(std::floor(to / bin_width()), size_ / 2 - 1);
    first_ = int64_t(std::ceil(from / bin_width()));
    if (last < first_)
        throw Failure("the band from " + text(from) + " to " + text(to) + " Hz",
                      "no bin lies in it: they are " + number(bin_width()) + " Hz apart (see --size)");
    skipped_ = size_t(first_ - lowest);
    bins_ = size_t(last - first_ + 1);
}

std::optional<int64_t> Analysis::blocks_expected() const
{
    if (!expected_) return {};
    return std::max<int64_t>((*expected_ - size_) / hop_ + 1, 1);
}

// Frames of one value, or of two in I/Q, up to the end asked for.
size_t Analysis::read(int16_t* to, size_t frames)
{
    const size_t got = selected_.read(to, size_t(std::min<int64_t>(int64_t(frames), most_ - frames_)));
    frames_ += int64_t(got);
    return got;
}

const float* Analysis::next()
{
    const auto size = size_t(size_), hop = size_t(hop_);
    if (blocks_ == 0) {
        for (int64_t left = std::llround(start_ * input_->rate); left > 0;) {
            const size_t got = selected_.read(block_.data(), size_t(std::min<int64_t>(left, size_)));
            if (got == 0) return nullptr;
            left -= int64_t(got);
        }
        const size_t got = read(block_.data(), size);
        if (got == 0) return nullptr;
        std::fill(block_.begin() + ptrdiff_t(got * frame_), block_.end(), int16_t(0));
    } else {
        std::copy(block_.begin() + ptrdiff_t(hop * frame_), block_.end(), block_.begin());
        if (read(&block_[(size - hop) * frame_], hop) < hop) return nullptr;
    }
    ++blocks_;
    return transform_.run(block_.data()) + skipped_;
}

// Blocks j apart that overlap correlate by r(j) = sum of w(t) w(t + j hop) / sum of w(t)^2, their powers by
// its square. The variance of a mean of K is 1 / K (1 + 2 sum of (1 - j / K) r(j)^2) (Welch, 1967).
double Analysis::averages() const
{
    const int32_t size = std::min(size_, 4096);
    const std::vector<float> window = window_table(size, window_);
    const auto product = [&](size_t lag) {
        double sum = 0;
        for (size_t t = lag; t < window.size(); ++t) sum += double(window[t]) * window[t - lag];
        return sum;
    };
    const double whole = product(0), step = double(hop_) / size_ * size, count = double(blocks_);
    double variance = 1;
    for (int64_t j = 1; j < blocks_ && std::lround(double(j) * step) < size; ++j) {
        const double r = product(size_t(std::lround(double(j) * step))) / whole;
        variance += 2 * (1 - double(j) / count) * r * r;
    }
    return std::max(count / variance, 1.0);
}

std::string Analysis::described() const
{
    std::string window = window_names[window_];
    window[0] = char(window[0] - 'a' + 'A');
    return frequency_text(rate()) + (iq() ? " I/Q, " : ", ") + std::to_string(size_) + " points, " + window +
           ", " + number(std::round(100.0 * (size_ - hop_) / size_)) + " % overlap, noise bandwidth " +
           frequency_text(std::round(noise_width() * 100) / 100);
}

void Analysis::tell_end(const char* command) const
{
    if (blocks_ == 0)
        throw Failure(input_->name, stop_signal() ? "stopped before its first sample"
                                    : start_ > 0  ? "ends before --start"
                                                  : "holds no samples, so there is nothing to show");
    input_->tell_end(command, {"the " + std::string(command) + " ends", "what came up to here is shown"});
    if (frames_ < size_) say(input_->name + ": shorter than a transform, filled up with silence");
}

void Analysis::add_frequency(JsonObject& to, const char* name, double hz) const
{
    if (tuned())
        to.add_exact(name, hz);
    else
        to.add(name, hz);
}

void Analysis::add_to(JsonObject& summary) const
{
    summary.add("input", input_->name).add("rate", int64_t(input_->rate)).add("iq", iq());
    if (tuned()) summary.add("center", input_->tuned->centre);
    add_time(summary, *input_);
    summary.add("seconds", seconds()).add("size", int64_t(size_)).add("window", window_names[window_]);
    summary.add("hop", int64_t(hop_)).add("blocks", blocks_).add("bin_width", bin_width());
    summary.add("noise_width", noise_width());
    summary.append(input_->faults.json());
}
} // namespace client::spectra
