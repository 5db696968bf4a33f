// NAVTEX and other bulletins in SITOR mode B: 100 Bd, shift 170 Hz, line by line.
//
// Receivers side by side listen at centres 25 Hz apart. The one whose two copies of each character fit
// together best gets the text, until its signal ends.
#include "decoders/blocks.h"
#include "decoders/bulletins/bulletins.h"
#include "decoders/bulletins/sitor.h"
#include "decoders/intake.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <deque>
#include <utility>

namespace decoders::bulletins {
namespace {
constexpr double baud = 100, half_shift = 85; // Hz
constexpr double rate = 8000;                 // Hz
constexpr int window = 80;                    // samples of a bit
constexpr size_t hop = 8;                     // samples between two looks at the correlators
constexpr size_t hops_a_bit = window / hop;
constexpr int range = 200, step = 25; // Hz, of the centres
constexpr int band_taps = 127;
constexpr double election = 1.5; // s, for receivers of other centres to find the signal too

// Bit timing for weak signals, whose zero crossings are mostly noise: the mean magnitude at each hop of the
// bit shows where the eye is open, and its first harmonic points at the middle.
class EyeClock {
public:
    using Take = std::function<void(float soft, double hop)>;
    explicit EyeClock(Take take) : take_(std::move(take)) {}

    void push(float soft)
    {
        float& open = open_[size_t(now_) % hops_a_bit];
        open += (std::fabs(soft) - open) / bits_averaged;
        if (now_ == due_) {
            take_(soft, double(now_));
            std::complex<float> harmonic = 0;
            for (size_t k = 0; k < hops_a_bit; ++k)
                harmonic +=
                    open_[k] *
                    std::polar(1.0f, float(2 * M_PI) * (float(k) - float(now_ % hops_a_bit)) / hops_a_bit);
            const float ahead = std::arg(harmonic) * hops_a_bit / float(2 * M_PI);
            due_ += hops_a_bit + (ahead > 0.7f) - (ahead < -0.7f);
        }
        ++now_;
    }

private:
    static constexpr float bits_averaged = 100;
    const Take take_;
    std::array<float, hops_a_bit> open_{};
    int64_t now_ = 0, due_ = 0; // hops
};

// The signal's two tones as correlators hear them, and the bits of that.
class Tones {
public:
    Tones(double centre, std::function<void(float soft, double hop)> take)
        : correlator_(make_correlator(rate, window, centre + half_shift, centre - half_shift)),
          clock_(std::move(take))
    {
    }

    // Takes whole bits. The correlator's ring then holds the products of exactly these samples, from which
    // come the correlations over the bit time before each hop.
    void push(const int16_t* samples, size_t count)
    {
        ZVFSKCorrDemod& correlator = *correlator_;
        int16_t difference[window];
        for (size_t at = 0; at + window <= count; at += window) {
            ZVFSKCorrDemod16_Process_16_16(&correlator, samples + at, difference, window, 1);
            correlator.phase_1 = std::remainder(correlator.phase_1, float(2 * M_PI));
            correlator.phase_2 = std::remainder(correlator.phase_2, float(2 * M_PI));
            const float* product = correlator.window;
            for (Sums& past : past_) {
                for (size_t n = 0; n < hop; ++n, product += 4)
                    for (size_t slot = 0; slot < 4; ++slot) sums_[slot] += product[slot];
                const auto magnitude = [&](size_t a, size_t b) {
                    return std::hypot(float(sums_[a] - past[a]), float(sums_[b] - past[b])) / window;
                };
                heard_ = {magnitude(0, 1), magnitude(2, 3)};
                clock_.push(soft(heard_.higher, heard_.lower));
                past = sums_;
            }
        }
    }

    // What the correlators gave for the bit that is being taken: magnitudes.
    struct Heard {
        float higher, lower;
    };
    Heard heard() const { return heard_; }

    // Of the weaker tone. A receiver that is off by the shift hears one tone alone, and may read that.
    float level() const { return std::min(higher_, lower_); }

private:
    // Each tone against half of the level that it has had: fading that takes one and leaves the other shifts
    // nothing (K. Chen's form of automatic threshold correction).
    float soft(float higher, float lower)
    {
        const auto follow = [](float& level, float now) {
            level += (now - level) / (now > level ? 4.0f : 300.0f);
        };
        follow(higher_, higher);
        follow(lower_, lower);
        const float power = (higher_ * higher_ + lower_ * lower_) / 2;
        const float value = higher_ * (higher - higher_ / 2) - lower_ * (lower - lower_ / 2);
        return std::clamp(value / std::max(power, 1e-9f), -1.5f, 1.5f);
    }

    zovek::FSKCorrDemod correlator_;
    EyeClock clock_;
    using Sums = std::array<double, 4>; // of products, since the beginning
    Sums sums_{};
    std::array<Sums, hops_a_bit> past_{}; // the last ones
    float higher_ = 0, lower_ = 0;
    Heard heard_{};
};

// Symbols to lines, and where in a message a line stands.
class Bulletin {
public:
    struct Line {
        std::string text;
        double begin, end; // s
        int unreadable;
        std::string message; // B1 B2 B3 B4 of ZCZC; empty outside of messages
        int number;          // of the line in its message, from 1
    };

    std::optional<Line> push(const SitorSymbol& symbol)
    {
        char c = figures_ ? symbol.figure : symbol.letter;
        if (!symbol.sure)
            c = '*';
        else if (c == sitor_letters || c == sitor_figures) {
            figures_ = c == sitor_figures;
            return {};
        } else if (c == '\r' || c == '\n')
            return finish();
        if (line_.text.empty()) line_ = {.begin = symbol.time, .unreadable = 0};
        line_.text += c;
        line_.unreadable += c == '*';
        line_.end = symbol.time;
        return {};
    }

    std::optional<Line> finish()
    {
        Line line = std::exchange(line_, {});
        line.text.erase(line.text.find_last_not_of(' ') + 1);
        if (line.text.empty()) return {};
        if (const size_t at = line.text.find("ZCZC "); at != std::string::npos) {
            message_ = line.text.substr(at + 5, 4);
            lines_ = 0;
        }
        line.message = message_;
        line.number = ++lines_;
        if (line.text.find("NNNN") != std::string::npos) {
            message_.clear();
            lines_ = 0;
        }
        return line;
    }

private:
    bool figures_ = false;
    Line line_{};
    std::string message_;
    int lines_ = 0;
};

class Navtex : public Decoder {
public:
    Navtex(double from, double centre, Emit emit)
        : emit_(std::move(emit)),
          intake_(
              from, rate, 2 * window, 0.12,
              [this](const int16_t* samples, size_t count, int64_t first) { take(samples, count, first); }),
          band_(make_fir(ZVFIRType_BandPass, band_taps, rate, centre - range - 2 * half_shift,
                         centre + range + 2 * half_shift))
    {
        for (int offset = -range; offset <= range; offset += step)
            receivers_.emplace_back(centre + offset, *this);
    }

    void push(const int16_t* samples, size_t count) override { intake_.push(samples, count); }

    void finish() override
    {
        intake_.finish(0.1);
        if (!chosen_) choose();
        if (!chosen_) return;
        hear(*chosen_, chosen_->sitor.finish());
        end();
    }

private:
    struct Receiver {
        Receiver(double centre, Navtex& navtex)
            : centre(centre), tones(centre, [this, &navtex](float soft, double at) {
                  const auto [higher, lower] = tones.heard();
                  const auto [tone, other] = soft > 0 ? std::pair{higher, lower} : std::pair{lower, higher};
                  bits.push_back({at * hop / rate, tone * tone, other * other});
                  if (bits.size() > most_bits) bits.pop_front();
                  navtex.bit(*this, soft, at);
              })
        {
        }
        float merit() const { return sitor.score() * tones.level(); }
        const double centre;
        // The tone that isn't sent shows the noise in the bit rate's bandwidth, twice its power, and what
        // leaks over. dB in 3 kHz; nothing where that hides the noise, from 6 dB on.
        std::optional<double> snr(double begin, double end) const
        {
            double tone = 0, other = 0;
            for (const Bit& bit : bits) {
                if (bit.time < begin || bit.time > end) continue;
                tone += bit.tone;
                other += bit.other;
            }
            constexpr double turn = 2 * M_PI * half_shift / baud;
            const double leak = std::pow(std::sin(turn) / turn, 2) * tone, noise = other - leak;
            if (!(noise > leak / 3) || !(tone > noise)) return {};
            return snr_in_3k((tone - noise) / noise, baud);
        }

        struct Bit {
            double time;       // s
            float tone, other; // the one that was sent; squares of magnitudes
        };
        static constexpr size_t most_bits = 8192; // longer than a line

        Tones tones;
        std::deque<Bit> bits;
        Sitor sitor;
        std::vector<SitorSymbol> early; // before the election
    };

    void take(const int16_t* samples, size_t count, int64_t first)
    {
        filtered_.resize(count);
        ZVFIR1616_Process_16_16(band_, filtered_.data(), samples, int32_t(count), 1, 1);
        now_ = double(first + int64_t(count)) / rate;
        for (Receiver& receiver : receivers_)
            if (!chosen_ || chosen_ == &receiver) receiver.tones.push(filtered_.data(), count);
        if (chosen_ && !chosen_->sitor.locked()) end();
        if (!chosen_ && elected_ && now_ >= *elected_) choose();
    }

    void bit(Receiver& receiver, float soft, double at)
    {
        hear(receiver, receiver.sitor.push(soft, at * hop / rate));
        if (!chosen_ && !elected_ && receiver.sitor.locked()) elected_ = now_ + election;
    }

    void hear(Receiver& receiver, const std::vector<SitorSymbol>& symbols)
    {
        if (chosen_ != &receiver) {
            receiver.early.insert(receiver.early.end(), symbols.begin(), symbols.end());
            return;
        }
        for (const SitorSymbol& symbol : symbols)
            if (const auto line = bulletin_.push(symbol)) print(*line);
    }

    void choose()
    {
        elected_.reset();
        for (Receiver& receiver : receivers_)
            if (receiver.sitor.locked() && (!chosen_ || receiver.merit() > chosen_->merit()))
                chosen_ = &receiver;
        if (!chosen_) return;
        inverted_ = chosen_->sitor.inverted();
        hear(*chosen_, std::exchange(chosen_->early, {}));
    }

    void end()
    {
        if (const auto line = bulletin_.finish()) print(*line);
        bulletin_ = {};
        chosen_ = nullptr;
        for (Receiver& receiver : receivers_) {
            receiver.sitor = {};
            receiver.early.clear();
        }
    }

    void print(const Bulletin::Line& line)
    {
        // Times are those of the middle of the first bit of a character, behind the filters.
        constexpr double lag = (band_taps - 1) / 2.0 / rate + 1 / baud;
        const double begin = intake_.time(line.begin * rate) - lag;
        Message message{.time = begin, .text = line.text};
        message.level = intake_.level(begin, begin + line.end - line.begin + 0.42);
        message.snr = chosen_->snr(line.begin, line.end + 0.42);
        if (!line.message.empty()) message.fields.add("message", line.message);
        message.fields.add("line", int64_t(line.number))
            .add("unreadable", int64_t(line.unreadable))
            .add("centre", chosen_->centre)
            .add("inverted", inverted_);
        emit_(message);
    }

    const Emit emit_;
    Intake intake_;
    zovek::FIR band_;
    std::vector<int16_t> filtered_;
    std::deque<Receiver> receivers_;
    Receiver* chosen_ = nullptr;    // null: all listen
    std::optional<double> elected_; // s, when one will be chosen
    bool inverted_ = false;
    double now_ = 0; // s
    Bulletin bulletin_;
};
} // namespace

MadeDecoder make_navtex(double from, const NavtexSettings& settings, Emit emit)
{
    if (settings.centre < lowest_centre || settings.centre > highest_centre)
        throw WrongSettings("navtex: {centre} between 400 and 3200 Hz");
    require_tone(from, settings.centre + half_shift);
    return std::make_unique<Navtex>(from, settings.centre, std::move(emit));
}
} // namespace decoders::bulletins
