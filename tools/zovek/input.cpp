#include "input.h"
#include "command.h"
#include "options.h"
#include "stop.h"
#include "system.h"
#include "text.h"
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <sndfile.h>
#include <vector>

namespace client {
namespace {
constexpr int64_t endless = int64_t(1) << 50; // bytes that a stream is said to have: more than any has

// A file of the program's own, or standard input.
class Source {
public:
    explicit Source(const std::string& path)
        : handle_(path == "-" ? system::standard_input() : system::open_to_read(path))
    {
        if (handle_ == system::none) throw Failure(path, system::reason());
        seekable_ = system::is_at_start_of_file(handle_);
    }
    Source(const Source&) = delete;
    ~Source()
    {
        if (handle_ != system::standard_input()) system::close(handle_);
    }

    bool seekable() const { return seekable_; }
    void seek(int64_t position) const { system::seek(handle_, position); }

    // Reads on until bytes are there, the stream ends, or a stop is asked for.
    int64_t read(char* to, int64_t bytes)
    {
        int64_t got = 0;
        while (got < bytes) {
            const int64_t piece = system::read(handle_, to + got, static_cast<size_t>(bytes - got));
            if (piece < 0) trouble_ = system::reason();
            if (piece <= 0) break;
            got += piece;
        }
        return got;
    }
    // Why a read failed; empty if none did.
    const std::string& trouble() const { return trouble_; }

private:
    const system::Handle handle_;
    bool seekable_ = false;
    std::string trouble_;
};

uint32_t little32(const char* bytes)
{
    uint32_t value = 0;
    for (int k = 3; k >= 0; --k) value = value << 8 | static_cast<unsigned char>(bytes[k]);
    return value;
}

// A file or a pipe as libsndfile wants it: with positions. A pipe keeps its first bytes, so that headers can be
// read twice; a position beyond what has come is remembered, and reads there give nothing, which ends the
// search for chunks behind the samples. The length is said to be endless, so that libsndfile believes the
// header's frames, and a stream that is shorter shows itself when it ends.
class Stream {
public:
    explicit Stream(const std::string& path) : source(path)
    {
        free_wav_of_its_length();
        position_ = 0;
    }

    static SF_VIRTUAL_IO* functions()
    {
        static SF_VIRTUAL_IO table = {
            [](void*) -> sf_count_t { return endless; },
            [](sf_count_t offset, int whence, void* self) { return of(self).seek(offset, whence); },
            [](void* to, sf_count_t bytes, void* self) {
                return of(self).read(static_cast<char*>(to), bytes);
            },
            [](const void*, sf_count_t, void*) -> sf_count_t { return 0; },
            [](void* self) -> sf_count_t { return of(self).position_; },
        };
        return &table;
    }

    bool empty() const { return head_.empty(); }

    Source source;

private:
    static constexpr int64_t kept = 1 << 16; // bytes; headers are shorter
    static Stream& of(void* self) { return *static_cast<Stream*>(self); }

    int64_t seek(int64_t offset, int whence)
    {
        const int64_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : endless;
        return position_ = std::max<int64_t>(from + offset, 0);
    }

    int64_t read(char* to, int64_t bytes)
    {
        if (position_ > filled_ && position_ <= kept) fill(position_ - filled_);
        int64_t got = 0;
        if (position_ < int64_t(head_.size())) {
            got = std::min(bytes, int64_t(head_.size()) - position_);
            std::memcpy(to, head_.data() + position_, static_cast<size_t>(got));
            position_ += got;
        }
        if (got == bytes || !source_is_there()) return got;
        const int64_t fresh = source.read(to + got, bytes - got);
        keep(to + got, fresh);
        position_ += fresh;
        return got + fresh;
    }

    // Brings the source to the position; false on a pipe that is elsewhere.
    bool source_is_there()
    {
        if (position_ != filled_ && source.seekable()) source.seek(filled_ = position_);
        return position_ == filled_;
    }

    // Takes bytes from the source into the head.
    void fill(int64_t bytes)
    {
        std::vector<char> piece(static_cast<size_t>(bytes));
        keep(piece.data(), source.read(piece.data(), bytes));
    }

    void keep(const char* bytes, int64_t count)
    {
        if (filled_ == int64_t(head_.size()))
            head_.append(bytes, static_cast<size_t>(std::clamp<int64_t>(kept - filled_, 0, count)));
        filled_ += count;
    }

    // A WAV file written into a pipe tells a length near 2^31 or 2^32 for "to the end". A RIFF length of 8 and a
    // data length of 0, which libsndfile takes for a file that was never closed, frees it from that limit.
    void free_wav_of_its_length()
    {
        fill(12);
        if (head_.size() < 12 || head_.compare(0, 4, "RIFF") || head_.compare(8, 4, "WAVE")) return;
        for (size_t chunk = 12; chunk + 8 < kept;) {
            if (chunk + 8 > head_.size()) fill(int64_t(chunk + 8 - head_.size()));
            if (chunk + 8 > head_.size()) return;
            const uint32_t bytes = little32(&head_[chunk + 4]);
            if (head_.compare(chunk, 4, "data") == 0) {
                if ((bytes & 0x7fffffff) < 0x7ffff000) return;
                std::memcpy(&head_[4], "\x08\0\0\0", 4);
                std::memcpy(&head_[chunk + 4], "\0\0\0\0", 4);
                return;
            }
            chunk += 8 + size_t(bytes) + (bytes & 1);
        }
    }

    std::string head_;     // the first bytes, at most kept
    int64_t filled_ = 0;   // the source's own position
    int64_t position_ = 0; // libsndfile's
};

// Samples as libsndfile gives them, 16 and 32 bits left-justified or reals of full scale 1, to 16 bits.
int16_t narrow(int16_t sample) { return sample; }
int16_t narrow(int32_t sample)
{
    return int16_t(std::min<int64_t>((int64_t(sample) + 0x8000) >> 16, INT16_MAX));
}
int16_t narrow(float sample)
{
    if (std::isnan(sample)) return 0;
    return int16_t(std::nearbyint(std::clamp(double(sample) * 32768, -32768.0, 32767.0)));
}

sf_count_t read_frames(SNDFILE* file, int16_t* to, sf_count_t frames)
{
    return sf_readf_short(file, to, frames);
}
sf_count_t read_frames(SNDFILE* file, int32_t* to, sf_count_t frames)
{
    return sf_readf_int(file, to, frames);
}
sf_count_t read_frames(SNDFILE* file, float* to, sf_count_t frames)
{
    return sf_readf_float(file, to, frames);
}

// A file of samples of one of the three types that libsndfile gives.
template <class Sample>
class SoundFile : public Input {
public:
    SoundFile(std::unique_ptr<Stream> stream, SNDFILE* file)
        : stream_(std::move(stream)), file_(file, sf_close)
    {
    }

    size_t read(int16_t* samples, size_t frames) override
    {
        const size_t piece = 4096;
        std::vector<Sample> block(piece * size_t(channels));
        size_t got = 0;
        while (got < frames) {
            const sf_count_t wanted = sf_count_t(std::min(piece, frames - got));
            const sf_count_t count = read_frames(file_.get(), block.data(), wanted);
            for (sf_count_t k = 0; k < count * channels; ++k) *samples++ = narrow(block[size_t(k)]);
            got += size_t(count);
            if (count < wanted) break;
        }
        if (!stream_->source.trouble().empty()) throw Failure(name, stream_->source.trouble());
        taken += int64_t(got);
        return got;
    }

private:
    std::unique_ptr<Stream> stream_;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file_;
};

// Samples without a header, little-endian on every machine.
template <class Word>
Word word_at(const char* bytes)
{
    Word word = 0;
    for (size_t k = sizeof word; k-- > 0;) word = Word(word << 8 | static_cast<unsigned char>(bytes[k]));
    return word;
}

int16_t cs16(const char* bytes) { return int16_t(word_at<uint16_t>(bytes)); }
int16_t cs8(const char* bytes) { return int16_t(static_cast<signed char>(*bytes) * 256); }
// Of receivers whose converter has no code for zero: 127 and 128 lie as far from it.
int16_t cu8(const char* bytes) { return int16_t(static_cast<unsigned char>(*bytes) * 256 - 32640); }
int16_t cf32(const char* bytes) { return narrow(std::bit_cast<float>(word_at<uint32_t>(bytes))); }

template <int16_t (*Sample)(const char*), size_t Bytes>
void unpack(const char* from, int16_t* to, size_t count)
{
    for (size_t k = 0; k < count; ++k) to[k] = Sample(from + k * Bytes);
}

struct RawType {
    const char* name;
    size_t bytes;     // of a sample
    int32_t channels; // 0: as the options tell, or one
    void (*unpack)(const char* from, int16_t* to, size_t count);
};

constexpr RawType raw_types[] = {
    {"raw", 2, 0, unpack<cs16, 2>}, {"cs16", 2, 2, unpack<cs16, 2>}, {"cs8", 1, 2, unpack<cs8, 1>},
    {"cu8", 1, 2, unpack<cu8, 1>},  {"cf32", 4, 2, unpack<cf32, 4>},
};

const RawType* raw_type(const std::string& name)
{
    const auto* row = std::ranges::find_if(raw_types, [&](const RawType& type) { return name == type.name; });
    return row == std::end(raw_types) ? nullptr : row;
}

class RawInput : public Input {
public:
    RawInput(const std::string& path, const RawType& type) : source_(path), type_(type) {}

    size_t read(int16_t* samples, size_t frames) override
    {
        const size_t frame = type_.bytes * size_t(channels);
        bytes_.resize(frames * frame);
        const auto bytes = size_t(source_.read(bytes_.data(), int64_t(bytes_.size())));
        if (!source_.trouble().empty()) throw Failure(name, source_.trouble());
        cut = cut || (bytes % frame != 0 && !stop_signal());
        const size_t count = bytes / frame;
        type_.unpack(bytes_.data(), samples, count * size_t(channels));
        taken += int64_t(count);
        return count;
    }

private:
    Source source_;
    const RawType& type_;
    std::vector<char> bytes_;
};

constexpr int highest_rate = 250'000'000; // Hz; no header tells the truth with more

std::unique_ptr<Input> open_sound_file(const std::string& path, const std::string& name)
{
    auto stream = std::make_unique<Stream>(path);
    SF_INFO info = {};
    SNDFILE* file = sf_open_virtual(Stream::functions(), SFM_READ, &info, stream.get());
    if (!stream->source.trouble().empty()) throw Failure(name, stream->source.trouble());
    if (stream->empty())
        throw Failure(name, stop_signal() ? "stopped before it began" : "empty, without even a header");
    if (!file) throw Failure(name, "not an audio file (raw samples need -t raw and their rate)");
    if (info.samplerate > highest_rate) {
        sf_close(file);
        throw Failure(name, "a sampling rate of " + std::to_string(info.samplerate) + " Hz, which is damage");
    }
    std::unique_ptr<Input> input;
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
        input = std::make_unique<SoundFile<int32_t>>(std::move(stream), file);
        break;
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
        input = std::make_unique<SoundFile<int16_t>>(std::move(stream), file);
        break;
    default:
        input = std::make_unique<SoundFile<float>>(std::move(stream), file);
    }
    input->rate = info.samplerate;
    input->channels = info.channels;
    if (info.frames < endless / 64) input->announced = info.frames; // else a guess from the endless length
    return input;
}
} // namespace

void add_input_options(CommandLine& line, InputOptions& options)
{
    line.text("INPUT", options.path, "recording: WAV, RF64, FLAC, AU or raw; - is standard input")
        .unit("")
        .usually(options.path);
    add_format_options(line, options);
}

void add_format_options(CommandLine& line, InputOptions& options)
{
    line.text("-t,--type", options.type,
              "auto; or without a header: raw (signed 16-bit little-endian), or the I/Q types cs16, cs8, "
              "cu8, cf32")
        .one_of({"auto", "raw", "cs16", "cs8", "cu8", "cf32"})
        .unit("TYPE")
        .usually(options.type);
    line.rate(options.rate_names, options.rate, "sampling rate of raw input; takes k and M: 48k");
    line.quantity("--channels", options.channels, 1, 1024, "N", "channels of raw input (1, of I/Q 2)");
    if (options.all_channels) return;
    line.quantity("--channel", options.channel, 1, 1024, "N", "the channel to take, 1 is the first (1)");
}

bool is_complex(const std::string& type)
{
    const RawType* raw = raw_type(type);
    return raw && raw->channels == 2;
}

std::unique_ptr<Input> Input::open(const InputOptions& options)
{
    if (options.path == "-" && system::is_terminal(system::standard_input()))
        throw WrongUsage("standard input is a terminal: name a recording");
    const RawType* raw = raw_type(options.type);
    const std::string flag = options.rate_names.substr(0, options.rate_names.find(','));
    if (raw && !options.rate) throw WrongUsage("raw input needs its sampling rate: " + flag + " RATE");
    if (!raw && options.rate) throw WrongUsage(flag + " is for raw input: -t raw");
    if (raw && raw->channels && options.channels && options.channels != raw->channels)
        throw WrongUsage(options.type + " has two channels");
    const std::string name = options.path == "-" ? "standard input" : options.path;
    std::unique_ptr<Input> input;
    if (raw) {
        input = std::make_unique<RawInput>(options.path, *raw);
        input->rate = options.rate;
        input->channels = std::max({raw->channels, options.channels, 1});
    } else
        input = open_sound_file(options.path, name);
    input->name = name;
    if (options.channel > input->channels)
        throw Failure(name, "has " + std::to_string(input->channels) + " channel(s), not " +
                                std::to_string(options.channel));
    if (!options.all_channels && !options.channel && input->channels > 1)
        say(name + ": " + std::to_string(input->channels) + " channels, taking the first (see --channel)");
    input->channel = std::max(options.channel - 1, 0);
    return input;
}
} // namespace client
