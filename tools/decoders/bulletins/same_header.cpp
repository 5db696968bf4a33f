#include "decoders/bulletins/same_header.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <string_view>
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

// Originators and events of 47 CFR 11.31 and of weather radio in the United States and Canada.
constexpr std::string_view originators = "EAS CIV WXR PEP EAN";
constexpr std::string_view events =
    "ADR AVA AVW BHS BLU BWW BZW CAE CDW CEM CFA CFW CHW CWW DBA DBW DEW DMO DSW EAN EAT EQW EVA EVI EWW FCW "
    "FFA FFS FFW FLA FLS FLW FRW FSW FZW HLS HMW HUA HUW HWA HWW IBW IFW LAE LEW LSW MEP NAT NIC NMN NPT NST "
    "NUW POS RHW RMT RWT SMW SPS SPW SQW SSA SSW SVA SVR SVS TOA TOE TOR TRA TRW TSA TSW TXB TXF TXO TXP VOA "
    "VOW WFA WFW WSA WSW";
constexpr size_t most_locations = 31, longest_field = 16;

bool listed(std::string_view codes, const std::string& wanted)
{
    return wanted.size() == 3 && codes.find(wanted) % 4 == 0;
}

bool all(const std::string& text, size_t count, bool (*fits)(char))
{
    return text.size() == count && std::ranges::all_of(text, fits);
}

// So many digits of a text as a number.
std::optional<int> number(const std::string& text, size_t at, size_t count)
{
    const std::string digits = text.substr(std::min(at, text.size()), count);
    if (!all(digits, count, digit)) return {};
    return std::stoi(digits);
}

bool within(const std::optional<int>& value, int least, int most)
{
    return value && *value >= least && *value <= most;
}
} // namespace

std::optional<SameHeader> parse_same(const std::string& text, SameValues values)
{
    constexpr std::string_view start = "ZCZC-";
    if (!text.starts_with(start)) return {};
    size_t at = start.size();
    char end = 0;
    // A field and, in `end`, the sign behind it.
    const auto field = [&](const char* ends) {
        const size_t behind = text.find_first_of(ends, at);
        end = behind == std::string::npos || behind - at > longest_field ? char(0) : text[behind];
        std::string part = end ? text.substr(at, behind - at) : "";
        at = behind + 1;
        return part;
    };
    SameHeader header;
    header.originator = field("-+");
    if (end == '-') header.event = field("-+");
    while (end == '-') header.locations.push_back(field("-+"));
    if (end != '+') return {};
    const std::string valid = field("-"), issued = end ? field("-") : "";
    if (!end) return {};
    // Eight characters by the rules; what not all senders fill up ends at its '-'.
    constexpr size_t filled = station_length;
    if (at + filled < text.size() && text[at + filled] == '-') {
        header.station = text.substr(at, filled);
        at += filled + 1;
    } else {
        if (at + filled >= text.size()) return {};
        header.station = field("-");
        if (!end) return {};
    }
    header.text = text.substr(0, at);
    if (!std::ranges::all_of(header.text, [](char c) { return c >= ' ' && c <= '~'; })) return {};

    if (const auto hours = number(valid, 0, 2), minutes = number(valid, 2, 2); hours && minutes)
        header.valid = *hours * 60 + *minutes;
    header.day = number(issued, 0, 3);
    if (number(issued, 3, 4)) header.issued = issued.substr(3, 2) + ":" + issued.substr(5, 2);
    const auto judge = [&](const char* name, bool is_possible, bool is_listed = true) {
        if (!is_possible || !is_listed) header.invalid.push_back(name);
        header.impossible |= !is_possible;
    };
    judge("originator", all(header.originator, 3, code), listed(originators, header.originator));
    judge("event", all(header.event, 3, code), listed(events, header.event));
    judge("locations", !header.locations.empty() && header.locations.size() <= most_locations &&
                           std::ranges::all_of(header.locations, [](const std::string& place) {
                               return all(place, 6, digit);
                           }));
    judge("valid_minutes", valid.size() == 4 && header.valid && within(number(valid, 2, 2), 0, 59));
    judge("day", within(header.day, 1, 366));
    judge("issued",
          issued.size() == 7 && within(number(issued, 3, 2), 0, 23) && within(number(issued, 5, 2), 0, 59));
    judge("station", !header.station.empty() && header.station.size() <= station_length);
    if (header.impossible && values == SameValues::possible) return {};
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
    const bool ended = own || (voted && bytes.size() >= voted->text.size()) || repeated();
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

// What the newest burst has read just as one before it was sent, whatever its values: nothing was guessed.
std::optional<SameHeader> SameReceiver::repeated() const
{
    if (bursts_.size() < 2) return {};
    auto header = parse_same(bursts_.back().bytes(), SameValues::any);
    const auto same = [&](const Burst& burst) { return burst.bytes().starts_with(header->text); };
    if (!header || std::none_of(bursts_.begin(), bursts_.end() - 1, same)) return {};
    return header;
}

// Gives the bursts of a header on which two agree, or of which there are no more to come.
void SameReceiver::settle(std::vector<Found>& found, bool last)
{
    if (last && !bursts_.empty() && !bursts_.back().done) end_burst();
    if (!header_) {
        Vote voted = vote();
        if (voted.header && (agreed(voted.header->text) || (last && voted.weakest >= least_margin)))
            header_ = std::move(voted.header);
        else
            header_ = repeated();
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
