// Mixer and decimating low-pass in single precision: what the library's pair of them gives in 16 bits, with
// the same delay and phase, so that one may stand for the other from any block on.
//
// The library's mixer rounds to 16 bits and its taps have as many. Beside a station that is weak by itself,
// or weak against the rest of the band, these errors are loud.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace client {
class Front {
public:
    // Rate and cut-off in Hz; taps is odd.
    Front(double rate, double cutoff, int32_t taps, int32_t decimation);

    // The next samples, Q31, a multiple of the decimation, mixed with a frequency of the turns of an
    // oscillator: it moves by step places of cycle a sample, and stands at place before the first.
    void take(std::span<const int32_t> band, int32_t place, int32_t step, int32_t cycle);
    // What the samples of the last take become, Q31: one for each decimation.
    void run(int32_t* i, int32_t* q) const;

    // What the library's pair would add to the station over the last take: the mean square of I + jQ, of full
    // scale.
    double library_error() const { return leak_ * std::max(power_, before_) + rounded_; }

private:
    void turn_taps();

    const std::vector<double> low_pass_;
    const size_t decimation_;
    const double leak_, rounded_; // the parts of library_error, of the band's power and by itself
    std::vector<float> real_,
        imaginary_;              // the low-pass turned to the frequency, behind zeros to fill the lanes
    std::vector<float> history_; // as many samples of the takes before, then those of the last
    size_t count_ = 0;           // of the last take
    int32_t place_ = 0, step_ = 0, cycle_ = 0;
    double power_ = 0, before_ = 0; // mean squares of the last take and the one before, of full scale
};
} // namespace client
