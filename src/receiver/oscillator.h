// The local oscillator: one cycle as a table of Fs pairs, so an index step of 1 is 1 Hz and any whole
// frequency is exact for ever.
#pragma once
#include "core/real.h"
#include <algorithm>
#include <cstdint>
#include <numeric>

namespace zv::oscillator {
// A unit vector turned clockwise, exp(-j 2 pi k / Fs), scaled by 2147483600 (below 2^31, so that no product
// with a sample leaves its width).
struct Turn {
    int32_t c, s;
};
inline constexpr extended scale = 2147483600;

// One cycle, in the width and the scale of a table.
template <class Turn>
void fill(Turn* table, int32_t rate, extended scale)
{
    using Part = decltype(Turn::c);
    turn_by(2 * pi / rate, rate, [=](int32_t k, extended c, extended s) {
        table[k] = {to_nearest<Part>(scale * c), to_nearest<Part>(-scale * s)};
    });
}

// A place in the table that moves on by a fixed frequency.
class Phase {
    int32_t place_, step_, cycle_;

public:
    Phase() = default;
    // hz may be anything; a place past the cycle, left from a longer table, is read once as it is.
    Phase(int32_t place, int64_t hz, int32_t cycle) : place_(place), cycle_(cycle)
    {
        step_ = static_cast<int32_t>(hz % cycle);
        if (step_ < 0) step_ += cycle;
    }
    bool operator==(const Phase&) const = default;
    int32_t place() const { return place_; }
    int32_t step() const { return step_; }
    int32_t cycle() const { return cycle_; }
    void advance()
    {
        const int64_t next = int64_t(place_) + step_;
        place_ = static_cast<int32_t>(next < cycle_ ? next : next % cycle_);
    }
    // The phase count samples later.
    Phase after(int64_t count) const
    {
        Phase later = *this;
        later.place_ = static_cast<int32_t>((place_ + step_ * count) % cycle_);
        return later;
    }
};

// Turns in the order in which a mixer meets them, in halves: c = c_high * 65536 + c_low + 32768, s likewise,
// so that all factors are 16 bits wide.
struct Halves {
    const int16_t *c_high, *c_low, *s_high, *s_low;
    Halves from(int32_t k) const { return {c_high + k, c_low + k, s_high + k, s_low + k}; }
};

// The turns of a frequency from one phase on, until they repeat after Fs / gcd(Fs, frequency) samples: a
// private table behind the oscillator's own, so that most frequencies need no walk through the long one. A
// frequency with a longer period has none.
class Run {
    static constexpr int32_t room = 16384;
    Phase phase_;    // of the next sample
    int32_t index_;  // its place here
    int32_t length_; // whole periods; 0: none
    alignas(64) int16_t halves_[4][room];

public:
    void build(const Turn* table, Phase phase)
    {
        const int32_t period = phase.cycle() / std::gcd(phase.cycle(), phase.step());
        phase_ = phase;
        index_ = 0;
        length_ = room / period * period;
        for (int32_t k = 0; k < length_; ++k, phase.advance()) {
            const Turn turn = table[phase.place()];
            halves_[0][k] = top16(turn.c);
            halves_[1][k] = static_cast<int16_t>((turn.c & 0xFFFF) - 32768);
            halves_[2][k] = top16(turn.s);
            halves_[3][k] = static_cast<int16_t>((turn.s & 0xFFFF) - 32768);
        }
    }
    // Whether the next sample of this phase is the next one here.
    bool continues(const Phase& phase) const { return length_ != 0 && phase == phase_; }
    // Calls mix(turns, first, n) for pieces of count samples.
    template <class Mix>
    void walk(int32_t count, Mix mix)
    {
        for (int32_t first = 0, n; first < count; first += n) {
            n = std::min(count - first, length_ - index_);
            mix(Halves{halves_[0], halves_[1], halves_[2], halves_[3]}.from(index_), first, n);
            index_ = (index_ + n) % length_;
        }
        phase_ = phase_.after(count);
    }
};
} // namespace zv::oscillator
