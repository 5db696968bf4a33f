// What can be set of tones.
#include "decoders/modes.h"
#include "decoders/tones/tones.h"
#include <limits>

namespace decoders::tones {
Modes modes()
{
    const auto dtmf = std::make_shared<DtmfSettings>();
    const auto five_tone = std::make_shared<FiveToneSettings>();
    const auto levels = std::make_shared<LevelsSettings>();
    const words::Range positive = {std::numeric_limits<double>::min(), 1e9, false, "a number above 0"};
    return {
        {"dtmf",
         "telephone keys, a line of digits ended by a pause",
         made_by(dtmf, make_dtmf),
         {{"pause", "between digits that end a line (" + words::number(dtmf->pause) + ")",
           Setting::Quantity{[dtmf](double s) { dtmf->pause = s; }, {0.05, 3600}}, "SECONDS"}}},
        {"zvei",
         "selective calls of five tones ({set})",
         made_by(five_tone, make_five_tone),
         {{"set", "the set of tones: zvei1 (if left out), zvei2, pzvei, dzvei, ccir, eea, eia",
           Setting::Word{[five_tone](size_t place) { five_tone->set = five_tone_sets()[place]; },
                         five_tone_sets()},
           "NAME"}}},
        {"selcal", "selective calls to aircraft, as AB-CD", make_selcal},
        {"ctcss", "sub-audible tones: an over a line, with its start and its tone in Hz or none", make_ctcss},
        {"tones",
         "levels of the tones of {freq}: time in s and a level in dB each, every 0.1 s",
         made_by(levels, make_levels),
         {{"freq", "frequencies, as a,b; takes k",
           Setting::Quantity{[levels](double hz) { levels->frequencies.push_back(hz); }, positive, true},
           "HZ"},
          {"every", "between levels (0.1)",
           Setting::Quantity{[levels](double s) { levels->every = s; }, positive}, "SECONDS"},
          {"width", "width of a tone's band (2 / every)",
           Setting::Quantity{[levels](double hz) { levels->width = hz; }, positive}, "HZ"}},
         "freq"}};
}
} // namespace decoders::tones
