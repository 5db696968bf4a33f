// Overs: what is on the air, and since when. A state lasts until an event takes it to another one:
//
//   state   event                                      next    since
//   any     another tone is clear                      tone    its run began
//   tone    it is missing for long, or the audio ends  none    it was seen last, if speech came behind it
//                                                      off     the same, if there was none
//   tone    its phase breaks, and it goes on           tone    the break: another over with the same tone
//   off     speech goes on, or the audio ends          none    the speech began
//   none    no speech for long                         off     there was some last
//
// A tone that is clear long after the one before was seen ends that by itself: two events at once.
#pragma once
#include "decoders/tones/phase_break.h"
#include "decoders/tones/syllables.h"
#include <algorithm>
#include <functional>
#include <optional>

namespace decoders::tones {
struct State {
    enum class Kind {
        off,  // no over, or one of which nothing is known yet
        none, // an over without a tone
        tone, // an over with one
    };
    Kind kind = Kind::off;
    int tone = 0; // its place in the table, if the over has one
};

// Times are s, and events come in their order.
class Overs {
public:
    // Takes each state with its beginning, from the first that isn't off.
    using Take = std::function<void(const State& state, double since)>;
    Overs(const Syllables& speech, Take take) : speech_(speech), take_(std::move(take)) {}

    double since() const { return since_; }
    // Of the over that there is.
    std::optional<int> tone() const { return is(Kind::tone) ? std::optional(state_.tone) : std::nullopt; }

    // A tone that isn't the over's is clear.
    void tone_clear(int tone, double begin)
    {
        if (is(Kind::tone) && begin - last_ > gap) tone_ended(begin);
        enter({Kind::tone, tone}, begin);
    }

    // The over's own was seen, is missing, has ended before something else can begin, has broken.
    void tone_seen(double last) { last_ = std::max(last_, last); }
    void tone_missing(double now)
    {
        if (now - last_ > patience) tone_ended(now);
    }
    void tone_ended(double before)
    {
        const double from = last_ + unsure, to = std::min(last_ + pause, before - unsure);
        enter({speech_.between(from, to) ? Kind::none : Kind::off}, last_);
    }
    void phase_broke(double time)
    {
        if (last_ > time + PhaseBreak::span - unseen) enter(state_, time);
    }

    // All that is known at a time has been told.
    void pass(double now)
    {
        const auto speech = speech_.began();
        if (is(Kind::off) && speech && now - std::max(*speech, since_) > undecided)
            enter({Kind::none}, *speech);
        if (speech || !is(Kind::none)) heard_ = now;
        if (is(Kind::none) && now - heard_ > quiet) enter({Kind::off}, heard_);
    }
    // The audio has ended.
    void finish()
    {
        if (is(Kind::off) && speech_.began()) enter({Kind::none}, *speech_.began());
    }

    // s that a tone may be hidden in its over. With less, fading cuts the over in two; with more, one without
    // a tone is missed between two with tones.
    static constexpr double gap = 1.5;

private:
    // s without its tone before an over ends. The next tone counts by then and ends it; with less, a false
    // "off" comes between.
    static constexpr double patience = 3.2;
    // s behind a tone in which speech is an over that follows at once. Later, it begins by itself.
    static constexpr double pause = 1;
    static constexpr double unsure = 0.2; // s at a tone's end and before the next: speech there is theirs
    // s that a tone behind a break may be seen too short. Its end is a break too: with more it counts.
    static constexpr double unseen = 0.3;
    static constexpr double undecided = 2.5; // s of speech that show it has no tone: weak ones want time
    static constexpr double quiet = 3;       // s without speech that end an over: with less, a breath does

    using Kind = State::Kind;
    bool is(Kind kind) const { return state_.kind == kind; }

    // No state begins before the one that it follows.
    void enter(const State& state, double since)
    {
        state_ = state;
        since_ = last_ = std::max({since, since_, 0.0});
        take_(state_, since_);
    }

    const Syllables& speech_;
    const Take take_;
    State state_;
    double since_ = 0;
    double last_ = 0;  // the over's tone was seen
    double heard_ = 0; // there was speech, or another state than none
};
} // namespace decoders::tones
