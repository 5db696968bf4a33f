#include "io/timeline.h"
#include <algorithm>
#include <cmath>

namespace client {
using namespace std::chrono;
using words::Time;
namespace {
constexpr double follows = 200e-6;    // s of the count's start, for each s of the signal
constexpr double late = 1;            // s behind the count
constexpr double told_apart = 0.01;   // s between one count's start and the next
constexpr size_t most_anchors = 4096; // messages go back by minutes, not by days

microseconds duration_of(double seconds) { return microseconds(std::llround(seconds * 1e6)); }
double seconds_of(Time time) { return duration<double>(time.time_since_epoch()).count(); }
} // namespace

Timeline::Timeline(Time start) : live_(false), anchors_{{0, start}} {}

void Timeline::came(double seconds, Time now)
{
    if (!live_) return;
    const std::scoped_lock lock(mutex_);
    const double began = seconds_of(now) - seconds, most = follows * (seconds - came_);
    counted_ = anchors_.empty() ? began : counted_ + std::clamp(began - counted_, -most, most);
    const Time start(duration_of(began - counted_ > late ? began : counted_));
    const double step =
        anchors_.empty() ? late : std::fabs(duration<double>(start - anchors_.back().start).count());
    if (step >= told_apart) anchors_.push_back({came_, start});
    if (anchors_.size() > most_anchors) anchors_.erase(anchors_.begin() + 1); // the start stays known
    came_ = seconds;
}

std::optional<Time> Timeline::start_by(double seconds) const
{
    const std::scoped_lock lock(mutex_);
    if (anchors_.empty()) return {};
    const auto next = std::ranges::upper_bound(anchors_, seconds, {}, &Anchor::from);
    return next == anchors_.begin() ? next->start : std::prev(next)->start;
}

std::optional<Time> Timeline::at(double seconds) const
{
    const auto start = start_by(seconds);
    if (!start) return {};
    return *start + duration_of(seconds);
}
} // namespace client
