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
int16_t cf32(const char* bytes) { return narrow(std::bit_cast<float>(word_at<uint32_t>(bytes))); }

template <int16_t (*Sample)(const char*), size_t Bytes>
void unpack(const char* from, int16_t* to, size_t count)
{
    for (size_t k = 0; k < count; ++k) to[k] = Sample(from + k * Bytes);
}

constexpr RawType raw_types[] = {
    {"raw", 2, 0, unpack<cs16, 2>}, {"cs16", 2, 2, unpack<cs16, 2>}, {"cs8", 1, 2, unpack<cs8, 1>},
    {"cu8", 1, 2, unpack<cu8, 1>},  {"cf32", 4, 2, unpack<cf32, 4>}, {"rf32", 4, 0, unpack<cf32, 4>},
};

class RawInput : public Input {
public:
    RawInput(const std::string& path, const RawType& type) : source_(path), type_(type) {}

    size_t read(int16_t* samples, size_t frames) override
    {
        const size_t frame = type_.bytes * size_t(channels);
        bytes_.resize(frames * frame);
        const auto bytes = size_t(source_.read(bytes_.data(), int64_t(bytes_.size())));
        if (!source_.trouble().empty()) throw Failure(name, source_.trouble());
        faults.truncated = faults.truncated || (bytes % frame != 0 && !stop_signal());
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
