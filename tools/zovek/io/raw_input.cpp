#include "io/raw_input.h"
#include "io/narrow.h"
#include "io/source.h"
#include "io/stop.h"
#include "line/failure.h"
#include <algorithm>
#include <bit>
#include <vector>

namespace client {
namespace {
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
float f32(const char* bytes) { return std::bit_cast<float>(word_at<uint32_t>(bytes)); }

template <auto Sample, size_t Bytes, class To>
void unpack(const char* from, To* to, size_t count)
{
    for (size_t k = 0; k < count; ++k) to[k] = to_bits<To>(Sample(from + k * Bytes));
}

template <auto Sample, size_t Bytes>
constexpr RawType row(const char* name, int32_t channels)
{
    return {name, Bytes, channels, unpack<Sample, Bytes, int16_t>, unpack<Sample, Bytes, int32_t>};
}

constexpr RawType raw_types[] = {
    row<cs16, 2>("raw", 0), row<cs16, 2>("cs16", 2), row<cs8, 1>("cs8", 2),
    row<cu8, 1>("cu8", 2),  row<f32, 4>("cf32", 2),  row<f32, 4>("rf32", 0),
};

class RawInput : public Input {
public:
    RawInput(const std::string& path, const RawType& type) : source_(path), type_(type)
    {
        if (!source_.is_file()) timeline = std::make_shared<Timeline>();
    }

    size_t read(int16_t* samples, size_t frames) override { return give(samples, frames, type_.unpack); }
    size_t read(int32_t* samples, size_t frames) override { return give(samples, frames, type_.unpack_wide); }

private:
    template <class To>
    size_t give(To* samples, size_t frames, void (*unpack)(const char*, To*, size_t))
    {
        const size_t frame = type_.bytes * size_t(channels);
        bytes_.resize(frames * frame);
        const auto bytes = size_t(source_.read(bytes_.data(), int64_t(bytes_.size())));
        if (!source_.trouble().empty()) throw Failure(name, source_.trouble());
        faults.truncated = faults.truncated || (bytes % frame != 0 && !stop_signal());
        const size_t got = bytes / frame;
        unpack(bytes_.data(), samples, got * size_t(channels));
        count(got);
        return got;
    }

    Source source_;
    const RawType& type_;
    std::vector<char> bytes_;
};
} // namespace

const RawType* raw_type(const std::string& name)
{
    const auto* row = std::ranges::find_if(raw_types, [&](const RawType& type) { return name == type.name; });
    return row == std::end(raw_types) ? nullptr : row;
}

std::unique_ptr<Input> open_raw(const std::string& path, const RawType& type)
{
    return std::make_unique<RawInput>(path, type);
}
} // namespace client
