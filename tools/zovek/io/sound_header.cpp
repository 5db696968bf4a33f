#include "io/sound_header.h"
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace client {
namespace {
using namespace std::string_view_literals;

constexpr uint64_t huge = uint64_t(1) << 60; // bytes: more than any file has

enum class Order { little, big };

uint64_t number(const std::string& bytes, Order order)
{
    uint64_t value = 0;
    for (size_t k = 0; k < bytes.size(); ++k)
        value = value << 8 |
                static_cast<unsigned char>(order == Order::big ? bytes[k] : bytes[bytes.size() - 1 - k]);
    return value;
}

std::string spelled(uint64_t value, size_t width, Order order)
{
    std::string bytes(width, 0);
    for (size_t k = 0; k < width; ++k)
        bytes[order == Order::little ? k : width - 1 - k] = static_cast<char>(value >> 8 * k);
    return bytes;
}

// How a container writes its chunks: a name, a size, the content, and what fills up to whole units.
struct ChunkForm {
    Order order;
    int64_t name, size, unit;   // bytes
    bool counts_itself = false; // the size has name and size in it
};
constexpr ChunkForm riff = {Order::little, 4, 4, 2}, rifx = {Order::big, 4, 4, 2}, iff = rifx,
                    core_audio = {Order::big, 4, 8, 1}, wave64 = {Order::little, 16, 8, 8, true};

struct Chunk {
    std::string name;
    int64_t size_at, begin; // bytes of the file
    uint64_t size;          // of the content
};

class Chunks {
public:
    Chunks(const Bytes& bytes, const ChunkForm& form, int64_t first) : bytes_(bytes), form_(form), at_(first)
    {
    }

    bool next(Chunk& chunk)
    {
        const std::string head = bytes_(at_, form_.name + form_.size);
        if (int64_t(head.size()) < form_.name + form_.size || --left_ < 0) return false;
        chunk = {head.substr(0, 4), at_ + form_.name, at_ + int64_t(head.size()),
                 number(head.substr(size_t(form_.name)), form_.order)};
        if (form_.counts_itself) chunk.size -= std::min<uint64_t>(chunk.size, head.size());
        if (chunk.size >= huge)
            left_ = 0; // none is behind it
        else
            at_ = chunk.begin + (int64_t(chunk.size) + form_.unit - 1) / form_.unit * form_.unit;
        return true;
    }

private:
    const Bytes& bytes_;
    const ChunkForm& form_;
    int64_t at_;
    int left_ = 4096; // more there are in noise alone
};

// A length of 0 is that of a recorder which never came to write it, unless nothing is behind it, or the next
// chunk.
bool is_unfinished(const Bytes& bytes, const ChunkForm& form, int64_t begin, uint64_t end)
{
    if (bytes(begin, 1).empty()) return false;
    Chunk next;
    const bool chunk = Chunks(bytes, form, begin).next(next) && uint64_t(next.begin) + next.size <= end + 1;
    return !chunk || !std::ranges::all_of(next.name, [](char c) { return c >= ' ' && c <= '~'; });
}

// What the header says of the samples: where they begin, their length in bytes, and the end of the file.
void tell(SoundHeader& header, const Bytes& bytes, const ChunkForm& form, int64_t begin, uint64_t length,
          bool to_the_end, uint64_t end)
{
    header.begin = begin;
    header.to_the_end = to_the_end;
    header.bytes = to_the_end ? -1 : int64_t(length);
    header.unfinished = header.bytes == 0 && is_unfinished(bytes, form, begin, end);
}

// What receivers write in a WAV: begin and end of the recording as eight 16-bit numbers each (year, month,
// day of the week, day, hour, minute, second, ms; UTC), and then 32-bit ones, of which the first is where
// they were tuned to, in Hz. Other content, as some write under that name, has no such times.
void read_auxi(SoundHeader& header, const Bytes& bytes, const Chunk& chunk)
{
    constexpr int64_t times = 32;
    if (chunk.size < uint64_t(times) + 4) return;
    const std::string content = bytes(chunk.begin, times + 4);
    if (content.size() < size_t(times) + 4) return;
    constexpr uint64_t most[] = {9999, 12, 6, 31, 23, 59, 59, 999};
    for (size_t k = 0; k < 16; ++k)
        if (number(content.substr(2 * k, 2), Order::little) > most[k % 8]) return;
    const auto centre = int64_t(number(content.substr(times), Order::little));
    if (centre > 0) header.tuned = {centre, "its auxi chunk"};
    const auto word = [&](size_t place) { return int(number(content.substr(2 * place, 2), Order::little)); };
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", word(0), word(1), word(3),
                  word(4), word(5), word(6), word(7));
    if (const auto began = words::parse_time(text)) { // rather than a broadcast's, which tells no zone
        header.began = began;
        header.since_midnight = 0;
    }
}

// What broadcasters write (EBU Tech 3285): behind 320 bytes of texts the date and the time, ten and eight
// characters, and in 64 bits how many samples since midnight the first one is. They tell no zone.
void read_bext(SoundHeader& header, const Bytes& bytes, const Chunk& chunk)
{
    constexpr int64_t texts = 320, date = 10, time = 8;
    const std::string content = bytes(chunk.begin + texts, date + time + 8);
    if (chunk.size < uint64_t(texts + date + time) + 8 || content.size() < size_t(date + time) + 8) return;
    std::string text = content.substr(0, date) + "T" + content.substr(date, time) + "Z";
    for (const size_t k : {4, 7}) text[k] = '-'; // some put other characters there
    for (const size_t k : {13, 16}) text[k] = ':';
    if (header.began) return;
    header.began = words::parse_time(text);
    header.since_midnight = number(content.substr(date + time), Order::little);
}

// The chunks that tell of the recording.
void read_notes(SoundHeader& header, const Bytes& bytes, const Chunk& chunk)
{
    if (chunk.name == "auxi") read_auxi(header, bytes, chunk);
    if (chunk.name == "bext") read_bext(header, bytes, chunk);
}

// The chunks behind the samples, should the header tell of any up to the end of the file.
void read_notes_behind(SoundHeader& header, const Bytes& bytes, const ChunkForm& form, uint64_t end)
{
    const int64_t behind = header.begin + header.bytes + header.bytes % 2;
    if (header.bytes <= 0 || uint64_t(behind) >= end) return;
    Chunk chunk;
    for (Chunks chunks(bytes, form, behind); chunks.next(chunk);) read_notes(header, bytes, chunk);
}

// A length of 64 bits, of so many bytes more than the samples have.
auto length_at(int64_t at, Order order, int64_t more = 0)
{
    return [=](int64_t all) { return std::vector<Patch>{{at, spelled(uint64_t(all + more), 8, order)}}; };
}

void wav(const Bytes& bytes, const ChunkForm& form, SoundHeader& header)
{
    Chunk chunk;
    for (Chunks chunks(bytes, form, 12); chunks.next(chunk);) {
        // PCM, reals, A-law, mu-law, and what says it elsewhere
        constexpr uint64_t plain[] = {1, 3, 6, 7, 0xfffe};
        read_notes(header, bytes, chunk);
        if (chunk.name == "fmt ")
            header.in_blocks = !std::ranges::count(plain, number(bytes(chunk.begin, 2), form.order));
        if (chunk.name != "data") continue;
        // A pipe's writer tells of a length near 2^31 or 2^32.
        const uint64_t end = 8 + number(bytes(4, 4), form.order);
        tell(header, bytes, form, chunk.begin, chunk.size, (chunk.size & 0x7fffffff) >= 0x7ffff000, end);
        read_notes_behind(header, bytes, form, end);
        header.patches = [order = form.order, at = chunk.size_at](int64_t all) {
            std::vector<Patch> patches{{at, spelled(uint64_t(all), 4, order)}};
            // What has no room is told in a way that libsndfile knows.
            if (all > INT32_MAX) patches = {{4, spelled(8, 4, order)}, {at, spelled(0, 4, order)}};
            return patches;
        };
        return;
    }
}

void rf64(const Bytes& bytes, SoundHeader& header)
{
    int64_t lengths = 0; // of the file and of the samples
    Chunk chunk;
    for (Chunks chunks(bytes, riff, 12); chunks.next(chunk);) {
        read_notes(header, bytes, chunk);
        if (chunk.name == "ds64") lengths = chunk.begin;
        if (chunk.name != "data" || lengths == 0) continue;
        const uint64_t size = number(bytes(lengths + 8, 8), Order::little);
        const uint64_t end = 8 + number(bytes(lengths, 8), Order::little);
        tell(header, bytes, riff, chunk.begin, size, size >= huge, end);
        read_notes_behind(header, bytes, riff, end);
        header.patches = length_at(lengths + 8, Order::little);
        return;
    }
}

void w64(const Bytes& bytes, SoundHeader& header)
{
    Chunk chunk;
    for (Chunks chunks(bytes, wave64, 40); chunks.next(chunk);) {
        if (chunk.name != "data") continue;
        tell(header, bytes, wave64, chunk.begin, chunk.size, chunk.size >= huge,
             number(bytes(16, 8), Order::little));
        header.patches = length_at(chunk.size_at, Order::little, 24); // name and size themselves
        return;
    }
}

// 80-bit extended of a sign, 15 bits of exponent and a mantissa with its leading one.
double extended_real(const std::string& bytes)
{
    if (bytes.size() < 10) return 0;
    const auto exponent = int(number(bytes.substr(0, 2), Order::big) & 0x7fff) - 16383 - 63;
    return std::ldexp(double(number(bytes.substr(2), Order::big)), exponent);
}

void aiff(const Bytes& bytes, SoundHeader& header)
{
    int64_t frames_at = 0;
    Chunk chunk;
    for (Chunks chunks(bytes, iff, 12); chunks.next(chunk);) {
        if (chunk.name == "COMM") {
            frames_at = chunk.begin + 2;
            header.rate = extended_real(bytes(chunk.begin + 8, 10));
        }
        if (chunk.name != "SSND") continue;
        const uint64_t ahead = 8 + number(bytes(chunk.begin, 4), Order::big); // of the samples, in the chunk
        // A pipe's writer tells of a length near 2^31.
        tell(header, bytes, iff, chunk.begin + int64_t(ahead), chunk.size - std::min(chunk.size, ahead),
             chunk.size >= 0x7efff000, 8 + number(bytes(4, 4), Order::big));
        header.patches = [at = chunk.size_at, ahead, frames_at](int64_t all) {
            const uint64_t size = std::min<uint64_t>(uint64_t(all) + ahead, UINT32_MAX - 1);
            std::vector<Patch> patches{{at, spelled(size, 4, Order::big)}};
            if (frames_at) patches.push_back({frames_at, spelled(INT32_MAX, 4, Order::big)});
            return patches;
        };
        return;
    }
}

void au(const Bytes& bytes, Order order, SoundHeader& header)
{
    const uint64_t size = number(bytes(8, 4), order);
    header.begin = int64_t(number(bytes(4, 4), order));
    header.to_the_end = size == UINT32_MAX;
    header.bytes = header.to_the_end ? -1 : int64_t(size);
    header.unfinished = size == 0 && !bytes(header.begin, 1).empty();
    header.too_long = size + uint64_t(header.begin) > INT32_MAX;
    header.patches = [order](int64_t) { return std::vector<Patch>{{8, spelled(UINT32_MAX, 4, order)}}; };
}

void caf(const Bytes& bytes, SoundHeader& header)
{
    header.rate = std::bit_cast<double>(number(bytes(20, 8), Order::big));
    Chunk chunk;
    for (Chunks chunks(bytes, core_audio, 8); chunks.next(chunk);) {
        if (chunk.name != "data") continue;
        header.must_fit = true;
        constexpr uint64_t edits = 4; // bytes of their count, ahead of the samples
        tell(header, bytes, core_audio, chunk.begin + edits, chunk.size - std::min(chunk.size, edits),
             chunk.size >= huge, huge);
        header.patches = length_at(chunk.size_at, Order::big, edits);
        return;
    }
}

void ircam(const Bytes& bytes, Order order, SoundHeader& header)
{
    header.rate = std::bit_cast<float>(uint32_t(number(bytes(4, 4), order)));
}

struct Container {
    const char* name;
    std::string_view start; // '?' is any byte
    bool by_pipe;
    void (*read)(const Bytes& bytes, SoundHeader& header); // null: libsndfile alone knows
};

// clang-format off
constexpr Container containers[] = {
    {"WAV",   "RIFF????WAVE"sv, true,  [](const Bytes& b, SoundHeader& h) { wav(b, riff, h); }},
    {"WAV",   "RIFX????WAVE"sv, true,  [](const Bytes& b, SoundHeader& h) { wav(b, rifx, h); }},
    {"RF64",  "RF64????WAVE"sv, true,  rf64},
    {"W64",   "riff"sv,         true,  w64},
    {"AIFF",  "FORM????AIF"sv,  true,  aiff},
    {"AU",    ".snd"sv,         true,  [](const Bytes& b, SoundHeader& h) { au(b, Order::big, h); }},
    {"AU",    "dns."sv,         true,  [](const Bytes& b, SoundHeader& h) { au(b, Order::little, h); }},
    {"FLAC",  "fLaC"sv,         true,  nullptr},
    {"Ogg",   "OggS"sv,         true,  nullptr},
    {"CAF",   "caff"sv,         true,  caf},
    {"IRCAM", "\x64\xa3?\0"sv,  true,  [](const Bytes& b, SoundHeader& h) { ircam(b, Order::little, h); }},
    {"IRCAM", "\0?\xa3\x64"sv,  true,  [](const Bytes& b, SoundHeader& h) { ircam(b, Order::big, h); }},
    {"NIST",  "NIST"sv,         true,  nullptr},
    {"PVF",   "PVF1"sv,         true,  nullptr},
    {"AVR",   "2BIT"sv,         true,  nullptr},
    {"MAT4",  "\0\0\x03\xe8"sv, true,  nullptr},
    {"MAT4",  "\0\0\0\0\1\0\0\0"sv, true,  nullptr},
    {"MAT5",  "MATLAB 5"sv,     true,  nullptr},
    {"MPC2K", "\1\4"sv,         true,  nullptr},
    {"WVE",   "ALawSoundFil"sv, true,  nullptr},
    {"XI",    "Extended Ins"sv, true,  nullptr},
    {"VOC",   "Creative"sv,     false, nullptr},
    {"PAF",   " paf"sv,         false, nullptr},
    {"PAF",   "fap "sv,         false, nullptr},
    {"SVX",   "FORM????8SVX"sv, false, nullptr},
    {"SVX",   "FORM????16SV"sv, false, nullptr},
    {"SDS",   "\xf0\x7e?\x01"sv, false, nullptr},
    {"MP3",   "ID3"sv,          false, nullptr},
    {"MP3",   "\xff\xfb"sv,     false, nullptr},
    {"MP3",   "\xff\xf3"sv,     false, nullptr},
};
// clang-format on

bool begins_with(const std::string& head, std::string_view start)
{
    const auto same = [](char a, char b) { return a == '?' || a == b; };
    return head.size() >= start.size() && std::equal(start.begin(), start.end(), head.begin(), same);
}
} // namespace

SoundHeader read_sound_header(const Bytes& bytes)
{
    const std::string head = bytes(0, 12);
    const auto* row = std::ranges::find_if(
        containers, [&](const Container& container) { return begins_with(head, container.start); });
    SoundHeader header;
    if (row == std::end(containers)) return header;
    header.container = row->name;
    header.by_pipe = row->by_pipe;
    if (row->read) row->read(bytes, header);
    return header;
}

std::optional<words::Time> began(const SoundHeader& header, int rate)
{
    using namespace std::chrono;
    if (!header.began || header.since_midnight == 0) return header.began;
    const auto day = floor<days>(*header.began);
    const double seconds = double(header.since_midnight) / rate;
    // Within the day, and not before the time that was written: else it counts from elsewhere, as the
    // beginning of a longer take.
    const bool true_time = seconds < 86400 && seconds > duration<double>(*header.began - day).count() - 1;
    return true_time ? day + microseconds(std::llround(seconds * 1e6)) : *header.began;
}

bool has_last_page(const std::string& tail)
{
    constexpr size_t head = 27; // bytes before the table of segments, whose count is the last of them
    constexpr char last = 4;    // a flag of the page
    const size_t at = tail.rfind("OggS");
    if (at == std::string::npos || at + head > tail.size() || !(tail[at + 5] & last)) return false;
    const auto segments = size_t(static_cast<unsigned char>(tail[at + head - 1]));
    if (at + head + segments > tail.size()) return false;
    size_t end = at + head + segments;
    for (size_t k = 0; k < segments; ++k) end += static_cast<unsigned char>(tail[at + head + k]);
    return end <= tail.size();
}
} // namespace client
