// Sub-audible tones below the speech of FM stations, by which a receiver opens for its own group alone.
#include "decoders/tones/evened.h"
#include "decoders/tones/hum.h"
#include "decoders/tones/overs.h"
#include "decoders/tones/phase_break.h"
#include "decoders/tones/spectra.h"
#include "decoders/tones/sub_tones.h"
#include "decoders/tones/syllables.h"
#include "decoders/tones/tones.h"
#include <cmath>
#include <deque>
#include <numeric>

namespace decoders::tones {
namespace {
constexpr double sub_rate = Evened::rate; // Hz: the resampler leaves what is below 300 Hz
// s, of the spectra there. The shorter ones tell when a tone begins and ends, in lines 2 Hz wide to either
// side that tell tones from each other; in the longer ones it stands twice as clear of the voice.
constexpr double window = 1, long_window = 2;
constexpr size_t hop = size_t(sub_rate * Syllables::hop);
constexpr size_t ahead = size_t((long_window - window) / 2 / Syllables::hop); // frames of one end
constexpr double least_clear = 3;   // dB over all other lines, of a tone that stands
constexpr double least_tone = 3e-6; // of the speech's power: what is above 300 Hz folds in with 1e-7 of it
constexpr double pole = 0.75;       // of the high-pass against a receiver's offset, 30 Hz
constexpr int32_t full = 1 << 29;   // of samples, 2^30 is full scale
constexpr double quietest = 0.5 / 32768; // half a step of 16 bits
constexpr double silent_end = 0.8;       // s that bring out the last frames: half a window, delays, a hop

class Ctcss : public Decoder {
public:
    Ctcss(double rate, Emit emit)
        : emit_(std::move(emit)),
          to_sub_(rate, sub_rate),
          sub_(sub_rate, {.rate = sub_rate, .window = window, .hop = Syllables::hop}),
          long_(sub_rate, {.rate = sub_rate, .window = long_window, .hop = Syllables::hop}),
          speech_(rate, {.rate = 8000, .window = 0.064, .hop = Syllables::hop})
    {
    }

    void push(const int16_t* samples, size_t count) override
    {
        // The speech and the longer spectra first, and all by hops: what is known then doesn't depend on how
        // the stream is cut.
        speech_.push(samples, count, [this](double) { levels_.push_back(speech_.power(300, 3000)); });
        for (const int32_t sample : to_sub_.push32(samples, count)) {
            high_ = sample - before_ + pole * high_;
            before_ = sample;
            passed_.push_back(high_ / (1 << 30));
            if (passed_.size() < hop) continue;
            take();
            passed_.clear();
        }
    }

    void finish() override
    {
        push_silence(silent_end * to_sub_.input_rate(), *this);
        if (const auto tone = overs_.tone(); tone && candidates_.lost(*tone))
            overs_.tone_ended(candidates_.last_time());
        overs_.finish();
    }

private:
    // A hop of what has passed.
    void take()
    {
        hum_.take_out(passed_);
        clipped_.clear();
        for (const double sample : passed_) {
            pauses_.push(sample);
            // Clipped hard: a loud syllable has no more weight than a pause with the tone alone.
            clipped_.push_back(sample > quietest ? full : sample < -quietest ? -full : 0);
        }
        phase_.push(clipped_);
        const std::vector<int32_t>& even = evened_.push(passed_);
        long_.push32(even.data(), even.size(), [this](double) { lines_.emplace_back(long_, long_window); });
        sub_.push32(even.data(), even.size(),
                    [this](double time) { look(time - double(Evened::delay) / sub_rate - to_sub_.delay()); });
    }

    // A frame, by its middle.
    void look(double time)
    {
        if (!levels_.empty()) {
            syllables_.push(time, levels_.front());
            speech_of_late_.push_back(levels_.front());
            if (double(speech_of_late_.size()) * Syllables::hop > long_window) speech_of_late_.pop_front();
            levels_.pop_front();
        }
        look_at_lines(time);
        look_for_another();
        if (const auto tone = overs_.tone()) {
            overs_.tone_seen(candidates_.run(*tone, Overs::gap).end);
            if (candidates_.lost(*tone)) overs_.tone_missing(time);
        }
        look_at_phase(time - (PhaseBreak::span - window / 2));
        overs_.pass(time);
    }

    // Those of both spectra that end with the frame.
    void look_at_lines(double time)
    {
        const auto end = std::llround((time + to_sub_.delay() + window / 2) * to_sub_.rate());
        pauses_.forget(end, long_window);
        const double speech = std::reduce(speech_of_late_.begin(), speech_of_late_.end()) /
                              double(std::max<size_t>(speech_of_late_.size(), 1));
        const auto look_at = [&](const Line& line, double seconds) {
            if (line.tone && line.clear > least_clear && !hum_.has(line.frequency) &&
                pauses_.stands(end, seconds, line.frequency, least_tone * speech))
                candidates_.stand(*line.tone);
        };
        const Line line(sub_, window);
        candidates_.see(time, line);
        look_at(line, window);
        if (frames_++ < ahead) return;
        look_at(lines_.front(), long_window);
        lines_.pop_front();
    }

    void look_for_another()
    {
        const int tone = candidates_.best();
        if (candidates_.clear(tone) && tone != overs_.tone())
            overs_.tone_clear(tone, candidates_.run(tone, Overs::gap).begin);
    }

    // An over with the tone of the one before it begins where the phase breaks most.
    void look_at_phase(double time)
    {
        const auto sample = std::llround((time + to_sub_.delay()) * to_sub_.rate());
        phase_.forget(sample);
        const auto tone = overs_.tone();
        if (!tone || time < overs_.since() + PhaseBreak::span) return phase_.drop();
        if (const auto broke = phase_.look(sample, time, sub_tones[*tone], sub_tone_reach))
            overs_.phase_broke(*broke);
    }

    void tell(const State& state, double since)
    {
        Message message{.time = since, .text = words::decimals(since) + " "};
        if (state.kind == State::Kind::tone) {
            const double tone = sub_tones[state.tone];
            message.text += words::decimals(tone);
            message.fields.add("tone", tone)
                .add("measured", std::round(candidates_.frequency(state.tone) * 100) / 100);
        } else {
            const char* const name = state.kind == State::Kind::none ? "none" : "off";
            message.text += name;
            message.fields.add("tone", name);
        }
        emit_(message);
    }

    const Emit emit_;
    Resampler to_sub_;
    Spectra sub_, long_, speech_;
    std::deque<double> levels_; // of the speech, ahead of the tone's frames
    std::deque<double> speech_of_late_;
    std::deque<Line> lines_; // of the longer spectra, ahead of the frames with their end
    size_t frames_ = 0;
    std::vector<double> passed_; // what the high-pass leaves, less than a hop
    std::vector<int32_t> clipped_;
    Hum hum_;
    Evened evened_;
    double before_ = 0, high_ = 0; // the high-pass: sample before, output
    Pauses pauses_{sub_rate};
    Syllables syllables_;
    Candidates candidates_;
    PhaseBreak phase_{sub_rate};
    Overs overs_{syllables_, [this](const State& state, double since) { tell(state, since); }};
};
} // namespace

MadeDecoder make_ctcss(double rate, Emit emit)
{
    require_tone(rate, *std::rbegin(sub_tones));
    return std::make_unique<Ctcss>(rate, std::move(emit));
}
} // namespace decoders::tones
