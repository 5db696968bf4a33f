// Selective calls of five tones in a row, each a digit, as mobile radio uses them. A digit like the one
// before it is sent as the set's repeat tone, E.
#include "decoders/tones/spectra.h"
#include "decoders/tones/symbols.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <cmath>
#include <set>
#include <span>

namespace decoders::tones {
namespace {
struct ToneSet {
    const char* name;
    double length;    // of a tone, s
    double tones[15]; // Hz, of 0 to 9 and A to E; 0: not in use
};

// clang-format off
constexpr ToneSet sets[] = {
    //                 0     1     2     3     4     5     6     7     8     9     A     B     C     D    E
    {"zvei1", 0.070, {2400, 1060, 1160, 1270, 1400, 1530, 1670, 1830, 2000, 2200, 2800,  810,  970,  886, 2600}},
    {"zvei2", 0.070, {2400, 1060, 1160, 1270, 1400, 1530, 1670, 1830, 2000, 2200,  886,  825,  740,  680,  970}},
    {"pzvei", 0.070, {2400, 1060, 1160, 1270, 1400, 1530, 1670, 1830, 2000, 2200,  970,  810, 2800,  886, 2600}},
    {"dzvei", 0.070, {2200,  970, 1060, 1160, 1270, 1400, 1530, 1670, 1830, 2000,  825,  740, 2600,  886, 2400}},
    {"ccir",  0.100, {1981, 1124, 1197, 1275, 1358, 1446, 1540, 1640, 1747, 1860, 2400,  930, 2247,  991, 2110}},
    {"eea",   0.040, {1981, 1124, 1197, 1275, 1358, 1446, 1540, 1640, 1747, 1860, 1055,  930,    0,  991, 2110}},
    {"eia",   0.033, { 600,  741,  882, 1023, 1164, 1305, 1446, 1587, 1728, 1869, 2151, 2433, 2010, 2292,  459}},
};
// clang-format on
constexpr char letters[] = "0123456789ABCDE";
constexpr int repeat = 14;

constexpr size_t least_tones = 5, most_tones = 8; // of a call
constexpr double most_off = 0.025;                // of a tone's frequency
constexpr double least_share = 0.3;               // of the power that is heard, in a frame
constexpr double least_clear = 3;                 // dB
constexpr double shortest = 0.5, longest = 1.6;   // of a tone's length
constexpr double longest_first = 20;              // the first tone may be held, so that receivers wake
constexpr double longest_gap = 0.4;               // of a tone's length: none is sent, but noise makes some
constexpr double least_seen = 0.25;               // of a tone's length: what is shorter is noise
constexpr double most_uneven = 1.8;               // the longest tone to the shortest, the first left out
// Two tones alone are what keyed text has: its bits are 1, 2 and more long, and its tones off on their own.
constexpr double most_uneven_two = 1.3, most_spread_two = 0.01;

class FiveTone : public SpectraDecoder {
public:
    FiveTone(double rate, const ToneSet& set, Emit emit)
        : SpectraDecoder(rate, {.rate = 8000, .window = window_of(set), .hop = set.length / 16},
                         std::move(emit)),
          set_(set),
          symbols_(spectra_.hop(), [this](const Symbol& symbol) { take(symbol); })
    {
    }

private:
    static double window_of(const ToneSet& set) { return 0.45 * set.length; } // s
    // dB, mean of a row, 4 to 9: a line rises over noise with the window, two keys' tones over each other
    // don't.
    double least_mean_clear() const { return decibels(176 * window_of(set_)); }

    void look(double time) override
    {
        const Peak tone = spectra_.peak(400, 2900);
        const double beside = 2.4 / window_of(set_); // Hz, from a line to where it is no more
        const Peak other = spectra_.peak_beside(300, 3000, tone.frequency, beside);
        Sight sight{.time = time, .power = tone.power, .clear = decibels_over(tone.power, other.power)};
        if (tone.power > least_share * spectra_.power(300, 3000))
            for (int k = 0; k < int(std::size(set_.tones)); ++k)
                if (const double off = tone.frequency / set_.tones[k] - 1; std::fabs(off) < most_off) {
                    sight.symbol = k;
                    sight.off[0] = off;
                }
        symbols_.push(sight);
        if (!row_.empty() && !symbols_.running() && time - row_.back().end > set_.length) end();
    }

    void take(const Symbol& symbol)
    {
        if (symbol.duration() < least_seen * set_.length || symbol.clear < least_clear) return;
        if (!row_.empty() && symbol.begin - row_.back().end > longest_gap * set_.length) end();
        row_.push_back(symbol);
    }

    // A row of tones is a call as a whole or not at all: keyed text has rows too, but longer and uneven ones,
    // and two keys' tones at once have no line that is clear.
    bool is_call(const std::vector<Symbol>& row) const
    {
        if (row.size() < least_tones || row.size() > most_tones || row.front().symbol == repeat) return false;
        double clear = 0;
        std::set<int> kinds;
        for (size_t k = 0; k < row.size(); ++k) {
            const double length = row[k].duration() / set_.length;
            if (length < shortest || length > (k ? longest : longest_first)) return false;
            if (k && row[k].symbol == row[k - 1].symbol) return false;
            clear += row[k].clear / double(row.size());
            kinds.insert(row[k].symbol);
        }
        if (clear < least_mean_clear()) return false;
        return kinds.size() > 2 ? unevenness(row) < most_uneven
                                : unevenness(row) < most_uneven_two && spread(row) < most_spread_two;
    }

    // The longest to the shortest of the tones, the first left out.
    static double unevenness(const std::vector<Symbol>& row)
    {
        const auto [least, most] = std::ranges::minmax(std::span(row).subspan(1), {}, &Symbol::duration);
        return most.duration() / least.duration();
    }
    // How unlike the tones are off, as parts of their frequencies.
    static double spread(const std::vector<Symbol>& row)
    {
        const auto [least, most] = std::ranges::minmax(row, {}, [](const Symbol& s) { return s.off[0]; });
        return most.off[0] - least.off[0];
    }

    void end() override
    {
        std::vector<Symbol> call;
        call.swap(row_);
        if (!is_call(call)) return;
        Message message{.time = call.front().begin, .level = mean_level(call)};
        std::string sent;
        for (const Symbol& symbol : call) {
            sent += letters[symbol.symbol];
            message.text += symbol.symbol == repeat ? message.text.back() : sent.back();
        }
        message.fields.add("set", set_.name)
            .add("tones", sent)
            .add("duration", call.back().end - call.front().begin);
        emit_(message);
    }

    const ToneSet& set_;
    Symbols symbols_;
    std::vector<Symbol> row_; // tones without a gap between
};
} // namespace

std::vector<std::string> five_tone_sets()
{
    std::vector<std::string> names;
    for (const ToneSet& set : sets) names.emplace_back(set.name);
    return names;
}

MadeDecoder make_five_tone(double rate, const FiveToneSettings& settings, Emit emit)
{
    const auto* set =
        std::ranges::find_if(sets, [&](const ToneSet& row) { return row.name == settings.set; });
    if (set == std::end(sets)) throw WrongSettings("no set of five tones: " + settings.set);
    require_tone(rate, std::ranges::max(set->tones));
    return std::make_unique<FiveTone>(rate, *set, std::move(emit));
}
} // namespace decoders::tones
