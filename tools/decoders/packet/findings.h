// The frames that several branches find side by side, and which of them are told: each once.
#pragma once
#include "decoders/decoder.h"
#include "decoders/intake.h"
#include "decoders/packet/ax25.h"
#include "decoders/packet/fx25.h"
#include <deque>

namespace decoders::packet {
class Findings {
public:
    // Deframes what one branch hears.
    class Listener {
    public:
        explicit Listener(Findings& findings)
            : findings_(findings), deframer_(findings.repair_, findings.echoes_), fx25_(findings.echoes_)
        {
        }

        // Takes the soft value of a bit, as Deframer does, and when it ended, s.
        void push(float soft, double time);

    private:
        Findings& findings_;
        Deframer deframer_;
        Fx25 fx25_;
        int64_t bits_ = 0; // so far
    };

    // Frames go to emit, with their level in the intake.
    Findings(double baud, bool repair, const Intake& intake, Emit emit, Echoes echoes = {})
        : baud_(baud), repair_(repair), intake_(intake), emit_(std::move(emit)), echoes_(echoes)
    {
    }
    Findings(const Findings&) = delete;

    Listener& add_listener() { return listeners_.emplace_back(*this); }
    // It has become that late, s.
    void forget(double now);

private:
    struct Finding {
        Deframer::Found found;
        Ax25 fields;
        double begin, end; // s
        const Listener* listener;
        bool emitted = false;
    };

    void find(const Listener& listener, Deframer::Found found, double end);
    void emit(const Finding& finding);

    const double baud_;
    const bool repair_;
    const Intake& intake_;
    const Emit emit_;
    const Echoes echoes_;
    std::deque<Listener> listeners_;
    std::deque<Finding> findings_;
};
} // namespace decoders::packet
