// What can be set of pagers.
#include "decoders/modes.h"
#include "decoders/pages/pocsag.h"

namespace decoders::pages {
Modes modes()
{
    const auto s = std::make_shared<Settings>();
    const std::vector<std::string> bauds = {"512", "1200", "2400"};
    return {{"pocsag",
             "POCSAG pages, from discriminator audio",
             made_by(s, make_pocsag),
             {{"pager_baud", "512, 1200 or 2400 alone (all at once)",
               Setting::Word{[s, bauds](size_t place) { s->baud = std::stoi(bauds[place]); }, bauds}, "BD"},
              {"as", "messages as auto, numeric or alpha",
               Setting::Word{[s](size_t place) { s->as = PageText(place); }, {"auto", "numeric", "alpha"}},
               "KIND", "auto"}}}};
}
} // namespace decoders::pages
