// Bits of a phase-continuous FSK signal by sequences: a few bits at once are compared with all that could have been
// sent, phase and all, so that a bit is also heard in its neighbours (noncoherent block detection of CPFSK: J. G.
// Proakis, Digital Communications, ch. 4 and 5; W. P. Osborne, M. B. Luntz, IEEE Trans. Comm. 22, 1974).
#pragma once
#include <array>
#include <cmath>

namespace client::decode {
// Products without the care for infinities that std::complex takes.
struct Phasor {
    float re = 0, im = 0;
    static Phasor turn(double angle) { return {float(std::cos(angle)), float(std::sin(angle))}; }
    Phasor operator+(Phasor b) const { return {re + b.re, im + b.im}; }
    Phasor operator*(Phasor b) const { return {re * b.re - im * b.im, re * b.im + im * b.re}; }
    Phasor operator*(float a) const { return {re * a, im * a}; }
    Phasor conjugate() const { return {re, -im}; }
    float magnitude() const { return std::sqrt(re * re + im * im); }
};

struct Tracking {
    double frequency = 0; // share of the frequency error taken up at each bit
    double amplitude = 0; // share of the way to a tone's amplitude at each bit
};

class SequenceDetector {
public:
    static constexpr int span = 5; // bits in a sequence
    // Tones in radians a sample.
    SequenceDetector(double tone_1, double tone_2, Tracking tracking);

    // Takes a bit: what each tone's correlator holds at its end, turned back to the phase in the middle of its
    // window, and how many samples that is behind the one before. Gives the soft value of the bit span / 2 before
    // it, positive for tone 1.
    float push(Phasor tone_1, Phasor tone_2, int samples);

private:
    struct Bit {
        std::array<Phasor, 2> tone; // correlation with tone 2, tone 1
        std::array<Phasor, 2> half; // half the way of the phase to this bit, backward, at tone 2, tone 1
        double samples = 20;
    };
    void follow(unsigned best, Phasor sum);

    const std::array<double, 2> omega_; // tone 2, tone 1
    const Tracking tracking_;
    double offset_ = 0; // radians a sample: the signal above the tones
    std::array<float, 2> amplitude_{1, 1};
    std::array<Bit, span> bits_; // oldest first
};
} // namespace client::decode
