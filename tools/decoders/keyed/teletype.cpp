// Text that is keyed between two tones, character by character: radioteletype in the five bits of ITA2, and
// ASCII as modems send it. A line of text is a message.
#include "decoders/keyed/teletype.h"
#include <algorithm>
#include <cmath>
#include <utility>

namespace decoders::keyed {
namespace {
constexpr int first_wait = 4, second_wait = 8; // characters that the searches go on before they decide

// Evidence of a bit is how far its tone rises over the other one, from 0 for both alike to 1 for it alone,
// less this much: noise stays below, a signal 9 dB above the noise in its bit rate is over it.
constexpr float squelch = 0.62f;
constexpr float contradiction = 5;   // times that a bit counts which should be start, stop or idle and isn't
constexpr float again = 0.25f;       // times that a character counts like the one before: a hum isn't text
constexpr float enough_a_bit = 0.9f; // evidence for each bit of a character, that opens the line
constexpr float mere_noise = 0.15f;  // of the energy of a signal's bits
constexpr size_t most_held = 64;     // characters
constexpr size_t longest_line = 400; // characters

class Teletype : public Decoder {
public:
    Teletype(double rate, const Tones& tones, std::unique_ptr<Alphabet> alphabet, Emit emit)
        : tones_(tones),
          rate_(rate),
          emit_(std::move(emit)),
          alphabet_(std::move(alphabet)),
          frame_(alphabet_->frame()),
          correlator_(rate, tones),
          surveyor_(tones, correlator_),
          listener_(tones, correlator_),
          first_(frame_, first_wait),
          second_(frame_, second_wait)
    {
    }

    void push(const int16_t* samples, size_t count) override
    {
        for (const Correlator::Piece& piece : correlator_.push(samples, count)) {
            pieces_.push(piece);
            found_.clear();
            first_.push(surveyor_.push(piece), found_);
            for (const Span& span : found_)
                each_bit(span, [this](int64_t end, Tone symbol) {
                    const auto state = surveyor_.find({end, symbol});
                    while (state && heard_ < state->end) hear(*state);
                });
        }
    }

    // Silence brings out what is in the searches.
    void finish() override
    {
        const double bits = (first_wait + second_wait + 3) * (frame_.bits + 3) + 2 * surveyor_.reach();
        push_silence((bits / tones_.baud + 2 * correlator_.delay()) * rate_, *this);
        end_line();
    }

private:
    struct Line {
        std::string text;
        int64_t begin = 0, end = 0;  // ticks
        double power = 0, noise = 0; // sums over characters: of the signal and of its noise
        int characters = 0;
    };
    struct Held {
        Span span;
        State state;                  // at its end
        std::array<float, 2> weakest; // energy of a bit, of space and of mark
    };

    // Calls function(end, symbol) for the bits of a span. Of the stop there is one.
    template <class Function>
    void each_bit(const Span& span, Function function) const
    {
        if (span.character == Span::idle) {
            for (int64_t end = span.begin; (end += ticks_per_bit) <= span.end;) function(end, mark);
            return;
        }
        function(span.bit_end(0), space);
        for (int bit = 0; bit < frame_.bits; ++bit)
            function(span.bit_end(1 + bit), Tone(span.character >> bit & 1));
        function(std::min(span.bit_end(1 + frame_.bits), span.end), mark);
    }

    void hear(const State& state)
    {
        const auto out = listener_.push(pieces_[heard_++], state);
        if (!out) return;
        outs_.push(*out);
        heard_spans_.clear();
        second_.push(out->mark, heard_spans_);
        for (const Span& span : heard_spans_) take(span);
    }

    // Adds to the evidence of a signal. Characters wait until there is enough, and go when there is none.
    void take(const Span& span)
    {
        const float enough = enough_a_bit * float(frame_.bits + 2);
        evidence_ = std::min(evidence_ + weigh(span), enough);
        if (evidence_ <= 0) {
            evidence_ = 0;
            open_ = false;
            held_.clear();
            alphabet_->restart();
        } else if (span.character != Span::idle)
            hold(span);
        if (evidence_ == enough || (open_ && held_.size() == most_held)) {
            if (!open_) cut_front();
            open_ = true;
            for (const Held& held : held_) print(held);
            held_.clear();
        } else if (held_.size() == most_held)
            held_.erase(held_.begin());
        if (held_.empty() && span.end - line_.end > pause()) end_line();
    }

    // Idle is no evidence for text, but may be against it.
    float weigh(const Span& span)
    {
        float sum = 0;
        const int64_t data = span.bit_end(0), stop = span.bit_end(frame_.bits);
        each_bit(span, [&](int64_t end, Tone symbol) {
            const auto& energy = outs_[end - 1].energy;
            const float clear = (energy[symbol] - energy[1 - symbol]) / (energy[0] + energy[1] + 1e-6f);
            const bool frame = span.character == Span::idle || end <= data || end > stop;
            sum += (clear / surveyor_.clarity() - squelch) * (frame && clear < 0 ? contradiction : 1);
        });
        if (span.character == Span::idle) return std::min(sum, 0.0f);
        sum += frame_.prior[size_t(span.character)];
        const int alternating = 0x155 & ((1 << frame_.bits) - 1); // as a voice's pitch makes them
        if (sum > 0 && (span.character == last_character_ || span.character == alternating)) sum *= again;
        last_character_ = span.character;
        return sum;
    }

    void hold(const Span& span)
    {
        Held held{.span = span, .state = outs_[span.end - 1].state};
        held.weakest.fill(1e30f);
        each_bit(span, [&](int64_t end, Tone symbol) {
            held.weakest[symbol] = std::min(held.weakest[symbol], outs_[end - 1].energy[symbol]);
        });
        held_.push_back(held);
    }

    // What begins before the signal does has bits that are mere noise.
    void cut_front()
    {
        size_t first = 0;
        const auto noisy = [&](Tone tone) {
            const float amplitude = held_[first + 1].state.amplitude[tone];
            return held_[first].weakest[tone] < mere_noise * amplitude * amplitude;
        };
        while (first + 1 < held_.size() && (noisy(mark) || noisy(space))) ++first;
        held_.erase(held_.begin(), held_.begin() + ptrdiff_t(first));
    }

    int64_t pause() const // ticks, that end a line
    {
        return int64_t(std::max(2 * tones_.baud, 8 * (frame_.bits + 3.0)) * ticks_per_bit);
    }

    void print(const Held& held)
    {
        const Span& span = held.span;
        if (span.begin - line_.end > pause()) end_line();
        const auto byte = alphabet_->read(span.character);
        if (!byte) return;
        if (*byte == '\r' || *byte == '\n') return end_line();
        if (line_.characters == 0) line_.begin = span.begin;
        const State& state = held.state;
        line_.end = span.end;
        line_.text += *byte;
        ++line_.characters;
        const auto [b, a] = state.amplitude;
        line_.power += (a * a + b * b) / 2;
        line_.noise += state.noise;
        if (line_.text.size() >= longest_line) end_line();
    }

    void end_line()
    {
        const Line line = std::exchange(line_, Line{.end = line_.end});
        if (line.text.find_first_not_of(' ') == std::string::npos) return;
        Message message{.time = double(line.begin) / ticks_per_bit / tones_.baud - correlator_.delay(),
                        .text = line.text};
        const double power = line.power / line.characters, noise = line.noise / line.characters;
        message.level = decibels(power / (32768.0 * 32768.0) + 1e-12);
        // A part of a correlation over a bit has the noise of one bit rate.
        message.snr = decibels(power / 2 / (noise * 3000 / tones_.baud) + 1e-12);
        emit_(message);
    }

    const Tones tones_;
    const double rate_;
    const Emit emit_;
    const std::unique_ptr<Alphabet> alphabet_;
    const Frame frame_;
    Correlator correlator_;
    Surveyor surveyor_;
    Listener listener_;
    PathSearch first_, second_;
    Recent<Correlator::Piece> pieces_{13};
    Recent<Listener::Out> outs_{13};
    int64_t heard_ = 0; // ticks that went to the listener
    std::vector<Span> found_, heard_spans_;
    float evidence_ = 0;
    bool open_ = false; // there was enough since there was none
    int last_character_ = Span::idle;
    std::vector<Held> held_;
    Line line_;
};

// Throws where these tones can't be keyed so fast, or not be heard at this rate.
void check(const Tones& tones, double rate)
{
    if (std::fabs(tones.mark - tones.space) < 0.3 * tones.baud)
        throw WrongSettings("mark and space are too near for " + words::number(tones.baud) + " Bd");
    for (const double tone : {tones.mark, tones.space}) {
        if (tone < tones.baud / 8)
            throw NotAtThisRate("a tone of " + words::number(tone) + " Hz",
                                "too low for " + words::number(tones.baud) + " Bd");
        require_tone(rate, tone);
    }
}
} // namespace

MadeDecoder make_rtty(double rate, const Tones& tones, const Ita2::Options& options, Emit emit)
{
    check(tones, rate);
    return std::make_unique<Teletype>(rate, tones, std::make_unique<Ita2>(options), std::move(emit));
}

MadeDecoder make_ascii(double rate, const Tones& tones, const Ascii::Options& options, Emit emit)
{
    check(tones, rate);
    return std::make_unique<Teletype>(rate, tones, std::make_unique<Ascii>(options), std::move(emit));
}
} // namespace decoders::keyed
