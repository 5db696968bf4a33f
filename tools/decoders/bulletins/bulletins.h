// Warnings and news for many: weather radio and emergency alerts, and NAVTEX.
#pragma once
#include "decoders/decoder.h"

namespace decoders::bulletins {
// ---- Headers of weather radio and the emergency alert system: a message a burst, or a header ----
struct SameSettings {
    bool once = false; // one message a header, as all of its bursts have it
};
MadeDecoder make_same(double rate, const SameSettings& settings, Emit emit);

// ---- NAVTEX and SITOR mode B, 100 Bd, shift 170 Hz: a line a message ----
constexpr double lowest_centre = 400, highest_centre = 3200; // Hz
struct NavtexSettings {
    double centre = 1000; // Hz, of the two tones; those up to 200 Hz beside are found too
};
// Throws WrongSettings for a centre beyond the bounds.
MadeDecoder make_navtex(double rate, const NavtexSettings& settings, Emit emit);
} // namespace decoders::bulletins
