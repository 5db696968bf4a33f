// Selective calls to aircraft: two pulses of a second, 0.2 s apart, each of two tones of sixteen at once. A
// receiver of a sideband that is off tune shifts all four tones alike, so the code is the best fit under one
// shift.
#include "decoders/tones/spectra.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace decoders::tones {
namespace {
constexpr char letters[] = "ABCDEFGHJKLMPQRS";
constexpr double tones[] = {312.6, 346.7, 384.6, 426.6, 473.2,  524.8,  582.1,  645.7,
                            716.1, 794.3, 881.0, 977.2, 1083.9, 1202.3, 1333.5, 1479.1}; // Hz

constexpr double most_shift = 60;                        // Hz
constexpr double most_off = 4;                           // Hz, of a tone, the shift taken off
constexpr double least_apart = 22;                       // Hz, between the tones of a pulse
constexpr double most_twist = 15;                        // dB, between the tones of a pulse
constexpr double least_clear = 5;                        // dB over the third line
constexpr double same = 4;                               // Hz that a tone seems to move within a pulse
constexpr double hold = 0.3;                             // s that a pair may be hidden
constexpr double shortest = 0.5, longest = 1.5;          // s, of a pulse as it is seen
constexpr double shortest_gap = -0.1, longest_gap = 0.6; // s, between the pulses

// A pair of lines that lasts.
struct Pulse {
    double begin = 0, end = 0; // s
    double low = 0, high = 0;  // Hz, means
    double power = 0;          // 1 is a sine of full scale
};

struct Code {
    std::array<int, 4> letters{};
    double shift = 0, off = 0; // Hz; off is the greatest distance that is left
};

// The code of four lines under the shift that brings them nearest to tones.
std::optional<Code> match(const Pulse& first, const Pulse& second)
{
    const double lines[] = {first.low, first.high, second.low, second.high};
    std::optional<Code> best;
    // Any shift that fits puts the first line near a tone.
    for (int start = 0; start < int(std::size(tones)); ++start) {
        Code code;
        double least = 1e9, most = -1e9;
        for (int k = 0; k < 4; ++k) {
            const double at = lines[k] - (lines[0] - tones[start]);
            const int letter = nearest(tones, at);
            code.letters[size_t(k)] = letter;
            least = std::min(least, lines[k] - tones[letter]);
            most = std::max(most, lines[k] - tones[letter]);
        }
        code.shift = (least + most) / 2;
        code.off = (most - least) / 2;
        auto sorted = code.letters; // none comes twice in a code
        std::ranges::sort(sorted);
        if (std::fabs(code.shift) > most_shift || code.off > most_off || (best && best->off < code.off) ||
            std::ranges::adjacent_find(sorted) != sorted.end())
            continue;
        best = code;
    }
    return best;
}

class Selcal : public SpectraDecoder {
public:
    Selcal(double rate, Emit emit)
        : SpectraDecoder(rate, {.rate = 4000, .window = 0.25, .hop = 0.025}, std::move(emit))
    {
    }

private:
    // The two strongest lines of a frame.
    struct Sight {
        double time;
        double low, high; // Hz
        double power;
        bool pair; // they are near enough in level, and nothing else is
    };

    void look(double time) override
    {
        constexpr double from = tones[0] - most_shift, to = tones[15] + most_shift;
        const Peak first = spectra_.peak(from, to),
                   second = spectra_.peak_beside(from, to, first.frequency, least_apart);
        const auto [low, high] = std::minmax(first.frequency, second.frequency);
        double third = 0;
        for (const auto& [bottom, top] : {std::pair{from, low - least_apart},
                                          {low + least_apart, high - least_apart},
                                          {high + least_apart, to}})
            if (bottom < top) third = std::max(third, spectra_.peak(bottom, top).power);
        follow({.time = time,
                .low = low,
                .high = high,
                .power = first.power + second.power,
                .pair = second.power > first.power * std::pow(10, -most_twist / 10) &&
                        second.power > third * std::pow(10, least_clear / 10)});
    }

    void end() override
    {
        while (!run_.empty()) end_run();
    }

    // A run lasts as long as its pair does, but for what fading and noise hide. The level plays no part.
    void follow(const Sight& sight)
    {
        if (run_.empty() && !sight.pair) return;
        run_.push_back(sight);
        const Sight& last = run_[good_ ? good_ - 1 : 0];
        if (sight.pair && std::fabs(sight.low - last.low) < same && std::fabs(sight.high - last.high) < same)
            good_ = run_.size();
        else if (sight.time - last.time > hold)
            end_run();
    }

    void end_run()
    {
        if (run_.empty()) return;
        const std::vector<Sight> rest(run_.begin() + ptrdiff_t(good_), run_.end());
        run_.resize(good_);
        take_run();
        run_.clear();
        good_ = 0;
        for (const Sight& sight : rest) follow(sight);
    }

    // The pulse of a run, and the call if another came before it.
    void take_run()
    {
        Pulse pulse;
        double count = 0;
        for (const Sight& sight : run_) {
            if (!sight.pair || std::fabs(sight.low - run_.back().low) > same) continue;
            ++count;
            pulse.low += sight.low;
            pulse.high += sight.high;
            pulse.power += sight.power;
        }
        for (double* mean : {&pulse.low, &pulse.high, &pulse.power}) *mean /= count;
        const auto strong = [&](const Sight& sight) { return sight.power > edge_power * pulse.power; };
        pulse.begin = std::ranges::find_if(run_, strong)->time;
        pulse.end = std::find_if(run_.rbegin(), run_.rend(), strong)->time;
        const double length = pulse.end - pulse.begin, gap = pulse.begin - last_.end;
        if (length < shortest) return;
        const auto code = last_.end > 0 && length < longest && gap > shortest_gap && gap < longest_gap
                              ? match(last_, pulse)
                              : std::nullopt;
        if (code) emit(*code, pulse);
        last_ = code || length > longest ? Pulse{} : pulse;
    }

    void emit(const Code& code, const Pulse& second)
    {
        Message message{.time = last_.begin, .level = decibels((last_.power + second.power) / 2)};
        for (const int letter : code.letters) {
            message.text += letters[letter];
            if (message.text.size() == 2) message.text += '-';
        }
        message.fields.add("shift", tenth(code.shift) + 0.0).add("duration", second.end - last_.begin);
        emit_(message);
    }

    std::vector<Sight> run_; // from the first sight of a pair on
    size_t good_ = 0;        // sights of the run to the last that is the pair's
    Pulse last_;
};
} // namespace

MadeDecoder make_selcal(double rate, Emit emit)
{
    require(rate, tones[15] + most_shift, "a tone of " + words::number(tones[15]) + " Hz");
    return std::make_unique<Selcal>(rate, std::move(emit));
}
} // namespace decoders::tones
