// Frames whose check sequence is wrong: which levels, heard otherwise, would make it right.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace decoders::packet {
// CRC-16/X.25: x^16 + x^12 + x^5 + 1, bits reflected. A good frame leaves the residue.
constexpr uint16_t crc_polynomial = 0x8408, crc_residue = 0xf0b8;
constexpr unsigned stuffed_behind = 5; // ones, so that no data are taken for a flag

// Goes over the sets of weak places in the order of their summed weakness, the likeliest first, as
// soft-decision decoders of block codes do (ordered statistics; M. Fossorier, S. Lin, IEEE Trans. Inf. Theory
// 41, 1995). The check sequence is linear, so what a place changes in it is told once, and a set takes the
// sum of its places.
class Mender {
public:
    // Soft values, whose signs are the levels, from the one before a frame's first bit to the last of its
    // closing flag; a level that is turned turns those with it that come as many later as echoes tell, the
    // farthest last.
    Mender(const std::vector<float>& soft, std::span<const int> echoes);

    // The levels with the next set of places turned that makes whole bytes and a good check sequence; nothing
    // when no more are to be tried.
    std::optional<std::vector<bool>> next();

private:
    // The receiver behind a level.
    struct State {
        uint16_t crc = 0xffff;
        uint16_t bits = 0; // without the stuffed ones
        uint16_t runs = 0; // ones too many in a row
        uint8_t ones = 0;
        void take(bool bit);
    };
    // Levels that may be wrong together: sequences of bits are told apart by one, or by two near each other.
    struct Place {
        uint32_t first, second; // the same for one
        float weight;
    };
    // What the flip of places makes of a frame.
    struct Effect {
        uint32_t begin, end; // levels behind which the receiver has other states than before
        uint16_t change;     // of the register, behind the last of them
        int left;            // bits from there to the frame's end
        int bits, runs;      // more of them
    };
    using Mask = uint64_t; // of places
    struct Set {
        Mask places = 0;
        uint16_t syndrome = 0;
        int16_t bits = 0, runs = 0;
        uint8_t count = 0;
        bool apart = true; // effects don't meet
        bool even = true;  // no effect changes the number of bits
        float weight = 0;
    };
    // A set and one place more, none of whose places comes behind it.
    struct Try {
        Set set;
        uint8_t place;
        float weight;
    };

    void flip(size_t level);
    void flip(const Place& place);
    Effect effect(uint32_t first, uint32_t last) const; // of what is flipped from place first to last
    void offer(const Set& set, size_t place);
    Set joined(const Set& set, size_t place) const;
    void flip_all(Mask places);
    bool is_right(const Set& set);
    bool is_right_together(Mask places);

    const std::span<const int> echoes_;
    std::vector<bool> levels_;
    std::vector<State> states_;
    std::vector<Place> places_; // by weight
    std::vector<Effect> effects_;
    std::vector<uint16_t> syndromes_; // what they make of the register at the frame's end
    std::vector<Mask> near_, same_; // of a place: those whose effects meet its own, those needless beside it
    std::vector<Try> heap_;         // the lightest first
    int tries_ = 0;
};
} // namespace decoders::packet
