// Decoders: audio in at any rate, messages out. Settings are plain structs; no decoder knows a command line.
//
//     const auto print = [](const decoders::Message& found) { puts(found.text.c_str()); };
//     auto decoder = decoders::tones::make_dtmf(48000, {}, print);
//     decoder->push(samples, count); // as often as there are some
//     decoder->finish();
//
// A folder is a family of signals. Its header has the settings and the make functions.
#pragma once
#include "words/words.h"
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace decoders {
// What a decoder found.
struct Message {
    double time = 0;             // s, from the start of the audio to the start of the message
    std::string text;            // bytes as sent
    std::optional<double> level; // of the signal, dB: 0 is a sine of full scale
    std::optional<double> snr;   // dB, in the audio's bandwidth of 3 kHz
    std::string frame;        // of modes with frames: its bytes between the flags, without the check sequence
    words::JsonObject fields; // what else there is to tell
};

// Called inside push and finish.
using Emit = std::function<void(const Message&)>;

// One stream on its way through one decoder. A stream cut into pieces anywhere gives the same messages.
class Decoder {
public:
    virtual ~Decoder() = default;
    virtual void push(const int16_t* samples, size_t count) = 0;
    virtual void finish() {} // the stream has ended: what still waits comes out
};
using MadeDecoder = std::unique_ptr<Decoder>;

// ---- Levels, dB ----
inline double decibels(double power) { return 10 * std::log10(power); }
// Of one power over another, where either may be nothing.
inline double decibels_over(double power, double other)
{
    return decibels((power + 1e-15) / (other + 1e-15));
}
// A signal-to-noise ratio in 3 kHz, from one in another bandwidth, Hz.
inline double snr_in_3k(double ratio, double bandwidth) { return decibels(ratio * bandwidth / 3000); }
// To a tenth, as levels are told.
inline double tenth(double value) { return std::round(value * 10) / 10; }

// ---- What make functions throw, beside std::bad_alloc ----
// Settings that can't go together, or lie outside their range.
struct WrongSettings : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};
// What can't be heard in audio at the rate, and why.
struct NotAtThisRate : std::runtime_error {
    NotAtThisRate(const std::string& what, const std::string& why) : std::runtime_error(what + ": " + why) {}
};

// Throws NotAtThisRate if audio at a rate, Hz, can't hold what a decoder listens to up to a frequency, Hz:
// sampling wants twice as much, and filters a little more.
inline void require(double rate, double frequency, const std::string& what)
{
    constexpr double usable = 0.47; // of the rate: up to here decoders read a clean signal
    if (frequency > usable * rate)
        throw NotAtThisRate(what, "not in audio of " + words::number(rate) + " Hz");
}
// The same of a tone, which is named by its frequency.
inline void require_tone(double rate, double frequency)
{
    require(rate, frequency, "a tone of " + words::number(frequency) + " Hz");
}
} // namespace decoders
