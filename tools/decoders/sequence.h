// Bits of a phase-continuous FSK signal by sequences: a few bits at once are compared to all that could
// have been sent, phase and all: each is heard in its neighbours too (noncoherent block detection of CPFSK:
// W. P. Osborne, M. B. Luntz, IEEE Trans. Comm. 22, 1974; J. G. Proakis, Digital Communications, ch. 5).
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

// Shares of the way to what a bit shows: of the signal's frequency, and of its tones' amplitudes.
struct Tracking {
    double frequency = 0, amplitude = 0;
};

class SequenceDetector {
public:
    static constexpr int span = 5; // bits in a sequence

    // Tones in radians a sample.
    SequenceDetector(double tone_1, double tone_2, Tracking tracking);

    // Takes a bit: the correlations with tone 1 and tone 2, as far as the signal's phase is turned against
    // theirs in the middle of the window, and how many samples that is behind the one before. Gives the soft
    // value of the bit span / 2 before it, positive for tone 1.
    float push(Phasor tone_1, Phasor tone_2, int samples);

    // The tones' amplitudes, where the caller knows better than tracking.
    void expect(float tone_1, float tone_2) { amplitude_ = {tone_2, tone_1}; }

private:
    struct Bit {
        std::array<Phasor, 2> tone; // correlations: tone 2, tone 1
        std::array<Phasor, 2> half; // back over half the way from the bit before, at each tone
        int samples = 1;            // the way
    };
    void follow(unsigned best, Phasor sum);

    const std::array<double, 2> omega_; // tone 2, tone 1
    const Tracking tracking_;
    std::array<double, 2> phase_{}; // of the tones in the middle of the newest bit
    double offset_ = 0;             // radians a sample: the signal above the tones
    std::array<float, 2> amplitude_{1, 1};
    std::array<Bit, span> bits_; // oldest first
};
} // namespace decoders
