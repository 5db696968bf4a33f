#include "io/progress.h"
#include "io/system.h"
#include "io/talk.h"
#include <cstdio>
#include <utility>

namespace client {
using namespace words;
std::string Pace::text() const { return decimals(duration) + " s, " + decimals(speed()) + " x real time"; }

JsonObject Pace::json() const
{
    return JsonObject().add("seconds", duration).add("times_real_time", speed());
}

void Progress::show(double duration)
{
    const double seconds = clock_.seconds();
    if (seconds < next_ || told_to_be_quiet || !system::is_terminal(system::standard_error())) return;
    std::fprintf(stderr, "\r%s ", Pace{duration, seconds}.text().c_str());
    next_ = seconds + 0.25;
    shown_ = true;
}

Pace Progress::end(double duration)
{
    clear();
    return {duration, clock_.seconds()};
}

void Progress::clear()
{
    if (std::exchange(shown_, false)) std::fprintf(stderr, "\r\033[K");
}
} // namespace client
