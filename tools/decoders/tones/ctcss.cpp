// Sub-audible tones that FM stations send below their speech, so that a receiver opens for its own group alone.
#include "decoders/tones/phase_break.h"
#include "decoders/tones/spectra.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <deque>

namespace decoders::tones {
namespace {
constexpr double tones[] = {67.0,  69.3,  71.9,  74.4,  77.0,  79.7,  82.5,  85.4,  88.5,  91.5,
                            94.8,  97.4,  100.0, 103.5, 107.2, 110.9, 114.8, 118.8, 123.0, 127.3,
                            131.8, 136.5, 141.3, 146.2, 151.4, 156.7, 159.8, 162.2, 165.5, 167.9,
                            171.3, 173.8, 177.3, 179.9, 183.5, 186.2, 189.9, 192.8, 196.6, 199.5,
                            203.5, 206.5, 210.7, 218.1, 225.7, 229.1, 233.6, 241.8, 250.3, 254.1}; // Hz, EIA

constexpr double sub_rate = 600;    // Hz: the resampler leaves what is below 300 Hz
constexpr double pole = 0.75;       // of the high-pass against a receiver's offset, 30 Hz
constexpr double most_off = 0.0065; // of a tone's frequency; the nearest two are 0.013 apart
constexpr double beside = 3;        // Hz, from a tone to what is another line

// Evidence for a tone: the dB by which it stands over other lines, summed over frames with a memory of 1 s. A clear
// tone counts after half a second; the voice's own tones move on before they count.
constexpr double memory = 0.95, most_clear = 8, enough = 66, gone = 10;
constexpr double steady = 0.5, settle = 0.2; // Hz that a tone seems to move; share of its last frequency
constexpr double least_share = 0.4;          // of the power in pauses
constexpr double gap = 1.5;                  // s without the tone that are an over without one
constexpr double patience = 3.2;             // s without the tone, in which another one may show
constexpr double pause = 1;                  // s, from an over to another one
constexpr double undecided = 2.5;            // s of speech before it counts as speech without tone
constexpr double quiet = 3;                  // s without speech after which an over without tone has ended
// A break of phase: what one sine misses, how much of all is the tone, and s from the first sign to the decision.
constexpr double least_loss = 0.14, least_break_share = 0.28, settled = 2.2;
constexpr size_t kept = 100;       // frames
constexpr int off = -2, none = -1; // states beside the tones

// Speech, told from noise and silence by its syllables: levels that rise and fall again and again.
class Syllables {
public:
    void push(double time, double power)
    {
        levels_.push_back(10 * std::log10(power + 1e-12));
        if (levels_.size() > kept) levels_.pop_front();
        time_ = time;
        const auto first = levels_.end() - ptrdiff_t(std::min(levels_.size(), span));
        std::vector<double> sorted(first, levels_.end());
        std::ranges::sort(sorted);
        const double low = sorted[sorted.size() / 10], high = sorted[sorted.size() * 9 / 10];
        middle_ = (low + high) / 2;
        int rises = 0;
        bool up = false;
        for (auto level = first; level != levels_.end(); ++level) {
            const double edge = low + (up ? 0.4 : 0.6) * (high - low);
            rises += !up && *level > edge;
            up = *level > edge;
        }
        const bool heard = high - low > least_swing && rises >= least_rises;
        if (!heard)
            began_.reset();
        else if (!began_)
            began_ = time_of(std::find_if(first, levels_.end(), [this](double x) { return x > middle_; }));
    }
    std::optional<double> began() const { return began_; } // s, if there is speech
    // Whether there is speech, and some of it stood between two times of the last seconds.
    bool between(double from, double to) const
    {
        for (auto level = levels_.begin(); began_ && level != levels_.end(); ++level)
            if (*level > middle_ && time_of(level) > from && time_of(level) < to) return true;
        return false;
    }

    static constexpr double hop = 0.05; // s between levels
private:
    using Level = std::deque<double>::const_iterator;
    double time_of(Level level) const { return time_ - double(levels_.end() - level - 1) * hop; }

    static constexpr size_t span = 40, kept = 100; // levels: 2 s are judged, 5 s remembered
    static constexpr double least_swing = 8;       // dB
    static constexpr int least_rises = 3;
    std::deque<double> levels_;    // dB
    double time_ = 0, middle_ = 0; // s, of the last level; dB
    std::optional<double> began_;
};

// What there is below 300 Hz while the voice pauses: a tone goes on then, a voice that keeps to one pitch doesn't.
class Pauses {
public:
    void push(double sample) { samples_.push_back(sample); } // of full scale 1

    // No more is asked of what came more than a second before a sample.
    void forget(int64_t sample)
    {
        for (; gone_ < sample - int64_t(span) && !samples_.empty(); ++gone_) samples_.pop_front();
    }

    // The tone's share of the power in the quietest parts of the second before a sample.
    double share(int64_t sample, double frequency) const
    {
        const int64_t first = sample - int64_t(span) - gone_;
        if (first < 0 || first + int64_t(span) > int64_t(samples_.size())) return 0;
        std::array<Part, blocks> parts;
        const double omega = 2 * M_PI * frequency / sub_rate;
        for (size_t k = 0; k < span; ++k) {
            Part& part = parts[k / block];
            const double value = samples_[size_t(first) + k];
            part.sum += value * std::polar(1.0, -omega * double(k));
            part.power += value * value + silence;
        }
        std::ranges::sort(parts, {}, &Part::power);
        Part quiet;
        for (size_t k = 0; k < pausing; ++k) {
            quiet.sum += parts[k].sum;
            quiet.power += parts[k].power;
        }
        return 2 * std::norm(quiet.sum) / (quiet.power * double(pausing * block));
    }

private:
    static constexpr size_t blocks = 20, block = 30, span = blocks * block; // 1 s, samples
    static constexpr size_t pausing = 5;                                    // blocks
    static constexpr double silence = 1e-9; // power of a sample: a step of 16 bits
    struct Part {
        std::complex<double> sum = 0;
        double power = 0;
    };
    std::deque<double> samples_;
    int64_t gone_ = 0; // samples forgotten
};

class Ctcss : public Decoder {
public:
    Ctcss(double rate, Emit emit)
        : emit_(std::move(emit)),
          to_sub_(rate, sub_rate),
          sub_(rate, {.rate = sub_rate, .window = 1, .hop = 0.05}),
          speech_(rate, {.rate = 8000, .window = 0.064, .hop = Syllables::hop})
    {
    }

    void push(const int16_t* samples, size_t count) override
    {
        // The speech first, and both by hops, so that what is known of it doesn't depend on how the stream is cut.
        speech_.push(samples, count, [this](double) { levels_.push_back(speech_.power(300, 3000)); });
        clipped_.clear();
        for (const int32_t sample : to_sub_.push32(samples, count)) {
            high_ = sample - before_ + pole * high_;
            before_ = sample;
            pauses_.push(high_ / (1 << 30));
            // Clipped hard, so that a loud syllable has no more weight than a pause in which the tone stands alone.
            clipped_.push_back(high_ > quietest ? full : high_ < -quietest ? -full : 0);
        }
        phase_.push(clipped_);
        sub_.push32(clipped_.data(), clipped_.size(), [this](double time) { look(time - to_sub_.delay()); });
    }

    void finish() override
    {
        push_silence(0.7 * to_sub_.input_rate(),
                     [this](const int16_t* samples, size_t count) { push(samples, count); });
        if (state_ >= 0 && lost()) end_tone(sights_.back().time);
        if (state_ == off && syllables_.began()) change(none, *syllables_.began());
    }

private:
    struct Candidate {
        double frequency = 0; // Hz, as it was seen of late
        double evidence = 0;
    };
    struct Sight {
        double time;
        int tone; // none: no tone of the table
        double power;
    };

    void look(double time)
    {
        if (!levels_.empty()) {
            syllables_.push(time, levels_.front());
            levels_.pop_front();
        }
        see(time);
        const auto speech = syllables_.began();
        const int tone =
            int(std::ranges::max_element(candidates_, {}, &Candidate::evidence) - candidates_.begin());
        const Candidate& best = candidates_[size_t(tone)];
        const auto seen = std::llround((time + to_sub_.delay() + 0.5) * to_sub_.rate()); // end of the window
        pauses_.forget(seen);
        if (best.evidence > enough && tone != state_ && pauses_.share(seen, best.frequency) > least_share) {
            const auto [begin, end] = reach(tone);
            if (state_ >= 0 && begin - last_ > gap) end_tone(begin);
            change(tone, begin);
        }
        if (state_ >= 0) {
            last_ = std::max(last_, reach(state_).second);
            if (lost() && time - last_ > patience) end_tone(time);
        }
        watch_phase(time);
        if (state_ == off && speech && time - std::max(*speech, since_) > undecided)
            change(none, std::max(*speech, since_));
        if (speech || state_ != none) heard_ = time;
        if (state_ == none && time - heard_ > quiet) change(off, heard_);
    }

    // An over with the tone of the one before it begins where the phase breaks most.
    void watch_phase(double time)
    {
        time -= PhaseBreak::span - 0.5;
        const auto sample = std::llround((time + to_sub_.delay()) * to_sub_.rate());
        phase_.forget(sample);
        if (state_ < 0 || time < since_ + PhaseBreak::span) {
            break_ = {};
            return;
        }
        const PhaseBreak::Fit fit = phase_.fit(sample, tones[state_], most_off);
        if (break_.share == 0 && fit.loss > least_loss) break_.seen = time;
        if ((break_.share > 0 || fit.loss > least_loss) && fit.share > break_.share) {
            break_.time = time;
            break_.share = fit.share;
        }
        if (break_.share > 0 && time - break_.seen > settled) {
            if (break_.share > least_break_share && last_ > break_.time + PhaseBreak::span - 0.3)
                begin(state_, break_.time);
            break_ = {};
        }
    }

    void see(double time)
    {
        const Peak line = sub_.peak(64, 260), other = sub_.peak_beside(60, 265, line.frequency, beside);
        const auto* tone = std::ranges::min_element(
            tones, {}, [&](const double& candidate) { return std::fabs(candidate - line.frequency); });
        const double clear = 10 * std::log10((line.power + 1e-15) / (other.power + 1e-15));
        const bool near = std::fabs(line.frequency / *tone - 1) < most_off;
        for (Candidate& seen : candidates_) seen.evidence *= memory;
        if (near) {
            Candidate& seen = candidates_[size_t(tone - tones)];
            if (seen.evidence < gone) seen.frequency = line.frequency;
            const double moved = line.frequency - seen.frequency;
            seen.frequency += settle * moved;
            if (std::fabs(moved) < steady) seen.evidence += std::clamp(clear, 0.0, most_clear);
        }
        sights_.push_back({time, near ? int(tone - tones) : none, line.power});
        if (sights_.size() > kept) sights_.pop_front();
    }

    // First and last time of the present run of a tone: a quarter of its power under a window that is half as high
    // where it begins.
    std::pair<double, double> reach(int tone) const
    {
        double first = sights_.back().time, last = 0, peak = 0;
        for (const Sight& sight : sights_)
            if (sight.tone == tone) peak = std::max(peak, sight.power);
        for (auto sight = sights_.rbegin(); sight != sights_.rend(); ++sight) {
            if (sight->tone != tone || sight->power < 0.25 * peak) continue;
            if (last != 0 && first - sight->time > gap) break;
            if (last == 0) last = sight->time;
            first = sight->time;
        }
        return {first, last};
    }

    bool lost() const { return candidates_[size_t(state_)].evidence < gone; }

    // The tone has ended; what came then, before a time?
    void end_tone(double before)
    {
        const double from = last_ + 0.2, to = std::min(last_ + pause, before - 0.2);
        change(syllables_.between(from, to) ? none : off, last_);
    }

    void change(int state, double time)
    {
        if (state != state_) begin(state, time);
    }

    void begin(int state, double time)
    {
        state_ = state;
        since_ = time = std::max({time, since_, 0.0});
        last_ = time;
        char text[48];
        Message message{.time = time};
        std::snprintf(text, sizeof text, "%.1f ", time);
        message.text = text;
        if (state >= 0) {
            std::snprintf(text, sizeof text, "%.1f", tones[state]);
            message.text += text;
            message.fields.add("tone", tones[state])
                .add("measured", std::round(candidates_[size_t(state)].frequency * 100) / 100);
        } else {
            message.text += state == none ? "none" : "off";
            message.fields.add("tone", state == none ? "none" : "off");
        }
        emit_(message);
    }

    static constexpr int32_t full = 1 << 29,
                             quietest = 1 << 15; // of samples, 2^30 is full scale; half a step of 16 bits
    const Emit emit_;
    Resampler to_sub_;
    Spectra sub_, speech_;
    Pauses pauses_;
    Syllables syllables_;
    std::deque<double> levels_; // of the speech, ahead of the tone's frames
    std::vector<int32_t> clipped_;
    double before_ = 0, high_ = 0;
    std::deque<Sight> sights_;
    std::array<Candidate, std::size(tones)> candidates_{};
    PhaseBreak phase_{sub_rate};
    struct {
        double seen = 0, time = 0, share = 0;
    } break_; // s of its first sign, and of the greatest share since
    int state_ = off;
    double since_ = 0; // s, when the state began
    double last_ = 0;  // s, when its tone was seen last
    double heard_ = 0; // s, when speech was heard last
};
} // namespace

MadeDecoder make_ctcss(double rate, Emit emit)
{
    require_tone(rate, *std::rbegin(tones));
    return std::make_unique<Ctcss>(rate, std::move(emit));
}
} // namespace decoders::tones
