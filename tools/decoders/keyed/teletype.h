// Text keyed between two tones: radioteletype and the ASCII of modems. A line of text is a message.
#pragma once
#include "decoders/decoder.h"
#include "decoders/keyed/alphabet.h"

namespace decoders::keyed {
constexpr Tones amateur = {2125, 2295, 1000 / 22.0}; // of radioteletype: 22 ms a bit

// Modems by name; of two sides, the first is the one that calls.
struct Modem {
    const char* name;
    Tones tones;
};
// clang-format off
constexpr Modem modems[] = {
    //                 mark  space  baud
    {"bell103",        {1270, 1070,  300}},
    {"bell103-answer", {2225, 2025,  300}},
    {"bell202",        {1200, 2200, 1200}},
    {"v21",            { 980, 1180,  300}},
    {"v21-answer",     {1650, 1850,  300}},
    {"v23",            {1300, 2100, 1200}},
    {"v23-back",       { 390,  450,   75}},
};
// clang-format on

// Either throws WrongSettings if the tones are nearer to each other than 0.3 baud.
MadeDecoder make_rtty(double rate, const Tones& tones, const Ita2::Options& options, Emit emit);
MadeDecoder make_ascii(double rate, const Tones& tones, const Ascii::Options& options, Emit emit);
} // namespace decoders::keyed
