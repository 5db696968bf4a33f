#include "io/pieces.h"
#include "io/system.h"
#include "line/failure.h"
#include "line/options.h"
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace client {
using namespace std::chrono;
using words::Time;
namespace {
bool is_taken(const std::string& path)
{
    const auto there = [](const std::string& name) { return system::look(name) != system::Found::nothing; };
    return there(path) || there(path + ".part"); // of another run
}

// Where the ending of a name begins, which may be its end.
size_t ending_of(const std::string& path)
{
    const size_t folder = path.find_last_of("/\\"), name = folder == std::string::npos ? 0 : folder + 1;
    const size_t dot = path.rfind('.');
    return dot == std::string::npos || dot <= name ? path.size() : dot;
}
} // namespace

void add_rotation_option(CommandLine& line, Period& period)
{
    line.text(
            "--rotate",
            [&period](const std::string& text) {
                period = words::parse_duration(text);
                if (!period) throw WrongValue("'" + text + "' is not a duration: 30s, 15m, 1h or 1d");
            },
            "a new file each 30s, 15m, 1h, 1d, ..., on the hour where the time is known: FILE with the UTC "
            "time, or a number, before the ending")
        .unit("PERIOD");
}

Pieces::Pieces(OutputOptions options, Period period, int32_t rate, int32_t channels,
               std::shared_ptr<const Timeline> timeline)
    : options_(std::move(options)),
      period_(period),
      rate_(rate),
      channels_(size_t(channels)),
      timeline_(std::move(timeline)),
      name_(options_.path)
{
    if (period && (options_.path == "-" || system::look(options_.path) == system::Found::other))
        throw WrongUsage("--rotate writes files: -o FILE");
    piece_ = std::make_unique<Output>(options_, rate, channels);
    if (period)
        piece_.reset(); // it would have gone well
    else
        name_ = piece_->name();
}

// Without a time of day the recording's start has that of the epoch.
Time Pieces::time_at(double seconds) const
{
    const auto start = timeline_ ? timeline_->start_by(seconds) : std::nullopt;
    return start.value_or(Time()) + microseconds(std::llround(seconds * 1e6));
}

int64_t Pieces::frames_left(double seconds) const
{
    const Time start = (timeline_ ? timeline_->start_by(seconds) : std::nullopt).value_or(Time());
    constexpr double rounding = 1e-4; // frames: seconds are sums
    const double left = (duration<double>(end_ - start).count() - seconds) * rate_;
    return std::max(int64_t(std::ceil(left - rounding)), int64_t(0));
}

void Pieces::passed(double seconds)
{
    if (period_ && piece_ && frames_left(seconds) == 0) close();
}

void Pieces::open(double seconds)
{
    const Time begin = time_at(seconds);
    const auto since = begin.time_since_epoch();
    end_ = Time((floor<std::chrono::seconds>(since) / *period_ + 1) * microseconds(*period_));
    OutputOptions options = options_;
    options.path = next_name(begin);
    piece_ = std::make_unique<Output>(options, rate_, int32_t(channels_));
    files_.push_back(options.path);
}

void Pieces::close()
{
    piece_->finish();
    piece_.reset();
}

void Pieces::finish()
{
    if (piece_) close();
}

std::string Pieces::next_name(Time begin)
{
    const size_t ending = ending_of(options_.path);
    const auto with = [&](const std::string& mark) {
        return options_.path.substr(0, ending) + "_" + mark + options_.path.substr(ending);
    };
    if (timeline_) {
        const std::string time = words::compact_time(begin + 500us); // a frame is as long, or shorter
        std::string name = with(time);
        for (int more = 2; is_taken(name); ++more) name = with(time + "_" + std::to_string(more));
        return name;
    }
    std::string name;
    do {
        char mark[16];
        std::snprintf(mark, sizeof mark, "%03d", ++number_);
        name = with(mark);
    } while (is_taken(name));
    return name;
}

std::string Pieces::described() const
{
    if (!period_) return name_;
    if (files_.size() < 2) return files_.empty() ? "no file" : files_[0];
    return std::to_string(files_.size()) + " files, " + files_.front() + " to " + files_.back();
}
} // namespace client
