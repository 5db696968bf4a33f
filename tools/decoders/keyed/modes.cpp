// What can be set of text keyed between two tones.
#include "decoders/modes.h"
#include "decoders/keyed/teletype.h"
#include <limits>
#include <utility>

namespace decoders::keyed {
namespace {
// What is left open is as usual.
struct Keying {
    std::optional<double> mark, space, shift, centre; // Hz
    std::optional<double> baud, stop;                 // Bd, bits
    bool reverse = false;

    Tones tones(const Tones& usual) const
    {
        const double between = shift.value_or(usual.space - usual.mark);
        Tones tones = usual;
        if (mark)
            tones.mark = *mark;
        else if (space)
            tones.mark = *space - between;
        else
            tones.mark = centre.value_or((usual.mark + usual.space) / 2) - between / 2;
        tones.space = space.value_or(tones.mark + between);
        tones.baud = baud.value_or(usual.baud);
        if (reverse) std::swap(tones.mark, tones.space);
        return tones;
    }
};

struct Teletype : Keying {
    Ita2::Options options;
};

struct Modems : Keying {
    keyed::Tones modem = modems[0].tones;
    Ascii::Options options;
};

// The settings that both modes have, and the mode's own behind them.
std::vector<Setting> with_keying(const std::shared_ptr<Keying>& s, std::vector<Setting> own)
{
    const words::Range offset = {-1e5, 1e5},
                       centre = {std::numeric_limits<double>::min(), 1e5, false, "a frequency in Hz"};
    const auto quantity = [&s](std::optional<double> Keying::*value, const words::Range& range) {
        return Setting::Quantity{[s, value](double read) { (*s).*value = read; }, range};
    };
    std::vector<Setting> all = {
        {"mark", "tone of mark; takes k (rtty 2125)", quantity(&Keying::mark, offset), "HZ"},
        {"space", "tone of space (rtty 2295)", quantity(&Keying::space, offset), "HZ"},
        {.name = "centre",
         .help = "middle of the two tones (rtty 2210)",
         .kind = quantity(&Keying::centre, centre),
         .unit = "HZ",
         .excludes = {"mark", "space"}},
        {"shift", "space above mark (rtty 170)", quantity(&Keying::shift, offset), "HZ"},
        {"baud", "bit rate (rtty 45.45)", quantity(&Keying::baud, {10, 9600}), "BD"},
        {"stop", "stop bits, 1 to 2 (rtty 1.5, ascii 1)", quantity(&Keying::stop, {1, 2}), "BITS"},
        {"reverse", "mark and space change places", Setting::Flag{[s] { s->reverse = true; }}}};
    for (Setting& setting : own) all.push_back(std::move(setting));
    return all;
}
} // namespace

Modes modes()
{
    const auto rtty = std::make_shared<Teletype>();
    const auto ascii = std::make_shared<Modems>();
    std::vector<std::string> names;
    for (const Modem& modem : modems) names.emplace_back(modem.name);
    return {{"rtty", "radioteletype in ITA2, 45.45 Bd between 2125 and 2295 Hz",
             [rtty](double rate, Emit emit) {
                 Ita2::Options options = rtty->options;
                 options.stop = rtty->stop.value_or(options.stop);
                 return make_rtty(rate, rtty->tones(amateur), options, std::move(emit));
             },
             with_keying(rtty, {{"no_unshift", "figures go on behind a blank",
                                 Setting::Flag{[rtty] { rtty->options.unshift = false; }}},
                                {"us", "figures as in the United States",
                                 Setting::Flag{[rtty] { rtty->options.us = true; }}}})},
            {"ascii", "text of modems, 7 or 8 bits ({tones}: which modem)",
             [ascii](double rate, Emit emit) {
                 Ascii::Options options = ascii->options;
                 options.stop = ascii->stop.value_or(options.stop);
                 return make_ascii(rate, ascii->tones(ascii->modem), options, std::move(emit));
             },
             with_keying(
                 ascii,
                 {{"tones",
                   "tones and bit rate of a modem: bell103, bell103-answer, bell202, v21, v21-answer, v23, "
                   "v23-back",
                   Setting::Word{[ascii](size_t place) { ascii->modem = modems[place].tones; }, names},
                   "MODEM", "bell103"},
                  {"bits", "7 or 8, without parity",
                   Setting::Quantity{[ascii](double n) { ascii->options.bits = int(n); }, {7, 8, true}}, "N",
                   "8"},
                  {"parity", "none, even or odd",
                   Setting::Word{[ascii](size_t place) { ascii->options.parity = Ascii::Parity(place); },
                                 {"none", "even", "odd"}}, // by Parity
                   "NAME", "none"}})}};
}
} // namespace decoders::keyed
