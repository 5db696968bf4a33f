#include "decoders/packet/ax25.h"
#include "decoders/blocks.h"
#include "decoders/packet/mend.h"
#include <algorithm>
#include <array>
#include <utility>

namespace decoders::packet {
namespace {
constexpr size_t address_bytes = 7;
constexpr size_t call_bytes = 6;
constexpr int least_bytes = 17;  // two addresses, control, check sequence
constexpr int most_bytes = 2125; // ten addresses, two of control, pid, 2048 of info, check sequence
constexpr size_t most_levels = most_bytes * 8 * 6 / 5 + 16;
constexpr uint8_t flag = 0x7e;

constexpr auto crc_table = [] {
    std::array<uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? crc_polynomial : 0);
        table[byte] = uint16_t(crc);
    }
    return table;
}();

// The bytes of a frame whose levels stand from the one before its first bit to the last of the closing flag.
// False if the bits aren't a frame with a good check sequence.
bool unstuff(const std::vector<bool>& levels, std::string& frame)
{
    frame.clear();
    uint16_t crc = 0xffff;
    unsigned byte = 0, bits = 0, ones = 0;
    for (size_t k = 1; k + 8 < levels.size(); ++k) { // the flag is the last eight
        const bool bit = levels[k] == levels[k - 1];
        if (!bit && ones == stuffed_behind) {
            ones = 0;
            continue;
        }
        ones = bit ? ones + 1 : 0;
        if (ones > stuffed_behind) return false;
        byte = byte >> 1 | (bit ? 0x80u : 0);
        if (++bits % 8 == 0) {
            frame += char(byte);
            crc = uint16_t(crc >> 8 ^ crc_table[(crc ^ byte) & 255]);
        }
    }
    if (bits % 8 != 0 || frame.size() < least_bytes || crc != crc_residue) return false;
    frame.resize(frame.size() - 2);
    return true;
}

// The lowest bit of an address byte tells the end of all addresses, so it is 0 in a call sign.
bool address_is_framed(const uint8_t* address)
{
    return std::all_of(address, address + call_bytes, [](uint8_t byte) { return (byte & 1) == 0; });
}

// Six characters shifted left by one bit, of which blanks behind don't count, and the SSID.
std::string call_sign(const uint8_t* address)
{
    std::string text;
    for (size_t k = 0; k < call_bytes; ++k) text += char(address[k] >> 1);
    text.erase(text.find_last_not_of(' ') + 1);
    const int ssid = address[call_bytes] >> 1 & 15;
    return ssid ? text + "-" + std::to_string(ssid) : text;
}

// Of capitals and digits, as stations are licensed.
bool is_plain(const std::string& call)
{
    const size_t end = std::min(call.find('-'), call.size());
    return end > 0 && std::all_of(call.begin(), call.begin() + ptrdiff_t(end),
                                  [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

bool is_shown(const std::string& call)
{
    return std::ranges::all_of(call, [](char c) { return c >= ' ' && c <= '~'; });
}

// Names of control fields, modulo 8.
std::string kind_of(int control)
{
    constexpr const char* supervisory[] = {"RR", "RNR", "REJ", "SREJ"};
    constexpr std::pair<int, const char*> unnumbered[] = {{0x03, "UI"},   {0x0f, "DM"},  {0x2f, "SABM"},
                                                          {0x43, "DISC"}, {0x63, "UA"},  {0x6f, "SABME"},
                                                          {0x87, "FRMR"}, {0xaf, "XID"}, {0xe3, "TEST"}};
    if ((control & 1) == 0) return "I";
    if ((control & 3) == 1) return supervisory[control >> 2 & 3];
    for (const auto& [code, name] : unnumbered)
        if ((control & ~0x10) == code) return name; // but for the poll bit
    return "U";
}
} // namespace

std::optional<Ax25> parse_ax25(const std::string& frame)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(frame.data());
    constexpr size_t most = 10;
    size_t count = 0;
    do {
        if (count == most || (count + 1) * address_bytes >= frame.size() ||
            !address_is_framed(bytes + count * address_bytes))
            return {};
        ++count;
    } while (!(bytes[count * address_bytes - 1] & 1));
    if (count < 2) return {};

    Ax25 fields;
    fields.destination = call_sign(bytes);
    fields.source = call_sign(bytes + address_bytes);
    size_t repeated = 0;
    for (size_t k = 2; k < count; ++k) {
        fields.path.push_back(call_sign(bytes + k * address_bytes));
        if (bytes[k * address_bytes + 6] & 0x80) repeated = k;
    }
    const auto all = [&fields](bool (*are)(const std::string&)) {
        return are(fields.destination) && are(fields.source) && std::ranges::all_of(fields.path, are);
    };
    fields.plain_calls = all(is_plain);
    fields.shown_calls = all(is_shown);
    if (repeated) fields.path[repeated - 2] += '*';
    size_t at = count * address_bytes;
    fields.control = bytes[at++];
    fields.kind = kind_of(fields.control);
    if ((fields.kind == "UI" || fields.kind == "I") && at < frame.size()) fields.pid = bytes[at++];
    fields.info = frame.substr(at);
    return fields;
}

std::string Ax25::monitor() const
{
    std::string text = source + ">" + destination;
    for (const std::string& digipeater : path) text += "," + digipeater;
    return text + ":" + (kind == "UI" ? "" : "<" + kind + ">") + info;
}

bool Ax25::plausible() const
{
    // Line ends, and what compressed positions hold.
    constexpr uint8_t unshown[] = {'\r', '\n', 0x1c, 0x1d, 0x7f};
    return plain_calls && kind == "UI" && pid == 0xf0 && !info.empty() &&
           std::ranges::all_of(info, [&](char c) {
               return (uint8_t(c) >= ' ' && uint8_t(c) < 0x7f) || std::ranges::count(unshown, uint8_t(c));
           });
}

std::optional<Deframer::Found> Deframer::push(float soft)
{
    const bool level = soft >= 0, bit = level == (soft_.back() >= 0);
    ++position_;
    last_ = uint8_t(last_ >> 1 | (bit ? 0x80 : 0));
    soft_.push_back(soft);
    std::optional<Found> found;
    if (last_ == flag) {
        if (open_ && soft_.size() > least_bytes * 8) found = read();
        open_ = true;
    } else {
        // Seven ones end a frame, but for one that may be mended.
        const bool abort = (last_ & 0xfe) == 0xfe && !repair_;
        if (open_ && !abort && soft_.size() <= most_levels) return {};
        open_ = false;
    }
    soft_.assign(1, soft);
    return found;
}

std::optional<Deframer::Found> Deframer::read() const
{
    Found found{.begin = position_ - int64_t(soft_.size()) + 1, .end = position_};
    std::vector<bool> levels(soft_.size());
    for (size_t k = 0; k < levels.size(); ++k) levels[k] = soft_[k] >= 0;
    if (unstuff(levels, found.frame)) return found;
    if (!repair_) return {};

    for (Mender mender(soft_, echoes_); const auto mended = mender.next();) {
        if (!unstuff(*mended, found.frame)) continue;
        const auto fields = parse_ax25(found.frame);
        if (!fields || !fields->plausible()) continue;
        for (size_t k = 0; k < levels.size(); ++k) found.flipped += levels[k] != (*mended)[k];
        return found;
    }
    return {};
}
} // namespace decoders::packet
