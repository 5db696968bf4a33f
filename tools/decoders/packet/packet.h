// AX.25 packets.
#pragma once
#include "decoders/decoder.h"

namespace decoders::packet {
constexpr int default_effort = 14, default_hf_effort = 13, most_effort = 17, most_g3ruh_effort = 4;
constexpr double g3ruh_highest = 8000; // Hz that its pulses take up

struct Settings {
    bool hf = false;     // 300 Bd between 1600 and 1800 Hz, as on short wave; else 1200 Bd, 1200 and 2200 Hz
    bool g3ruh = false;  // 9600 Bd on the carrier itself, scrambled
    bool repair = false; // mends up to three places of a frame where two branches agree
    std::optional<int> effort; // branches that listen, 1 to the most above; else the default
};

// A message a frame, as "source>destination,path:text".
MadeDecoder make_packet(double rate, const Settings& settings, Emit emit);
} // namespace decoders::packet
