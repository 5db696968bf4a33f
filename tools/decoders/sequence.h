// Bits of a phase-continuous FSK signal by sequences, phase and all: each bit is heard in its neighbours too.
// Viterbi's algorithm where every survivor carries its own estimate of the phase (noncoherent sequence
// detection with forgetting: G. Colavolpe, R. Raheli, IEEE Trans. Comm. 47, 1999; per-survivor processing:
// R. Raheli, A. Polydoros, C. Tzou, IEEE Trans. Comm. 43, 1995). Where the signal fades, survivors carry the
// channel in place of the phase: its gain, complex, and how that changes.
#pragma once
#include <array>
#include <cmath>

namespace decoders {
// A complex number whose products don't look for infinities.
struct Phasor {
    float re = 0, im = 0;
    static Phasor turn(float angle) { return {std::cos(angle), std::sin(angle)}; }
    friend Phasor operator*(Phasor a, Phasor b)
    {
        return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    }
    friend Phasor operator*(Phasor a, float b) { return {a.re * b, a.im * b}; }
    friend Phasor operator+(Phasor a, Phasor b) { return {a.re + b.re, a.im + b.im}; }
    friend float energy(Phasor a) { return a.re * a.re + a.im * a.im; }
    Phasor conjugate() const { return {re, -im}; }
};

// Shares of the way to what a bit shows: of the tones' frequencies, and of their amplitudes.
struct Tracking {
    double frequency = 0, amplitude = 0;
    double forgetting = 0.4; // share of the phase's estimate that a bit renews: less for a steadier phase
    bool apart = false;      // the tones may be off by unlike amounts
    // By the channel in place of the phase, if gain isn't 0: shares of what a bit shows of its gain that go
    // into that and into its change from bit to bit (an alpha-beta filter). The tones are taken for as loud
    // and at their frequencies: what is off turns the channel.
    double gain = 0, slope = 0;
};

class SequenceDetector {
public:
    static constexpr int delay = 5; // bits from a bit to its decision

    // Tones in radians a sample.
    SequenceDetector(double tone_1, double tone_2, Tracking tracking);

    // Takes a bit: the correlations with tone 1 and tone 2, as far as the signal's phase is turned against
    // theirs in the middle of the window, and how many samples that is behind the one before. Gives the soft
    // value of the bit delay before it, positive for tone 1.
    float push(Phasor tone_1, Phasor tone_2, int samples);

    // The tones' amplitudes, where the caller knows better than tracking.
    void expect(float tone_1, float tone_2) { amplitude_ = {tone_2, tone_1}; }

private:
    static constexpr unsigned states = 1u << delay; // the last bits, the newest lowest
    using Each = std::array<float, states>;
    // The survivor of each state.
    struct Survivors {
        Each likely{};               // logarithm, against the best
        Each re{}, im{};             // sum of what was heard, turned to the phase of now, fading; the channel
        Each size{};                 // magnitude of the sum
        Each slope_re{}, slope_im{}; // of the channel, a bit
    };
    // From each state two lead on, by the newest bit, to states that two lead to: by the oldest bit, which is
    // decided now.
    using Ways = std::array<Survivors, 2>;
    using Both = std::array<Phasor, 2>; // of tone 2, tone 1
    void extend_by_phase(const Both& tone, const Both& half, Ways& to) const;
    void extend_by_channel(const Both& tone, const Both& half, Ways& to) const;
    void follow(unsigned newest, unsigned before, Phasor heard, Phasor phase, int samples);

    const std::array<double, 2> omega_; // tone 2, tone 1
    const Tracking tracking_;
    std::array<double, 2> phase_{};  // of the tones in the middle of the newest bit
    std::array<double, 2> offset_{}; // radians a sample: the signal's tones above these
    std::array<float, 2> amplitude_{1, 1};
    Survivors survivors_, next_;
};
} // namespace decoders
