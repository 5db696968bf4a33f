// AX.25 packets over audio: 1200 Bd between 1200 and 2200 Hz, as on VHF FM, or 300 Bd between 1600 and 1800
// Hz, as through SSB receivers. Every branch hears in another way, and what one finds counts.
#include "decoders/packet/packet.h"
#include "decoders/afsk.h"
#include "decoders/intake.h"
#include "decoders/packet/findings.h"
#include "decoders/packet/g3ruh.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace decoders::packet {
namespace {
// clang-format off
constexpr Modem vhf = {.baud = 1200, .tone_1 = 1200, .tone_2 = 2200,
                       .wide = {480, 2920, 67}, .narrow = {1000, 2400, 151}, .delay = 0.45e-3};
constexpr Modem hf = {.baud = 300, .tone_1 = 1600, .tone_2 = 1800,
                      .wide = {1350, 2050, 101}, .narrow = {1450, 1950, 151}, .delay = 2.5e-3};

// Slow clock and tracking for weak signals, quick ones for stations off the rules.
constexpr Branch::Tuning steady = {Rule::sequence, 0.06, 0, 0, {0.005, 0.02, 0.15, false}};
constexpr Branch::Tuning middle = {Rule::sequence, 0.1, 0, 0.02, {0.01, 0.02, 0.2, false}};
constexpr Branch::Tuning agile = {Rule::sequence, 0.2, 0, 0.03, {0.03, 0.02, 0.3, true}};
constexpr Branch::Tuning fading = {Rule::sequence, 0.2, 0, 0.03, {.gain = 0.5, .slope = 0.15}};
constexpr Branch::Tuning by_level = {Rule::level, 0.2, 0, 0.03, {}};
constexpr Branch::Tuning by_level_still = {Rule::level, 0.2, 0, 0, {}};
constexpr Branch::Tuning slow = {Rule::sequence, 0.15, -0.012, 0.015, {0.03, 0.02, 0.25, false}};
constexpr Branch::Tuning fast = {Rule::sequence, 0.15, 0.012, 0.015, {0.03, 0.02, 0.25, false}};
constexpr Branch::Tuning faster = {Rule::sequence, 0.15, 0.028, 0.015, {0.03, 0.02, 0.25, false}};

struct Row {
    Hearing hearing;
    Branch::Tuning tuning;
};

// The branches in the order of what they add; the effort tells how many run.
constexpr Row vhf_rows[most_effort] = {
    // copy         band           tilt  off  delay
    {{Copy::plain,   Width::wide,   0,   0, false}, steady},   // noise
    {{Copy::clipped, Width::wide,   0,   0, false}, middle},   // clicks of an FM receiver near its threshold
    {{Copy::plain,   Width::wide,   0,   0, false}, fast},
    {{Copy::plain,   Width::wide,   0,   0, false}, by_level_still}, // no steady phase
    {{Copy::plain,   Width::narrow, 0,   0, false}, agile},    // off tune, tones and bit rate off
    {{Copy::raised,  Width::wide,   0,   0, false}, steady},   // de-emphasised clicks
    {{Copy::plain,   Width::narrow, 0,   0, false}, steady},   // noise beside the tones
    {{Copy::plain,   Width::wide,   0,   0, false}, faster},
    {{Copy::plain,   Width::wide,   0,   0, false}, fading},
    {{Copy::clipped, Width::narrow, 0,   0, false}, steady},   // clicks
    {{Copy::clipped, Width::wide,   0,   0, false}, agile},
    {{Copy::plain,   Width::wide,   8,   0, false}, steady},   // de-emphasised
    {{Copy::plain,   Width::wide,   0,   0, false}, slow},
    {{Copy::clipped, Width::wide,   0,   0, false}, steady},
    {{Copy::plain,   Width::wide,   5,   0, false}, by_level},
    {{Copy::plain,   Width::wide,  -8,   0, false}, by_level}, // pre-emphasised
    {{Copy::plain,   Width::wide,   0,   0, true},  by_level}, // level plays no part
};

// Stations on short wave are off tune more often than not.
constexpr Row hf_rows[most_effort] = {
    {{Copy::plain,   Width::wide,   0,   0, false}, steady},
    {{Copy::clipped, Width::narrow, 0,   0, false}, steady},
    {{Copy::plain,   Width::wide,   0,  45, false}, agile},
    {{Copy::plain,   Width::wide,   0, -45, false}, agile},
    {{Copy::plain,   Width::wide,   0,   0, false}, by_level},
    {{Copy::plain,   Width::wide,   0,  90, false}, agile},
    {{Copy::plain,   Width::wide,   0, -90, false}, agile},
    {{Copy::plain,   Width::wide,   0, 120, false}, agile},
    {{Copy::plain,   Width::wide,   0,-120, false}, agile},
    {{Copy::plain,   Width::wide,   0,   0, true},  by_level},
    {{Copy::plain,   Width::wide,   0,   0, false}, fading},
    {{Copy::plain,   Width::narrow, 0,   0, false}, middle},
    {{Copy::plain,   Width::wide,   0,   0, false}, agile},
    {{Copy::plain,   Width::wide,   8,   0, false}, steady},
    {{Copy::plain,   Width::wide,  -8,   0, false}, steady},
    {{Copy::plain,   Width::wide,   8,   0, false}, by_level},
    {{Copy::plain,   Width::wide,  -8,   0, false}, by_level},
};
// clang-format on

constexpr int block_bits = 24; // 20 ms at 1200 Bd
constexpr double level = 0.06; // of full scale: the peaks of noise come to a third

class Packet : public Decoder {
public:
    Packet(double rate, const Settings& settings, Emit emit)
        : modem_(settings.hf ? hf : vhf),
          intake_(
              rate, modem_.rate(), block_bits * bit_samples, level,
              [this](const int16_t* samples, size_t count, int64_t first) { take(samples, count, first); }),
          findings_(modem_.baud, settings.repair, intake_, std::move(emit))
    {
        const int effort = settings.effort.value_or(settings.hf ? default_hf_effort : default_effort);
        const auto& rows = settings.hf ? hf_rows : vhf_rows;
        for (int k = 0; k < effort; ++k)
            lines_.emplace_back(*this, front_of(rows[k].hearing), rows[k].tuning);
    }

    void push(const int16_t* samples, size_t count) override { intake_.push(samples, count); }

    void finish() override { intake_.finish(0.2); }

private:
    struct Line {
        Line(Packet& packet, const Front& front, const Branch::Tuning& tuning)
            : listener(packet.findings_.add_listener()),
              behind(tuning.rule == Rule::sequence ? SequenceDetector::delay * bit_samples : 0),
              branch(front, packet.modem_, tuning, [&, this](float soft, int64_t sample) {
                  listener.push(soft, packet.intake_.time(double(sample - behind)) - front.lag());
              })
        {
        }
        Findings::Listener& listener;
        const int behind; // samples, from a bit to its decision
        Branch branch;
    };

    const Front& front_of(const Hearing& hearing)
    {
        const auto front = std::ranges::find(fronts_, hearing, &Front::hearing);
        return front == fronts_.end() ? fronts_.emplace_back(modem_, hearing) : *front;
    }

    // The difference over two samples: the higher tone of 1200 Bd up by 5 dB.
    int16_t raise(int16_t sample)
    {
        const int out = sample - std::exchange(before_[1], std::exchange(before_[0], sample));
        return int16_t(std::clamp(out, -32768, 32767));
    }

    static void clip(std::vector<int16_t>& samples)
    {
        constexpr double part = 0.7; // of the mean magnitude
        double sum = 0;
        for (const int16_t sample : samples) sum += std::abs(sample);
        const auto most = int16_t(part * sum / double(samples.size()));
        for (int16_t& sample : samples) sample = std::clamp<int16_t>(sample, int16_t(-most), most);
    }

    void take(const int16_t* plain, size_t count, int64_t first)
    {
        clipped_.assign(plain, plain + count);
        raised_.resize(count);
        for (size_t k = 0; k < count; ++k) raised_[k] = raise(plain[k]);
        clip(clipped_);
        clip(raised_);
        const auto copy = [&](Copy which) {
            return which == Copy::plain ? plain : (which == Copy::clipped ? clipped_ : raised_).data();
        };
        for (Front& front : fronts_) front.push(copy(front.hearing().copy), count);
        for (Line& line : lines_) line.branch.run();
        findings_.forget(intake_.time(double(first)));
    }

    const Modem modem_;
    Intake intake_;
    Findings findings_;
    std::vector<int16_t> clipped_, raised_;
    std::array<int16_t, 2> before_{}; // samples
    std::deque<Front> fronts_;
    std::deque<Line> lines_;
};
} // namespace

MadeDecoder make_packet(double rate, const Settings& settings, Emit emit)
{
    if (settings.g3ruh) return make_g3ruh(rate, settings, std::move(emit));
    require_tone(rate, (settings.hf ? hf : vhf).tone_2);
    return std::make_unique<Packet>(rate, settings, std::move(emit));
}
} // namespace decoders::packet
