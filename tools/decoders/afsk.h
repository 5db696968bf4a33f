// Two-tone audio to soft bits, on the library's FIR filters, delay demodulator and bit synchroniser. The
// correlators are sums that run on, since sequences ask for bit times that end at any sample. Everything runs
// at 20 samples a bit. A front is a filter and a demodulator; branches behind it each have a bit clock and a
// rule of their own.
#pragma once
#include "decoders/blocks.h"
#include "decoders/sequence.h"
#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace decoders {
constexpr int bit_samples = 20;

struct Band {
    double low, high; // Hz, 6 dB down
    int32_t taps;
};

// What a signal is by its rules.
struct Modem {
    double baud, tone_1, tone_2; // Hz
    Band wide, narrow;           // wide lets through all of a bit, narrow little more than the tones
    double delay;                // s, of the delay demodulator: the tones come out at opposite ends

    double rate() const { return baud * bit_samples; } // Hz
};

// How a front hears the audio.
enum class Copy {
    plain,
    clipped, // near its mean magnitude
    raised,  // to the treble, and clipped
};
enum class Width { wide, narrow };
struct Hearing {
    Copy copy = Copy::plain;
    Width width = Width::wide;
    double tilt = 0;       // dB that tone 2 is raised against tone 1
    double offset = 0;     // Hz, of both tones
    bool by_delay = false; // delay demodulator in place of the correlators
    bool operator==(const Hearing&) const = default;
};

// Filter, demodulator, and what the correlators saw of the last bits.
class Front {
public:
    Front(const Modem& modem, const Hearing& hearing);

    const Hearing& hearing() const { return hearing_; }
    // Demodulates a block of whole bits. soft() is then one value a sample, of which the newest stands for
    // the bit that ended delay() samples ago.
    void push(const int16_t* samples, size_t count);
    const std::vector<int16_t>& soft() const { return soft_; }
    int delay() const { return post_delay; }

    // Correlation with tone 1 or tone 2 over the bit time that ended before sample end: the amplitude of a
    // sine, and its phase against the tone's.
    Phasor correlation(int tone, int64_t end) const;
    double omega(int tone) const { return omega_[size_t(tone - 1)]; } // radians a sample
    double lag() const { return lag_; } // s, from the audio to the end of the bit

private:
    static constexpr int post_taps = 21, post_delay = post_taps / 2;
    static constexpr size_t kept = 2048; // samples of correlations, more than a block and a bit
    void correlate(size_t count);

    const Hearing hearing_;
    zovek::FIR band_, post_;
    zovek::FSKDelayDemod discriminator_;
    std::array<double, 2> omega_;                            // of the tones, radians a sample
    std::array<std::array<Phasor, bit_samples>, 2> table_{}; // a bit time of each, turned back
    double lag_;
    std::array<double, 2> phase_{}; // of the tones, at the next sample
    int64_t position_ = 0;          // samples so far
    std::vector<int16_t> filtered_, soft_;
    std::array<double, 4> sum_{};             // of all products so far
    std::vector<std::array<double, 4>> sums_; // before each of the last samples
};

// How a branch decides.
enum class Rule {
    level,    // the sign of the soft stream in the middle of the bit
    sequence, // sequences of bits, phase and all
};

class Branch {
public:
    struct Tuning {
        Rule rule = Rule::sequence;
        double loop_gain = 0.06; // of the bit clock
        double rate_offset = 0;  // of the bit rate, as a part of it
        double rate_reach = 0;   // to either side of that, as far as the clock follows the signal's bit rate
        Tracking tracking = {};
    };
    // Takes the soft value of a bit, and the sample of the front's stream at which it was decided.
    using Take = std::function<void(float soft, int64_t sample)>;
    Branch(const Front& front, const Modem& modem, const Tuning& tuning, Take take);
    Branch(const Branch&) = delete;

    // Goes over the block that the front has just taken.
    void run();

private:
    void decide();
    void follow(double correction);

    const Front& front_;
    const Tuning tuning_;
    const double period_; // samples a bit, as the branch was made
    const Take take_;
    zovek::DataFormatter clock_;
    SequenceDetector sequence_;
    int64_t position_ = 0;               // samples so far, as the clock counts
    int64_t last_end_ = bit_samples / 2; // of the correlations that came last
    int16_t level_ = 0;                  // soft value at the clock's present sample
    bool decided_ = false;               // in the last piece
};
} // namespace decoders
