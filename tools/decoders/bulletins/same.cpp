// Headers of weather radio and the emergency alert system: 520.83 Bd AFSK between 2083.3 and 1562.5 Hz.
#include "decoders/afsk.h"
#include "decoders/bulletins/bulletins.h"
#include "decoders/bulletins/same_header.h"
#include "decoders/intake.h"
#include <algorithm>
#include <cmath>
#include <deque>

namespace decoders::bulletins {
namespace {
constexpr double baud = 3125.0 / 6; // a bit is four waves of tone 1, or three of tone 2
constexpr Modem modem = {.baud = baud,
                         .tone_1 = 4 * baud,
                         .tone_2 = 3 * baud,
                         .wide = {1250, 2400, 67},
                         .narrow = {1250, 2400, 67},
                         .delay = 0};
// Clocks side by side, for senders whose bit rate is off; each serves 1 % to either side.
constexpr double rate_offsets[] = {0, 0.015, -0.015};
constexpr int block_bits = 12;
constexpr double same_burst = 0.25; // s, between the beginnings of one burst as two clocks have it

class Same : public Decoder {
public:
    Same(double rate, const SameSettings& settings, Emit emit)
        : once_(settings.once),
          emit_(std::move(emit)),
          intake_(rate, modem.rate(), block_bits * bit_samples, 0.12,
                  [this](const int16_t* samples, size_t count, int64_t) {
                      front_.push(samples, count);
                      for (Channel& channel : channels_) channel.branch.run();
                  }),
          front_(modem, {})
    {
        for (const double offset : rate_offsets) channels_.emplace_back(*this, offset);
    }

    void push(const int16_t* samples, size_t count) override { intake_.push(samples, count); }

    void finish() override
    {
        intake_.finish(0.2);
        for (Channel& channel : channels_) take(channel, channel.receiver.finish());
    }

private:
    // One clock, and what is received by it.
    struct Channel {
        Channel(Same& same, double rate_offset)
            : branch(same.front_, modem, {Rule::sequence, 0.12, rate_offset, 0, {0.03, 0.02}},
                     [this, &same](float soft, int64_t sample) { same.hear(*this, soft, sample); })
        {
        }
        Branch branch;
        SameReceiver receiver;
        std::deque<double> ends; // of the last bits, samples
        int64_t bits_gone = 0;
    };

    void hear(Channel& channel, float soft, int64_t sample)
    {
        // A bit of the sequence detector is one that ended so many samples ago.
        constexpr int behind = SequenceDetector::delay * bit_samples;
        const int64_t end = sample - front_.delay() - 1 - behind;
        float tone = 0, other = 0;
        if (end >= bit_samples) {
            tone = energy(front_.correlation(1, end));
            other = energy(front_.correlation(2, end));
            if (soft < 0) std::swap(tone, other);
        }
        channel.ends.push_back(double(end));
        if (channel.ends.size() > most_bits) {
            channel.ends.pop_front();
            ++channel.bits_gone;
        }
        take(channel, channel.receiver.push({soft, tone, other}));
    }

    void take(const Channel& channel, const std::vector<SameReceiver::Found>& all)
    {
        for (const SameReceiver::Found& found : all) take(channel, found);
    }

    void take(const Channel& channel, const SameReceiver::Found& found)
    {
        const int64_t first = found.burst.begin + preamble_bits - channel.bits_gone; // bit of the text
        const double end = channel.ends[size_t(std::max<int64_t>(first, 0))];
        const double text = intake_.time(end) - front_.lag() - 1 / baud, begin = text - preamble_bits / baud;
        if (std::ranges::any_of(begins_, [&](double other) { return std::fabs(begin - other) < same_burst; }))
            return;
        begins_.push_back(begin);
        if (begins_.size() > most_begins) begins_.pop_front();
        if (once_ && found.number > 1) return;
        Message message{.time = begin, .text = found.header ? found.header->text : "NNNN"};
        message.level = intake_.level(begin, text + double(message.text.size()) * 8 / baud);
        message.snr = snr(found.burst, message.text.size() * 8);
        if (found.header) tell(*found.header, message.fields);
        message.fields.add("burst", int64_t(found.number))
            .add("agreeing", int64_t(found.agreeing))
            .add("mended", int64_t(found.mended));
        emit_(message);
    }

    static void tell(const SameHeader& header, words::JsonObject& fields)
    {
        fields.add("originator", header.originator)
            .add("event", header.event)
            .add("locations", header.locations);
        if (header.valid) fields.add("valid_minutes", int64_t(*header.valid));
        if (header.day) fields.add("day", int64_t(*header.day));
        if (!header.issued.empty()) fields.add("issued", header.issued);
        fields.add("station", header.station);
        if (!header.invalid.empty()) fields.add("invalid", header.invalid);
    }

    // The tone that isn't sent shows the noise in the bit rate's bandwidth, twice its power: amplitude
    // squared.
    static std::optional<double> snr(const SameReceiver::Burst& burst, size_t bits)
    {
        double tone = 0, other = 0;
        for (size_t k = 0; k < std::min(bits, burst.bits.size()); ++k) {
            tone += burst.bits[k].tone;
            other += burst.bits[k].other;
        }
        if (!(tone > other) || !(other > 0)) return {};
        return snr_in_3k((tone - other) / other, baud);
    }

    static constexpr int preamble_bits = 16 * 8;
    static constexpr size_t most_bits = 16384; // half a minute: longer than three bursts
    static constexpr size_t most_begins = 16;  // more bursts than two clocks may be apart

    const bool once_;
    const Emit emit_;
    Intake intake_;
    Front front_;
    std::deque<Channel> channels_;
    std::deque<double> begins_; // s, of the last bursts that came out
};
} // namespace

MadeDecoder make_same(double rate, const SameSettings& settings, Emit emit)
{
    require_tone(rate, modem.tone_1);
    return std::make_unique<Same>(rate, settings, std::move(emit));
}
} // namespace decoders::bulletins
