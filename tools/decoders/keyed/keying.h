// Two keyed tones to likelihoods of mark against space, on the library's FSK correlator.
//
// Time is counted in ticks, ticks_per_bit to a bit. Keying is heard twice. At first blindly: tone against
// tone. From what a search for characters then takes for sent, the amplitude of each tone, the noise and the
// mistuning around each moment are known, on both sides of it, and all is weighed again: fading tones lose
// their say.
#pragma once
#include "decoders/blocks.h"
#include "decoders/sequence.h"
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace decoders::keyed {
constexpr int ticks_per_bit = 16;

// What came last, by running number. Only the newest 2^order items are there.
template <class Item>
class Recent {
public:
    explicit Recent(int order) : items_(size_t(1) << order) {}
    void push(const Item& item) { items_[size_t(end_++) & (items_.size() - 1)] = item; }
    const Item& operator[](int64_t k) const { return items_[size_t(k) & (items_.size() - 1)]; }
    Item& operator[](int64_t k) { return items_[size_t(k) & (items_.size() - 1)]; }
    int64_t end() const { return end_; }

private:
    std::vector<Item> items_;
    int64_t end_ = 0;
};

struct Tones {
    double mark, space, baud; // Hz, Hz, Bd
};

enum Tone : uint8_t { space = 0, mark = 1 };

// Sums of the audio against each tone, tick by tick.
class Correlator {
public:
    // Of a tick: space, mark.
    using Piece = std::array<Phasor, 2>;

    Correlator(double rate, const Tones& tones);

    // The ticks that these samples complete, until the next call.
    const std::vector<Piece>& push(const int16_t* samples, size_t count);
    double delay() const { return resampler_.delay(); } // s
    int bit_samples() const { return bit_samples_; }
    double omega(Tone tone) const { return omega_[tone]; } // radians a sample

private:
    int bit_samples_;
    Resampler resampler_;
    std::array<double, 2> omega_, phase_{};
    zovek::FSKCorrDemod correlator_;
    std::vector<int16_t> waiting_, soft_; // waiting_: less than a bit
    std::vector<Piece> pieces_;
};

// A bit as a search found it: its last tick is end - 1.
struct Bit {
    int64_t end;
    Tone symbol;
};

// What is known of the signal around a bit.
struct State {
    int64_t end = 0;                  // of the bit
    std::array<float, 2> amplitude{}; // of a sine at space and at mark
    float noise = 1;                  // variance of each part of a correlation over a bit
    float turn = 0;                   // mistuning, radians a tick
};

// Blind likelihoods, and states from the bits that were found in them.
class Surveyor {
public:
    Surveyor(const Tones& tones, const Correlator& correlator);

    // A tick's pieces. Gives the log likelihood ratio of mark to space over the bit that ends with it.
    float push(const Correlator::Piece& piece);
    // A bit that was found, in the order of time. Gives the state around the one reach() bits before.
    std::optional<State> find(const Bit& bit);
    int reach() const { return reach_; }
    // What a tone without noise shows of (its energy - the other's) / (both).
    float clarity() const { return clarity_; }

private:
    struct Heard {
        int64_t end;
        Tone symbol;
        float own, noise; // energy at the tone; at the other one, beyond what leaks over
        Phasor ahead;     // of the second half against the first
    };
    State survey(int64_t at) const;

    const int reach_; // bits, to either side
    const int bit_samples_;
    const double apart_; // radians a sample, mark above space
    float leak_;         // amplitude of a tone in the other's correlation over what is sure of a bit
    float clarity_;
    Recent<Correlator::Piece> pieces_{13};
    float level_ = 0; // of the stronger tone, smoothed
    Recent<Heard> heard_{10};
};

// Likelihoods from a known state. Tones too near for one bit are heard in sequences of bits, phase and all.
class Listener {
public:
    struct Out {
        float mark = 0;              // log likelihood ratio of mark to space over the bit that ends here
        std::array<float, 2> energy; // of space and mark over that bit
        State state;
    };

    Listener(const Tones& tones, const Correlator& correlator);

    // A tick's pieces and the state then. Gives what is known of the tick delay() before, from the first on.
    std::optional<Out> push(const Correlator::Piece& piece, const State& state);
    int delay() const { return sequences_.empty() ? 0 : SequenceDetector::delay * ticks_per_bit; }

private:
    const int bit_samples_;
    std::vector<SequenceDetector> sequences_; // one a tick of the bit; none if each bit stands for itself
    Recent<Correlator::Piece> pieces_{6};
    Recent<Out> outs_{7};
    double phase_ = 0; // of the mistuning
};
} // namespace decoders::keyed
