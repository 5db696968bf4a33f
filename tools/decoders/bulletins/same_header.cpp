#include "decoders/bulletins/same_header.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace decoders::bulletins {
namespace {
constexpr size_t least_bytes = 42, most_bytes = 268; // with one location and with 31
constexpr size_t station_length = 8;
constexpr int bursts_sent = 3;
constexpr int preamble_bits = 16 * 8;
constexpr double second = 3125.0 / 6; // bits

// Of the vote on each bit, where no two bursts agree on a character: with less, more is wrong than right.
constexpr float least_margin = 0.5f;

// The last half of what a sync looks for goes into the burst.
constexpr int sync_bits = 64, text_bits = 32;

// Four bytes of preamble and four characters, the first bit highest: bytes go out lowest bit first.
constexpr uint64_t pattern(const char* text)
{
    uint64_t bits = 0;
    for (int k = 0; k < 8; ++k)
        for (int n = 0; n < 8; ++n) bits = bits << 1 | (uint8_t(k < 4 ? 0xab : text[k - 4]) >> n & 1);
    return bits;
}
// Bits of 64 that may be wrong: what noise makes of a header the parser refuses, an end has no parser.
constexpr uint64_t header_sync = pattern("ZCZC"), end_sync = pattern("NNNN");
constexpr int header_errors = 10, end_errors = 4;

bool digit(char c) { return c >= '0' && c <= '9'; }
bool code(char c) { return digit(c) || (c >= 'A' && c <= 'Z'); }

// Eight soft values a byte, the lowest bit first; what is left over is left out.
template <class Value, class Soft>
std::string bytes_of(const std::vector<Value>& values, Soft soft)
{
    std::string bytes(values.size() / 8, 0);
    for (size_t k = 0; k < bytes.size() * 8; ++k)
        bytes[k / 8] = char(bytes[k / 8] | (soft(values[k]) > 0) << k % 8);
    return bytes;
}

// A place in a text that moves on over what fits.
struct Cursor {
    const std::string& text;
    size_t at = 0;
    bool good = true;

    std::string take(size_t count, bool (*fits)(char))
    {
        std::string part = at < text.size() ? text.substr(at, count) : "";
        good = good && part.size() == count && std::ranges::all_of(part, fits);
        at += count;
        return part;
    }
    void expect(const char* wanted)
    {
        for (; *wanted; ++wanted, ++at) good = good && at < text.size() && text[at] == *wanted;
    }
    int number(size_t count, int most)
    {
        const std::string digits = take(count, digit);
        const int value = good ? std::stoi(digits) : 0;
        good = good && value <= most;
        return value;
    }
};
} // namespace

std::optional<SameHeader> parse_same(const std::string& text)
{
    SameHeader header;
    Cursor cursor{text};
    cursor.expect("ZCZC-");
    header.originator = cursor.take(3, code);
    cursor.expect("-");
    header.event = cursor.take(3, code);
    do {
        cursor.expect("-");
        header.locations.push_back(cursor.take(6, digit));
    } while (cursor.good && cursor.at < text.size() && text[cursor.at] == '-');
    cursor.expect("+");
    header.valid = cursor.number(2, 99) * 60;
    header.valid += cursor.number(2, 59);
    cursor.expect("-");
    header.day = cursor.number(3, 366);
    header.hour = cursor.number(2, 23);
    header.minute = cursor.number(2, 59);
    cursor.expect("-");
    // Eight characters by the rules; what not all senders fill up ends at its '-'.
    const std::string rest = cursor.at < text.size() ? text.substr(cursor.at, station_length + 1) : "";
    const size_t length = rest.size() <= station_length ? 0
                          : rest[station_length] == '-' ? station_length
                                                        : std::min(rest.find('-'), rest.size());
    header.station = cursor.take(length, [](char c) { return c >= ' ' && c <= '~'; });
    cursor.expect("-");
    if (!cursor.good || header.day == 0 || length == 0) return {};
    header.text = text.substr(0, cursor.at);
    header.station.erase(header.station.find_last_not_of(' ') + 1);
    return header;
}

std::string SameReceiver::Burst::bytes() const
{
    return bytes_of(bits, [](const Bit& bit) { return bit.soft; });
}

std::vector<SameReceiver::Found> SameReceiver::push(Bit bit)
{
    std::vector<Found> found;
    ++position_;
    last_ = last_ << 1 | (bit.soft > 0);
    recent_.push_back(bit);
    if (recent_.size() > size_t(text_bits)) recent_.erase(recent_.begin());
    const int errors = std::popcount(last_ ^ header_sync), errors_of_end = std::popcount(last_ ^ end_sync);
    if (errors <= header_errors && errors < errors_of_end && !better_open(errors))
        begin_burst(errors, found);
    else if (errors_of_end <= end_errors &&
             (ends_.empty() || position_ - ends_.back().begin > text_bits + preamble_bits + sync_bits)) {
        settle(found, true);
        if (!ends_.empty() && double(position_ - ends_.back().begin) > 4 * second) ends_.clear();
        ends_.push_back({position_ - text_bits - preamble_bits, recent_, 0, true, true});
        const auto agreeing = std::ranges::count(ends_, "NNNN", &Burst::bytes);
        int mended = 0;
        for (const char c : ends_.back().bytes()) mended += c != 'N';
        found.push_back({{}, ends_.back(), int(ends_.size()), int(agreeing), mended});
    } else if (!bursts_.empty() && !bursts_.back().done) {
        Burst& burst = bursts_.back();
        burst.bits.push_back(bit);
        if (burst.bits.size() % 8 == 0) add(found);
    } else if (!bursts_.empty() &&
               double(position_ - active_) > 3.5 * second + double(bursts_.back().bits.size()))
        settle(found, true);
    return found;
}

std::vector<SameReceiver::Found> SameReceiver::finish()
{
    std::vector<Found> found;
    settle(found, true);
    return found;
}

// Preamble and characters are a little alike: of syncs a few bytes apart the best one holds.
bool SameReceiver::better_open(int errors)
{
    if (bursts_.empty() || bursts_.back().done || bursts_.back().bits.size() >= sync_bits) return false;
    if (bursts_.back().errors <= errors) return true;
    bursts_.pop_back();
    return false;
}

void SameReceiver::begin_burst(int errors, std::vector<Found>& found)
{
    if (!bursts_.empty() && !bursts_.back().done) {
        end_burst();
        settle(found, false);
    }
    if (bursts_.size() == bursts_sent) settle(found, true);
    bursts_.push_back({position_ - text_bits - preamble_bits, recent_, errors});
}

// Noise that looked like a sync goes; what is a header but for some characters has a voice.
void SameReceiver::end_burst()
{
    bursts_.back().done = true;
    active_ = position_;
    const std::string bytes = bursts_.back().bytes();
    const auto likely = std::ranges::count_if(bytes.substr(0, least_bytes), [](char c) {
        return code(c) || c == '-' || c == '+' || c == ' ' || c == '/';
    });
    if (likely < ptrdiff_t(std::min(bytes.size(), least_bytes) / 2)) bursts_.pop_back();
}

// A byte more of the burst: it ends where the header does, as it reads by itself or with the others' help.
void SameReceiver::add(std::vector<Found>& found)
{
    Burst& burst = bursts_.back();
    const std::string bytes = burst.bytes();
    const auto own = parse_same(bytes), voted = header_ ? header_ : vote().header;
    const bool ended = own || (voted && bytes.size() >= voted->text.size());
    if (!ended && bytes.size() < most_bytes) return;
    end_burst();
    if (own && bursts_.size() > 1) {
        // Is it another header's?
        Burst first = std::move(burst);
        bursts_.pop_back();
        const auto before = header_ ? header_ : vote().header;
        size_t unlike = 0;
        for (size_t k = 0; before && k < std::min(own->text.size(), before->text.size()); ++k)
            unlike += own->text[k] != before->text[k];
        if (before && (unlike > 6 || own->text.size() != before->text.size())) settle(found, true);
        bursts_.push_back(std::move(first));
    }
    settle(found, false);
}

// Bit by bit: each burst has a voice, the louder the surer it is, but none drowns two others.
SameReceiver::Vote SameReceiver::vote() const
{
    std::vector<float> sum;
    for (const Burst& burst : bursts_) {
        float mean = 0;
        for (size_t k = 0; k < text_bits; ++k) mean += std::fabs(burst.bits[k].soft) / text_bits;
        sum.resize(std::max(sum.size(), burst.bits.size()));
        for (size_t k = 0; k < burst.bits.size(); ++k)
            sum[k] += std::clamp(burst.bits[k].soft / std::max(mean, 1e-9f), -1.5f, 1.5f);
    }
    Vote vote;
    vote.header = parse_same(bytes_of(sum, [](float value) { return value; }));
    for (size_t k = 0; vote.header && k < vote.header->text.size() * 8; ++k)
        vote.weakest = std::min(vote.weakest, std::fabs(sum[k]));
    return vote;
}

// Each character as two bursts read it.
bool SameReceiver::agreed(const std::string& text) const
{
    std::vector<int> voices(text.size());
    for (const Burst& burst : bursts_) {
        const std::string bytes = burst.bytes();
        for (size_t k = 0; k < std::min(text.size(), bytes.size()); ++k) voices[k] += bytes[k] == text[k];
    }
    return std::ranges::all_of(voices, [](int voice) { return voice >= 2; });
}

// Gives the bursts of a header on which two agree, or of which there are no more to come.
void SameReceiver::settle(std::vector<Found>& found, bool last)
{
    if (last && !bursts_.empty() && !bursts_.back().done) end_burst();
    if (!header_) {
        Vote voted = vote();
        if (voted.header && (agreed(voted.header->text) || (last && voted.weakest >= least_margin)))
            header_ = std::move(voted.header);
    }
    if (header_) {
        const std::string& text = header_->text;
        int agreeing = 0;
        for (size_t n = 0; n < bursts_.size(); ++n) {
            Burst& burst = bursts_[n];
            if (!burst.done) continue;
            const std::string bytes = burst.bytes();
            int mended = 0;
            for (size_t k = 0; k < text.size(); ++k) mended += k >= bytes.size() || bytes[k] != text[k];
            agreeing += mended == 0;
            if (std::exchange(burst.emitted, true) || mended > int(text.size()) / 2) continue;
            found.push_back({header_, burst, int(n + 1), agreeing, mended});
        }
    }
    if (!last) return;
    bursts_.clear();
    header_.reset();
}
} // namespace decoders::bulletins
