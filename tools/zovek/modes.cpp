#include "modes.h"
#include "decoders/bulletins/bulletins.h"
#include "decoders/keyed/teletype.h"
#include "decoders/packet/packet.h"
#include "decoders/pages/pocsag.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <memory>
#include <utility>

namespace client {
using namespace decoders;
using namespace words;
namespace {
using Modes = std::vector<DataMode>;

// Makes a decoder by its settings as the line has left them.
template <class Settings>
auto by(const std::shared_ptr<Settings>& settings, MadeDecoder (*make)(double, const Settings&, Emit))
{
    return [=](double rate, Emit emit) { return make(rate, *settings, std::move(emit)); };
}

Modes packet_modes(CommandLine& line)
{
    const auto settings = std::make_shared<packet::Settings>();
    const std::vector options = {
        line.flag("--hf", settings->hf, "300 Bd between 1600 and 1800 Hz"),
        line.flag("--g3ruh", settings->g3ruh, "9600 Bd on the carrier itself, scrambled"),
        line.flag("--repair", settings->repair,
                  "mend up to three places of a frame where two branches agree"),
        line.quantity("--effort", settings->effort, 1, packet::most_effort, "N",
                      "branches that listen, 1 to " + number(packet::most_effort) + " (" +
                          number(packet::default_effort) + ", with --hf " +
                          number(packet::default_hf_effort) + "); with --g3ruh 1 to " +
                          number(packet::most_g3ruh_effort) + ", and all if left out")};
    return {{.name = "packet",
             .help = "AX.25 packets, 1200 Bd AFSK (--hf: 300 Bd; --g3ruh: 9600 Bd)",
             .make = by(settings, packet::make_packet),
             .options = options,
             .has_frames = true,
             .audio_cutoff = [settings] {
                 return settings->g3ruh ? std::optional(packet::g3ruh_highest) : std::nullopt;
             }}};
}

// A positive number with k or M, and its unit.
double positive(const std::string& text, const char* unit)
{
    const auto quantity = parse_quantity(text, unit);
    if (!quantity || *quantity <= 0 || *quantity > 1e9) throw WrongValue(not_a("a number above 0", text));
    return *quantity;
}

Modes tones_modes(CommandLine& line)
{
    const auto dtmf = std::make_shared<tones::DtmfSettings>();
    const auto five_tone = std::make_shared<tones::FiveToneSettings>();
    const auto levels = std::make_shared<tones::LevelsSettings>();
    const auto number_into = [](auto& value, const char* unit) {
        return [&value, unit](const std::string& text) { value = positive(text, unit); };
    };
    const Option pause = line.quantity("--pause", dtmf->pause, 0.05, 3600, "SECONDS",
                                       "between digits that end a line (" + number(dtmf->pause) + ")");
    const Option set = line.text("--set", five_tone->set,
                                 "the set of tones: zvei1 (if left out), zvei2, pzvei, dzvei, ccir, eea, eia")
                           .one_of(tones::five_tone_sets())
                           .unit("NAME");
    const std::vector level_options = {
        line.texts(
                "--freq",
                [levels](const std::string& text) { levels->frequencies.push_back(positive(text, "Hz")); },
                "frequencies, as a,b; takes k")
            .separated_by(',')
            .unit("HZ"),
        line.text("--every", number_into(levels->every, "s"), "between levels (0.1)").unit("SECONDS"),
        line.text("--width", number_into(levels->width, "Hz"), "width of a tone's band (2 / every)")
            .unit("HZ")};
    return {
        {"dtmf", "telephone keys, a line of digits ended by a pause", by(dtmf, tones::make_dtmf), {pause}},
        {"zvei", "selective calls of five tones (--set)", by(five_tone, tones::make_five_tone), {set}},
        {"selcal", "selective calls to aircraft, as AB-CD", tones::make_selcal},
        {"ctcss", "sub-audible tones: an over a line, with its start and its tone in Hz or none",
         tones::make_ctcss},
        {"tones", "levels of the tones of --freq: time in s and a level in dB each, every 0.1 s",
         by(levels, tones::make_levels), level_options, level_options[0]}};
}

// --centre, which two families have: the middle of the two tones. Added by the first that asks.
Option centre_option(CommandLine& line)
{
    if (const auto there = line.find("--centre")) return *there;
    const auto check = [](const std::string& text) {
        const auto hz = parse_quantity(text, "Hz");
        if (!hz || *hz <= 0 || *hz >= 1e5) throw WrongValue(not_a("a frequency in Hz", text));
    };
    return line.text("--centre", check, "middle of the two tones (navtex 1000, to 200 Hz)").unit("HZ");
}

std::optional<double> centre_of(Option option)
{
    return option.given() ? parse_quantity(option.text(), "Hz") : std::nullopt;
}

Modes bulletins_modes(CommandLine& line)
{
    const auto same = std::make_shared<bulletins::SameSettings>();
    const Option once = line.flag("--once", same->once, "one line a header, not one a burst");
    const Option centre = centre_option(line);
    return {{"same",
             "weather radio and emergency alert headers (SAME), bursts by vote",
             by(same, bulletins::make_same),
             {once}},
            {"navtex",
             "NAVTEX and SITOR-B bulletins, 100 Bd, shift 170 Hz",
             [centre](double rate, Emit emit) {
                 bulletins::NavtexSettings settings;
                 settings.centre = centre_of(centre).value_or(settings.centre);
                 if (settings.centre < bulletins::lowest_centre ||
                     settings.centre > bulletins::highest_centre)
                     throw WrongUsage("navtex: --centre between 400 and 3200 Hz");
                 return bulletins::make_navtex(rate, settings, std::move(emit));
             },
             {centre}}};
}

Modes pages_modes(CommandLine& line)
{
    static constexpr const char* page_text_names[] = {"auto", "numeric", "alpha"}; // by PageText
    const auto settings = std::make_shared<pages::Settings>();
    const std::vector options = {
        line.text(
                "--pager-baud", [&baud = settings->baud](const std::string& text) { baud = std::stoi(text); },
                "512, 1200 or 2400 alone (all at once)")
            .one_of({"512", "1200", "2400"})
            .unit("BD"),
        line.choice("--as", settings->as, page_text_names, "messages as auto, numeric or alpha")
            .unit("KIND")
            .usually("auto")};
    return {{"pocsag", "POCSAG pages, from discriminator audio", by(settings, pages::make_pocsag), options}};
}

// What the options of the keyed modes say.
struct Keying {
    std::optional<double> mark, space, shift, centre; // Hz
    std::optional<double> baud, stop;                 // Bd, bits
    bool reverse = false;
    keyed::Tones modem = keyed::modems[0].tones;
    keyed::Ita2::Options ita2;
    keyed::Ascii::Options ascii;

    // The tones; for what is left open, the usual ones.
    keyed::Tones tones(const keyed::Tones& usual) const
    {
        const double between = shift.value_or(usual.space - usual.mark);
        keyed::Tones tones = usual;
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

Modes keyed_modes(CommandLine& line)
{
    static constexpr const char* parity_names[] = {"none", "even", "odd"}; // by Parity
    const auto keying = std::make_shared<Keying>();
    Keying& s = *keying;
    std::vector<std::string> modems;
    for (const keyed::Modem& modem : keyed::modems) modems.emplace_back(modem.name);
    const auto frequency = [&line](const char* name, std::optional<double>& value, const char* help) {
        return line.quantity(name, value, -1e5, 1e5, "HZ", help);
    };
    const Option mark = frequency("--mark", s.mark, "tone of mark; takes k (rtty 2125)");
    const Option space = frequency("--space", s.space, "tone of space (rtty 2295)");
    const Option centre = centre_option(line).excludes(mark).excludes(space);
    const std::vector both = {
        mark,
        space,
        centre,
        frequency("--shift", s.shift, "space above mark (rtty 170)"),
        line.quantity("--baud", s.baud, 10, 9600, "BD", "bit rate (rtty 45.45)"),
        line.quantity("--stop", s.stop, 1, 2, "BITS", "stop bits, 1 to 2 (rtty 1.5, ascii 1)"),
        line.flag("--reverse", s.reverse, "mark and space change places")};
    const std::vector rtty = {
        line.flag("--no-unshift", s.ita2.unshift, "figures go on behind a blank", false),
        line.flag("--us", s.ita2.us, "figures as in the United States")};
    const std::vector ascii = {
        line.text(
                "--tones",
                [&s](const std::string& name) {
                    s.modem = std::ranges::find(keyed::modems, name, &keyed::Modem::name)->tones;
                },
                "tones and bit rate of a modem: bell103, bell103-answer, bell202, v21, v21-answer, v23, "
                "v23-back")
            .one_of(modems)
            .unit("MODEM")
            .usually("bell103"),
        line.quantity("--bits", s.ascii.bits, 7, 8, "N", "7 or 8, without parity").usually("8"),
        line.choice("--parity", s.ascii.parity, parity_names, "none, even or odd")
            .unit("NAME")
            .usually("none")};
    const auto joined = [&both](std::vector<Option> own) {
        own.insert(own.end(), both.begin(), both.end());
        return own;
    };
    return {{"rtty", "radioteletype in ITA2, 45.45 Bd between 2125 and 2295 Hz",
             [keying, centre](double rate, Emit emit) {
                 keying->centre = centre_of(centre);
                 keyed::Ita2::Options options = keying->ita2;
                 options.stop = keying->stop.value_or(options.stop);
                 return keyed::make_rtty(rate, keying->tones(keyed::amateur), options, std::move(emit));
             },
             joined(rtty)},
            {"ascii", "text of modems, 7 or 8 bits (--tones: which modem)",
             [keying, centre](double rate, Emit emit) {
                 keying->centre = centre_of(centre);
                 keyed::Ascii::Options options = keying->ascii;
                 options.stop = keying->stop.value_or(options.stop);
                 return keyed::make_ascii(rate, keying->tones(keying->modem), options, std::move(emit));
             },
             joined(ascii)}};
}

// Family by family, in the order of help.
constexpr Modes (*families[])(CommandLine&) = {packet_modes, tones_modes, bulletins_modes, pages_modes,
                                               keyed_modes};

// Names as "a, b".
std::string listed(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    return list;
}

// Of the modes that heed an option.
std::vector<std::string> names_of(const Modes& modes, Option option)
{
    std::vector<std::string> names;
    for (const DataMode& mode : modes)
        if (std::ranges::count(mode.options, option)) names.emplace_back(mode.name);
    return names;
}
} // namespace

Modes add_modes(CommandLine& line)
{
    Modes modes;
    for (const auto family : families)
        for (DataMode& mode : family(line)) modes.push_back(std::move(mode));
    for (const DataMode& mode : modes) // help tells of options under the names of the modes that have them
        for (const Option option : mode.options)
            option.group("Options of " + listed(names_of(modes, option)));
    return modes;
}

Modes chosen(const Modes& modes, const std::vector<std::string>& names)
{
    const bool all = std::ranges::count(names, all_modes) > 0;
    Modes result;
    for (const DataMode& mode : modes) {
        const bool able = !mode.needed || mode.needed->given(),
                   named = std::ranges::count(names, mode.name) > 0;
        if (named && !able)
            throw WrongUsage("--mode " + std::string(mode.name) + " needs " + mode.needed->name());
        if (named || (all && able)) result.push_back(mode);
    }
    for (const DataMode& mode : modes)
        for (const Option option : mode.options) {
            const auto heeds = [&](const DataMode& row) {
                return std::ranges::count(row.options, option) > 0;
            };
            if (option.given() && std::ranges::none_of(result, heeds))
                throw WrongUsage(option.name() + " is an option of --mode " +
                                 listed(names_of(modes, option)) + ", not of " + listed(names));
        }
    return result;
}
} // namespace client
