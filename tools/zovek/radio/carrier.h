// Where a station's carrier is: for synchronous AM, whose loop holds what it is given and doesn't find it.
//
// Spectra of a quarter of a second show the lines near the dial. A carrier is the line that stays: the
// likeliest path through the spectra is Viterbi's, over states a bin apart (R. L. Streit and R. F. Barrett,
// Frequency Line Tracking Using Hidden Markov Models, 1990). A path stays, drifts by a bin, or pays for a
// leap. Lines whose sidebands are mirror images gain, those far from the dial lose a little. Samples wait
// until the path at their time is known, so a leap is followed where it is and not when it is seen.
#pragma once
#include "radio/gaps.h"
#include <complex>
#include <cstdint>
#include <span>
#include <vector>
#include <zovek.hpp>

namespace client {
class CarrierTrack {
public:
    // Of samples at rate Hz, with the dial at 0 Hz; the carrier is looked for within range, Hz, to either
    // side.
    CarrierTrack(double rate, double range);

    // How many samples of so high a rate wait.
    static int32_t delay_of(double rate);
    // Takes samples and gives, in their place, those that came delay_of samples before, turned so that the
    // carrier stands at 0 Hz. What marks call a gap, all if there are none, shows no carrier.
    void process(int32_t count, int32_t* i, int32_t* q, std::span<const Gap> marks);
    // Goes to where the carrier is by what has come so far: at the end of a first hearing.
    void settle();

    // What stands at 0 Hz, in Hz from the dial; the loop behind corrects it by what it sees.
    double frequency() const { return frequency_; }
    void correct(double hz) { frequency_ += present_ ? hz : 0; }
    // Whether there is a line where the samples that come out have their carrier.
    bool present() const { return present_; }
    // Whether the frequency leapt in the last call.
    bool leapt() const { return leapt_; }

private:
    // A look at a window: by the bin, the power over the background as a natural logarithm, how likely the
    // carrier is there, and the bin before on the best path.
    struct Look {
        bool shows = false; // the station
        std::vector<float> level, likelihood;
        std::vector<int16_t> from;
    };

    void look();
    void weigh(Look& look);
    float mirrored(int bin) const;
    void find_path(Look& look);
    void follow();
    void leap(int64_t middle, double hz);
    const std::complex<float>& spectrum(int bin) const;
    double line_near(const Look& look, int state) const;
    int best_state() const;
    int back(int looks, double& level);
    Look& look_before(int64_t looks) { return looks_[size_t((number_ - looks) % int64_t(looks_.size()))]; }
    std::complex<double>& sample(int64_t at) { return samples_[size_t(at) % samples_.size()]; }

    double rate_;          // Hz
    int64_t hop_, window_; // samples
    int bins_, reach_;     // bins to either side of the dial: searched, in the background
    double bin_hz_;
    zovek::FFT fft_{ZVFFT2Float_Construct};
    std::vector<int32_t> i_, q_;                // a window
    std::vector<std::complex<double>> samples_; // the latest, in a ring
    std::vector<bool> shows_;                   // of each whether it is the station
    int64_t taken_ = 0;                         // samples so far
    std::vector<std::complex<float>> spectrum_;
    std::vector<float> power_, sorted_, scores_, scores_before_;
    std::vector<Look> looks_;       // the latest, in a ring
    int64_t number_ = -1;           // of the last
    double frequency_ = 0;          // Hz
    std::complex<double> turn_ = 1; // of the oscillator that brings the carrier to 0 Hz
    int64_t leap_at_ = -1;          // the sample from which on there is a new frequency
    double leap_hz_ = 0, leap_phase_ = 0;
    bool present_ = false, leapt_ = false;
};

// A phase-locked loop. What it gives is exalted: what lies within a few Hz of the carrier stands higher over
// the sidebands than it did, so that the gain controls behind see the carrier and not the speech. In a gap
// the carrier goes on alone, and what follows is turned into its phase: the loop sees no gap.
class CarrierLoop {
public:
    // At rate Hz; lift is carrier over sidebands.
    CarrierLoop(double rate, double lift);

    // Samples with the carrier about 0 Hz become i = 0, q = what is in phase with the carrier.
    void process(int32_t count, int32_t* i, int32_t* q, std::span<const Gap> marks);
    // Hz by which the loop's frequency goes over, slowly, to an oscillator before it: for so many samples.
    double release(int32_t count);
    // The frequency before it is new, or there is nothing to follow.
    void forget() { step_ = 0; }
    bool locked() const { return coherence_ > 0.75; }

private:
    const double rate_, sidebands_;
    std::complex<double> carrier_;          // 32-bit units
    std::complex<double> turn_ = 1, match_; // behind a gap, and the sum of which it is the direction
    double phase_ = 0, step_ = 0;           // radians, radians a sample
    double coherence_ = 0.5;                // the power's share on the carrier's axis: 1 in lock, 1/2 without
};
} // namespace client
