#include "io/progress.h"
#include "io/system.h"
#include "io/talk.h"

namespace client {
using namespace words;
std::string Pace::text() const { return decimals(duration) + " s, " + decimals(speed()) + " x real time"; }

JsonObject Pace::json() const
{
    return JsonObject().add("seconds", duration).add("times_real_time", speed());
}

Progress::~Progress() { client::show(""); }

void Progress::show(double duration)
{
    const double seconds = clock_.seconds();
    if (seconds < next_ || told_to_be_quiet || !system::is_terminal(system::standard_error())) return;
    client::show(Pace{duration, seconds}.text() + " ");
    next_ = seconds + 0.25;
}

Pace Progress::end(double duration)
{
    client::show("");
    return {duration, clock_.seconds()};
}
} // namespace client
