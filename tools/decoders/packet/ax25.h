// AX.25 frames (version 2.2): from the levels of a line to what stands in a frame.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace decoders::packet {
// A frame as fields. Call signs with SSID, as AB1CD-7, in characters of 7 bits.
struct Ax25 {
    std::string source, destination;
    std::vector<std::string> path; // digipeaters, '*' behind the last that has repeated the frame
    std::string kind;              // UI, I, RR, SABM, ...
    int control = 0, pid = -1;     // pid -1: none
    std::string info;
    bool plain_calls = false, shown_calls = false; // of capitals and digits alone; without control characters
    // SRC>DST,PATH:INFO; frames other than UI tell their kind before the info, in <>.
    std::string monitor() const;
    // Of a UI frame between plain calls whose text a person or a program wrote: printable, or few bytes that
    // aren't.
    bool plausible() const;
};

// The fields of a frame without its check sequence, any characters in its call signs. Nothing if it hasn't
// two to ten addresses and a control field: in noise, that many bits of framing and the check sequence are
// right once in 10^9 frames.
std::optional<Ax25> parse_ax25(const std::string& frame);

// Of a line that was descrambled: a level that was heard wrong makes those wrong again that come so many
// later.
using Echoes = std::span<const int>;

// Finds frames in a stream of levels: NRZI (a change is a 0), HDLC flags and bit stuffing, CRC-16/X.25.
class Deframer {
public:
    struct Found {
        std::string frame;         // without the check sequence
        int flipped = 0;           // levels that were mended
        std::optional<int> mended; // of FX.25: bytes that its code mended
        int64_t begin, end; // levels since the first one: behind the opening flag, behind the closing one
    };
    // Repair flips levels at the weakest places of a frame with a bad check sequence, and takes a plausible
    // result.
    explicit Deframer(bool repair, Echoes echoes = {}) : repair_(repair), echoes_(echoes) {}

    // Takes the soft value of a bit, whose sign is its level; its magnitude is of the newest level heard
    // where there are echoes. Gives a frame when its closing flag ends.
    std::optional<Found> push(float soft);

private:
    std::optional<Found> read() const;

    const bool repair_;
    const Echoes echoes_;
    int64_t position_ = 0;          // levels so far
    uint8_t last_ = 0;              // the last eight data bits, the newest highest
    bool open_ = false;             // behind a flag
    std::vector<float> soft_ = {0}; // of the frame so far, from the level before its first bit on
};
} // namespace decoders::packet
