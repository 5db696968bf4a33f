// WAV and raw samples.
//
// WAV beyond 4 GiB becomes RF64. WAV into a pipe, whose length nobody knows, tells of 0x7ffff000 bytes of
// samples, which players take for "to the end". So does a file while it is written, and beyond that length as
// RF64 of 2^50 bytes: it can be played meanwhile, and if the program is killed.
#include "io/narrow.h"
#include "io/writer.h"
#include <algorithm>
#include <bit>

namespace client {
namespace {
// Bytes of samples, told where the true number isn't known: up to so many, and beyond.
constexpr int64_t to_the_end = 0x7ffff000, to_a_far_end = int64_t(1) << 50;

constexpr int bytes_of(Coding coding) { return coding == Coding::s16 ? 2 : coding == Coding::s24 ? 3 : 4; }

void little(std::string& to, uint64_t value, int bytes)
{
    for (int k = 0; k < bytes; ++k) to += static_cast<char>(value >> (8 * k));
}

class Plain : public Writer {
public:
    Plain(Destination& to, const AudioForm& form, bool wav)
        : to_(to), form_(form), sample_(bytes_of(form.coding)), wav_(wav)
    {
        if (wav_) put_header(to_the_end);
    }

    std::string write(const int32_t* samples, size_t count) override
    {
        bytes_.resize(count * size_t(sample_));
        char* at = bytes_.data();
        for (size_t k = 0; k < count; ++k) {
            const uint32_t value = form_.coding == Coding::f32
                                       ? std::bit_cast<uint32_t>(float(samples[k]) / 2147483648.0F)
                                       : uint32_t(rounded(samples[k], 8 * sample_));
            for (int byte = 0; byte < sample_; ++byte) *at++ = static_cast<char>(value >> (8 * byte));
        }
        std::string trouble = to_.offer(bytes_.data(), bytes_.size());
        if (!trouble.empty()) {
            short_ = true;
            return trouble;
        }
        data_bytes_ += int64_t(bytes_.size());
        if (to_.is_file() && wav_ && !large_ && data_bytes_ > to_the_end) {
            large_ = true;
            to_.seek(0);
            put_header(to_a_far_end);
            to_.seek(header_bytes() + data_bytes_);
        }
        return {};
    }

    void finish() override
    {
        if (short_) to_.cut(header_bytes() + data_bytes_); // it may have taken a part of a frame
        if (!to_.is_file() || !wav_) return;
        if (data_bytes_ % 2) { // chunks have even lengths
            to_.seek(header_bytes() + data_bytes_);
            to_.put("", 1);
        }
        to_.seek(0);
        put_header(uint64_t(data_bytes_));
    }

    bool empty() const override { return data_bytes_ == 0; }

private:
    // The header of a file leaves room for 64-bit lengths in a JUNK chunk; a pipe gets none.
    uint32_t header_bytes() const
    {
        return !wav_ ? 0 : (to_.is_file() ? 80 : 44) + (form_.coding == Coding::f32 ? 12 : 0);
    }

    // Of so many bytes of samples: RIFF, JUNK or ds64, fmt, for reals fact, data.
    void put_header(uint64_t data)
    {
        const bool file = to_.is_file(), real = form_.coding == Coding::f32;
        const uint64_t frame = uint64_t(sample_) * uint64_t(form_.channels);
        const uint64_t around = header_bytes() - 8 + data % 2; // bytes of RIFF that aren't samples
        const bool large = data + around > UINT32_MAX;
        std::string header = large ? "RF64" : "RIFF";
        little(header, large ? UINT32_MAX : data + around, 4);
        header += "WAVE";
        if (file) {
            header += large ? "ds64" : "JUNK";
            little(header, 28, 4);
            little(header, large ? data + around : 0, 8);
            little(header, large ? data : 0, 8);
            little(header, large ? data / frame : 0, 8);
            little(header, 0, 4);
        }
        header += "fmt ";
        little(header, 16, 4);
        little(header, real ? 3 : 1, 2); // reals or PCM
        little(header, uint32_t(form_.channels), 2);
        little(header, uint32_t(form_.rate), 4);
        little(header, uint64_t(form_.rate) * frame, 4);
        little(header, frame, 2);
        little(header, uint64_t(8) * uint64_t(sample_), 2);
        if (real) {
            header += "fact";
            little(header, 4, 4);
            little(header, large ? UINT32_MAX : data / frame, 4);
        }
        header += "data";
        little(header, large ? UINT32_MAX : data, 4);
        to_.put(header.data(), header.size());
    }

    Destination& to_;
    const AudioForm form_;
    const int sample_; // bytes
    const bool wav_;
    std::string bytes_;
    int64_t data_bytes_ = 0;
    bool short_ = false; // the last samples weren't taken whole
    bool large_ = false; // the header of a file that isn't complete tells of more than 2 GiB
};
} // namespace

std::unique_ptr<Writer> write_raw(Destination& to, const AudioForm& form)
{
    return std::make_unique<Plain>(to, form, false);
}

std::unique_ptr<Writer> write_wav(Destination& to, const AudioForm& form)
{
    return std::make_unique<Plain>(to, form, true);
}
} // namespace client
