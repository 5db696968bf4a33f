// Headers of the Specific Area Message Encoding (47 CFR 11.31): bits to bursts, bursts to a header by vote.
//
//   ZCZC-ORG-EEE-PSSCCC-PSSCCC+TTTT-JJJHHMM-LLLLLLLL-
//
// A header goes out three times, without a check of its own: three readings of it check each other.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace decoders::bulletins {
struct SameHeader {
    std::string text; // with its last '-'
    std::string originator, event;
    std::vector<std::string> locations;
    std::optional<int> valid, day; // minutes; issued, 1 January is day 1. Without, where they aren't digits
    std::string issued;            // HH:MM, UTC; empty where those aren't digits
    std::string station;           // without the blanks at its end
    // Fields whose value nobody defined, by their names in JSON. Those that don't even have the form of one
    // are impossible; an originator or an event may be newer than the lists.
    std::vector<std::string> invalid;
    bool impossible = false;
};

enum class SameValues { possible, any };
// The header that a text begins with. The text has room for a station of eight characters and a '-'.
std::optional<SameHeader> parse_same(const std::string& text, SameValues values = SameValues::possible);

class SameReceiver {
public:
    // A bit as heard: its soft value, positive for 1, and the power of the tone that it is and of the other.
    struct Bit {
        float soft, tone, other;
    };
    struct Burst {
        int64_t begin;         // bits before the first one of its preamble
        std::vector<Bit> bits; // behind the preamble
        int errors;            // of its sync
        bool done = false, emitted = false;
        std::string bytes() const;
    };
    // A burst that was understood, header or end of message.
    struct Found {
        std::optional<SameHeader> header; // none: end of message
        Burst burst;
        int number;   // of the header's bursts, from 1
        int agreeing; // bursts up to now that read just so
        int mended;   // characters of this one that the others corrected
    };

    std::vector<Found> push(Bit bit);
    // What waits for another burst comes out.
    std::vector<Found> finish();

private:
    struct Vote {
        std::optional<SameHeader> header;
        float weakest = 9; // of the sums of its bits, 1 for each burst that is as sure as at its beginning
    };
    void add(std::vector<Found>& found);
    void settle(std::vector<Found>& found, bool last);
    Vote vote() const;
    bool agreed(const std::string& text) const;
    std::optional<SameHeader> repeated() const;
    bool better_open(int errors);
    void begin_burst(int errors, std::vector<Found>& found);
    void end_burst();

    int64_t position_ = 0;             // bits so far
    uint64_t last_ = 0;                // the last 64, the newest lowest
    std::vector<Bit> recent_;          // the same, the oldest first
    std::vector<Burst> bursts_;        // of one header
    std::optional<SameHeader> header_; // set: two bursts agreed on it
    int64_t active_ = 0;               // position_ when a burst last ended
    std::vector<Burst> ends_;          // of message, the last ones
};
} // namespace decoders::bulletins
