#include "decode/ax25.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace client::decode {
namespace {
constexpr int least_bytes = 17;  // two addresses, control, check sequence
constexpr int most_bytes = 1100; // ten addresses, control, pid, 1024 of info and some
constexpr size_t most_levels = most_bytes * 8 * 6 / 5 + 16;

// CRC-16/X.25: x^16 + x^12 + x^5 + 1, bits reflected. A frame with its check sequence leaves the residue 0xf0b8.
constexpr auto crc_table = [] {
    std::array<uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0x8408 : 0);
        table[byte] = uint16_t(crc);
    }
    return table;
}();
constexpr uint16_t crc_residue = 0xf0b8;

// The bytes of a frame whose levels stand from the one before its first bit to the last of the closing flag. Empty
// if the bits aren't a frame with a good check sequence.
template <class Level>
bool unstuff(size_t count, Level level, std::string& frame)
{
    frame.clear();
    uint16_t crc = 0xffff;
    unsigned byte = 0, bits = 0, ones = 0;
    for (size_t k = 1; k + 8 < count; ++k) { // the flag is the last eight
        const bool bit = level(k) == level(k - 1);
        if (!bit && ones == 5) {
            ones = 0;
            continue;
        }
        ones = bit ? ones + 1 : 0;
        if (ones > 5) return false;
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

// One address: six characters shifted left by one bit, blanks behind, and the SSID.
bool address_is_sound(const uint8_t* address)
{
    bool blank = false, any = false;
    for (int k = 0; k < 6; ++k) {
        const int c = address[k] >> 1;
        if (address[k] & 1) return false;
        if (c == ' ')
            blank = true;
        else if (blank || !((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return false;
        else
            any = true;
    }
    return any;
}

std::string call_sign(const uint8_t* address)
{
    std::string text;
    for (int k = 0; k < 6; ++k)
        if (address[k] >> 1 != ' ') text += char(address[k] >> 1);
    const int ssid = address[6] >> 1 & 15;
    return ssid ? text + "-" + std::to_string(ssid) : text;
}

// Names of control fields, modulo 8.
std::string kind_of(int control)
{
    if ((control & 1) == 0) return "I";
    if ((control & 3) == 1) {
        constexpr const char* names[] = {"RR", "RNR", "REJ", "SREJ"};
        return names[control >> 2 & 3];
    }
    switch (control & ~0x10) {
    case 0x03:
        return "UI";
    case 0x0f:
        return "DM";
    case 0x2f:
        return "SABM";
    case 0x43:
        return "DISC";
    case 0x63:
        return "UA";
    case 0x6f:
        return "SABME";
    case 0x87:
        return "FRMR";
    case 0xaf:
        return "XID";
    case 0xe3:
        return "TEST";
    }
    return "U";
}
} // namespace

std::optional<Ax25> parse_ax25(const std::string& frame)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(frame.data());
    constexpr size_t size = 7, most = 10;
    size_t count = 0;
    do {
        if (count == most || (count + 1) * size >= frame.size() || !address_is_sound(bytes + count * size))
            return {};
        ++count;
    } while (!(bytes[count * size - 1] & 1));
    if (count < 2) return {};

    Ax25 fields;
    fields.destination = call_sign(bytes);
    fields.source = call_sign(bytes + size);
    size_t repeated = 0;
    for (size_t k = 2; k < count; ++k) {
        fields.path.push_back(call_sign(bytes + k * size));
        if (bytes[k * size + 6] & 0x80) repeated = k;
    }
    if (repeated) fields.path[repeated - 2] += '*';
    size_t at = count * size;
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
    if (kind != "UI" || pid != 0xf0 || info.empty()) return false;
    return std::ranges::all_of(info, [](char c) {
        return (c >= ' ' && c != 0x7f) || c == '\r' || c == '\n' || c == 0x1c || c == 0x1d || c == 0x7f;
    });
}

std::optional<Deframer::Found> Deframer::push(float soft)
{
    const bool level = soft >= 0, bit = level == level_;
    level_ = level;
    ++position_;
    last_ = uint8_t(last_ >> 1 | (bit ? 0x80 : 0));
    std::optional<Found> found;
    soft_.push_back(soft);
    if (last_ == 0x7e) {
        if (open_) {
            found = check();
            if (!found && repair_) found = mend();
        }
        open_ = true;
        soft_.assign(1, soft);
    } else if (soft_.size() > most_levels || ((last_ & 0xfe) == 0xfe && !repair_)) { // an abort
        open_ = false;
        soft_.assign(1, soft);
    }
    return found;
}

std::optional<Deframer::Found> Deframer::check()
{
    Found found{.flipped = 0, .begin = position_ - int64_t(soft_.size()) + 1, .end = position_};
    if (soft_.size() < least_bytes * 8 ||
        !unstuff(
            soft_.size(), [this](size_t k) { return soft_[k] >= 0; }, found.frame))
        return {};
    double sum = 0;
    for (const float soft : soft_) sum += std::fabs(soft);
    found.strength = sum / double(soft_.size());
    return found;
}

std::optional<Deframer::Found> Deframer::mend()
{
    if (soft_.size() < least_bytes * 8) return {};
    constexpr size_t weakest = 12;
    std::array<size_t, weakest> weak;
    std::vector<size_t> order(soft_.size() - 8);
    for (size_t k = 0; k < order.size(); ++k) order[k] = k;
    const auto end = order.begin() + weakest;
    std::partial_sort(order.begin(), end, order.end(),
                      [this](size_t a, size_t b) { return std::fabs(soft_[a]) < std::fabs(soft_[b]); });
    std::copy(order.begin(), end, weak.begin());
    std::vector<bool> levels(soft_.size());
    for (size_t k = 0; k < levels.size(); ++k) levels[k] = soft_[k] >= 0;
    Found found{.begin = position_ - int64_t(soft_.size()) + 1, .end = position_};
    const auto fits = [&] {
        if (!unstuff(
                levels.size(), [&](size_t k) { return levels[k]; }, found.frame))
            return false;
        const auto fields = parse_ax25(found.frame);
        return fields && fields->plausible();
    };
    double sum = 0;
    for (const float soft : soft_) sum += std::fabs(soft);
    found.strength = sum / double(soft_.size());
    for (size_t a = 0; a < weakest; ++a) {
        levels[weak[a]].flip();
        found.flipped = 1;
        if (fits()) return found;
        levels[weak[a]].flip();
    }
    for (size_t a = 0; a < weakest; ++a)
        for (size_t b = 0; b < a; ++b) {
            levels[weak[a]].flip();
            levels[weak[b]].flip();
            found.flipped = 2;
            if (fits()) return found;
            levels[weak[a]].flip();
            levels[weak[b]].flip();
        }
    return {};
}
} // namespace client::decode
