// FX.25: a packet's HDLC bits as a Reed-Solomon codeword behind a 64-bit tag that tells its size, so that
// bytes can be mended; who doesn't know it hears a plain packet (J. McGuire, I. Galysh, K. Doherty, H. Heidt,
// D. Niemi, "FX.25: Forward Error Correction Extension to AX.25 Link Protocol", 2006).
#pragma once
#include "decoders/packet/ax25.h"
#include <vector>

namespace decoders::packet {
class Fx25 {
public:
    explicit Fx25(Echoes echoes = {}) : echoes_(echoes) {}

    // Takes the soft value of a bit, as Deframer does. Gives the frame of a codeword when its last bit has
    // come; begin and end are those of the frame in it.
    std::optional<Deframer::Found> push(float soft);

private:
    struct Tag {
        uint64_t bits;      // the lowest is sent first
        size_t data, check; // bytes
    };
    struct Codeword {
        const Tag* tag;
        int64_t begin; // levels before its first
    };
    static const Tag tags[];

    std::optional<Deframer::Found> read(const Codeword& codeword) const;
    // How surely a level was heard, and those that it was made from.
    float sureness(int64_t position) const;
    // The soft value of a level so far, the first one being number 0.
    float soft(int64_t position) const { return soft_[size_t(position) % soft_.size()]; }

    const Echoes echoes_;
    std::vector<float> soft_ = std::vector<float>(4096); // the last ones: more than a codeword
    int64_t position_ = 0;                               // levels so far
    uint64_t last_ = 0;                                  // data bits, the newest highest
    std::vector<Codeword> open_;
};
} // namespace decoders::packet
