// What can be set of packets.
#include "decoders/modes.h"
#include "decoders/packet/packet.h"

namespace decoders::packet {
using words::number;

Modes modes()
{
    const auto s = std::make_shared<Settings>();
    const std::string efforts = "branches that listen, 1 to " + number(most_effort) + " (" +
                                number(default_effort) + ", with {hf} " + number(default_hf_effort) +
                                "); with {g3ruh} 1 to " + number(most_g3ruh_effort) + ", and all if left out";
    return {{.name = "packet",
             .help = "AX.25 packets, 1200 Bd AFSK ({hf}: 300 Bd; {g3ruh}: 9600 Bd)",
             .make = made_by(s, make_packet),
             .settings = {{"hf", "300 Bd between 1600 and 1800 Hz", Setting::Flag{[s] { s->hf = true; }}},
                          {"g3ruh", "9600 Bd on the carrier itself, scrambled",
                           Setting::Flag{[s] { s->g3ruh = true; }}},
                          {"repair", "mend up to three places of a frame where two branches agree",
                           Setting::Flag{[s] { s->repair = true; }}},
                          {"effort", efforts,
                           Setting::Quantity{[s](double n) { s->effort = int(n); }, {1, most_effort, true}},
                           "N"}},
             .has_frames = true,
             .audio_cutoff = [s] { return s->g3ruh ? std::optional(g3ruh_highest) : std::nullopt; }}};
}
} // namespace decoders::packet
