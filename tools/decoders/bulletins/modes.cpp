// What can be set of bulletins.
#include "decoders/modes.h"
#include "decoders/bulletins/bulletins.h"
#include <limits>

namespace decoders::bulletins {
Modes modes()
{
    const auto same = std::make_shared<SameSettings>();
    const auto navtex = std::make_shared<NavtexSettings>();
    return {{"same",
             "weather radio and emergency alert headers (SAME), bursts by vote",
             made_by(same, make_same),
             {{"once", "one line a header, not one a burst", Setting::Flag{[same] { same->once = true; }}}}},
            {"navtex",
             "NAVTEX and SITOR-B bulletins, 100 Bd, shift 170 Hz",
             made_by(navtex, make_navtex),
             {{"centre", "middle of the two tones (navtex 1000, to 200 Hz)",
               Setting::Quantity{[navtex](double hz) { navtex->centre = hz; },
                                 {std::numeric_limits<double>::min(), 1e5, false, "a frequency in Hz"}},
               "HZ"}}}};
}
} // namespace decoders::bulletins
