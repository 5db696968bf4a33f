// FLAC, which libsndfile codes. While it is written, and for good in a pipe and on a disk that took no more,
// its header tells of no length, which readers take for "to the end".
#include "io/narrow.h"
#include "io/writer.h"
#include "line/failure.h"
#include <algorithm>
#include <sndfile.h>
#include <vector>

namespace client {
namespace {
class Flac : public Writer {
public:
    Flac(Destination& to, const AudioForm& form)
        : to_(to), channels_(size_t(form.channels)), bits_(form.coding == Coding::s16 ? 16 : 24)
    {
        SF_INFO info = {};
        info.samplerate = form.rate;
        info.channels = form.channels;
        info.format = SF_FORMAT_FLAC | (bits_ == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
        file_.reset(sf_open_virtual(functions(), SFM_WRITE, &info, this));
        if (!file_)
            throw Failure(to.name(), "FLAC holds no audio of " + std::to_string(form.rate) + " Hz and " +
                                         std::to_string(form.channels) + " channel(s)");
    }

    std::string write(const int32_t* samples, size_t count) override
    {
        wide_.resize(count); // libsndfile cuts off what the file doesn't hold
        std::transform(samples, samples + count, wide_.begin(),
                       [this](int32_t sample) { return rounded(sample, bits_) * (1 << (32 - bits_)); });
        const auto taken = sf_writef_int(file_.get(), wide_.data(), sf_count_t(count / channels_));
        taken_ = taken_ || taken > 0;
        if (trouble_.empty() && size_t(taken) * channels_ < count) trouble_ = sf_strerror(file_.get());
        return trouble_;
    }

    void finish() override
    {
        file_.reset();
        if (!trouble_.empty()) to_.cut(length_);
    }

    bool empty() const override { return !taken_; }

private:
    struct Close {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    static SF_VIRTUAL_IO* functions()
    {
        static SF_VIRTUAL_IO table = {
            [](void* self) -> sf_count_t { return of(self).length_; },
            [](sf_count_t offset, int whence, void* self) -> sf_count_t {
                return of(self).position_ = offset + (whence == SEEK_SET   ? 0
                                                      : whence == SEEK_CUR ? of(self).position_
                                                                           : of(self).length_);
            },
            [](void*, sf_count_t, void*) -> sf_count_t { return 0; },
            [](const void* data, sf_count_t bytes, void* self) -> sf_count_t {
                return of(self).take(data, bytes);
            },
            [](void* self) -> sf_count_t { return of(self).position_; },
        };
        return &table;
    }
    static Flac& of(void* self) { return *static_cast<Flac*>(self); }

    // What goes back to the header is left out where it can't go, or would tell of more than there is.
    sf_count_t take(const void* data, sf_count_t bytes)
    {
        const bool back = position_ < length_;
        if (!trouble_.empty()) return back ? bytes : 0;
        if (!back || to_.is_file()) {
            try {
                if (back) to_.seek(position_);
                trouble_ = to_.offer(data, size_t(bytes));
                if (back) to_.seek(length_);
            } catch (const Failure& failure) { // not through the library's C
                trouble_ = failure.what();
            }
            if (!trouble_.empty()) return 0;
        }
        position_ += bytes;
        length_ = std::max(length_, position_);
        return bytes;
    }

    Destination& to_;
    const size_t channels_;
    const int bits_; // of a sample
    std::vector<int32_t> wide_;
    int64_t position_ = 0, length_ = 0; // bytes
    bool taken_ = false;
    std::string trouble_;
    std::unique_ptr<SNDFILE, Close> file_; // the last member: it writes when it closes
};
} // namespace

std::unique_ptr<Writer> write_flac(Destination& to, const AudioForm& form)
{
    return std::make_unique<Flac>(to, form);
}
} // namespace client
