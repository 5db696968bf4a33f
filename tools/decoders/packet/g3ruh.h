// AX.25 packets of 9600 Bd, scrambled, as an FM discriminator gives them without filters for speech.
#pragma once
#include "decoders/packet/packet.h"

namespace decoders::packet {
MadeDecoder make_g3ruh(double rate, const Settings& settings, Emit emit);
} // namespace decoders::packet
