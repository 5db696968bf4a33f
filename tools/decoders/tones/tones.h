// Single tones and what is signalled by them.
#pragma once
#include "decoders/decoder.h"
#include <vector>

namespace decoders::tones {
// ---- Telephone keys: a line of digits a message ----
struct DtmfSettings {
    double pause = 0.3; // s, between digits that end a line
};
MadeDecoder make_dtmf(double rate, const DtmfSettings& settings, Emit emit);

// ---- Selective calls of five tones: a call a message, its digits 0 to 9 and A to E ----
std::vector<std::string> five_tone_sets(); // names; the first one is the usual one
struct FiveToneSettings {
    std::string set = five_tone_sets().front();
};
MadeDecoder make_five_tone(double rate, const FiveToneSettings& settings, Emit emit);

// ---- Selective calls to aircraft: "AB-CD" a message ----
MadeDecoder make_selcal(double rate, Emit emit);

// ---- Sub-audible tones of FM stations: an over a message ----
MadeDecoder make_ctcss(double rate, Emit emit);

// ---- Levels of given tones over time: "seconds,dB,dB,..." a message ----
struct LevelsSettings {
    std::vector<double> frequencies; // Hz, each above 0 and below half the rate
    double every = 0.1;              // s, above 0
    std::optional<double> width;     // Hz, of a tone's band, below a fifth of the rate; 2 / every
};
MadeDecoder make_levels(double rate, const LevelsSettings& settings, Emit emit);
} // namespace decoders::tones
