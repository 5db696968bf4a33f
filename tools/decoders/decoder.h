// Decoders: audio in at any rate, messages out. What the modes of zovek decode have in common.
//
// A family of modes is one file: it names its modes in a list, adds the options that they share, and is a row of
// the table in decode.cpp.
#pragma once
#include "line/failure.h"
#include "line/options.h"
#include "words/words.h"
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace decoders {
using namespace client;
using namespace words;
// What a decoder found.
struct Message {
    double time = 0;             // s, from the start of the audio to the start of the message
    std::string text;            // bytes as sent; made printable on the way out
    std::optional<double> level; // of the signal, dB: 0 is a sine of full scale
    std::optional<double> snr;   // dB, in the audio's bandwidth of 3 kHz
    JsonObject fields;           // what else the mode tells, in the JSON line alone
};

using Emit = std::function<void(const Message&)>;

// One stream on its way through one mode. A stream cut into pieces anywhere gives the same messages.
class Decoder {
public:
    virtual ~Decoder() = default;
    virtual void push(const int16_t* samples, size_t count) = 0;
    virtual void finish() {} // the stream has ended: what still waits comes out
};

// Fails if audio at a rate, Hz, can't hold what a mode listens to up to a frequency, Hz: sampling wants twice as much,
// and filters a little more.
inline void require(double rate, double frequency, const std::string& what)
{
    constexpr double usable = 0.47; // of the rate: up to here modes read a clean signal
    if (frequency > usable * rate) throw Failure(what, "not in audio of " + number(rate) + " Hz");
}
// The same of a tone, which is named by its frequency.
inline void require_tone(double rate, double frequency)
{
    require(rate, frequency, "a tone of " + number(frequency) + " Hz");
}

struct DataMode {
    const char* name;
    const char* help; // one line
    // A decoder of audio at a rate in Hz, which calls emit inside push and finish.
    std::function<std::unique_ptr<Decoder>(double rate, Emit emit)> make;
    std::vector<Option> options = {}; // that it heeds, beside those of all modes
};

// Each adds its options to the command, and gives its modes; these read the options when a decoder is made.
namespace packet {
std::vector<DataMode> packet_modes(CommandLine& line);
} // namespace packet
namespace tones {
std::vector<DataMode> dtmf_modes(CommandLine& line);
} // namespace tones
namespace tones {
std::vector<DataMode> five_tone_modes(CommandLine& line);
} // namespace tones
namespace tones {
std::vector<DataMode> selcal_modes(CommandLine& line);
} // namespace tones
namespace tones {
std::vector<DataMode> ctcss_modes(CommandLine& line);
} // namespace tones
namespace tones {
std::vector<DataMode> levels_modes(CommandLine& line);
} // namespace tones
namespace bulletins {
std::vector<DataMode> same_modes(CommandLine& line);
} // namespace bulletins
namespace bulletins {
std::vector<DataMode> navtex_modes(CommandLine& line);
} // namespace bulletins
namespace pages {
std::vector<DataMode> pocsag_modes(CommandLine& line);
} // namespace pages
namespace keyed {
std::vector<DataMode> teletype_modes(CommandLine& line);
} // namespace keyed

// --centre, which several families have: the middle of the two tones. Added by the first that asks.
Option centre_option(CommandLine& line);
// What it says, Hz.
std::optional<double> centre_of(Option option);
} // namespace decoders
