#include "io/sound_stream.h"
#include <algorithm>
#include <cstring>

namespace client {
SF_VIRTUAL_IO* SoundStream::functions()
{
    static SF_VIRTUAL_IO table = {
        [](void* self) -> sf_count_t { return of(self).is_file() ? of(self).length() : endless; },
        [](sf_count_t offset, int whence, void* self) -> sf_count_t { return of(self).seek(offset, whence); },
        [](void* to, sf_count_t bytes, void* self) -> sf_count_t {
            return of(self).read(static_cast<char*>(to), bytes);
        },
        [](const void*, sf_count_t, void*) -> sf_count_t { return 0; },
        [](void* self) -> sf_count_t { return of(self).position_; },
    };
    return &table;
}

std::string SoundStream::bytes(int64_t position, int64_t count)
{
    std::string result(size_t(count), 0);
    if (!is_file() && position + count > kept) return {};
    position_ = position;
    result.resize(size_t(read(result.data(), count)));
    position_ = 0;
    return result;
}

std::string SoundStream::tail()
{
    if (!is_file()) return tail_;
    const int64_t count = std::min(length(), longest_page);
    return bytes(length() - count, count);
}

void SoundStream::pass_damage()
{
    if (!reader_ || sf_error(reader_) == SF_ERR_NO_ERROR) return;
    passed_damage_ = true;
    sf_seek(reader_, 0, SEEK_CUR); // to where it is, which clears the error
}

int64_t SoundStream::seek(int64_t offset, int whence)
{
    pass_damage();
    const int64_t end = is_file() ? length() : endless;
    const int64_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : end;
    return position_ = std::max<int64_t>(from + offset, 0);
}

int64_t SoundStream::read(char* to, int64_t bytes)
{
    const int64_t begin = position_, got = is_file() ? read_file(to, bytes) : read_pipe(to, bytes);
    for (const Patch& patch : patches_) {
        const int64_t first = std::max(patch.at, begin),
                      last = std::min(patch.at + int64_t(patch.bytes.size()), begin + got);
        for (int64_t k = first; k < last; ++k) to[k - begin] = patch.bytes[size_t(k - patch.at)];
    }
    if (got > 0) pass_damage();
    short_reads_ += got < bytes;
    vain_reads_ += got == 0 && bytes > 0;
    position_ += got;
    return got;
}

int64_t SoundStream::read_file(char* to, int64_t bytes)
{
    if (position_ != came_) source.seek(position_);
    const int64_t got = source.read(to, bytes);
    came_ = position_ + got;
    return got;
}

int64_t SoundStream::read_pipe(char* to, int64_t bytes)
{
    if (position_ > came_ && position_ <= kept) {
        std::string skipped(size_t(position_ - came_), 0);
        take(skipped.data(), position_ - came_);
    }
    int64_t got = 0;
    const int64_t tail = came_ - int64_t(tail_.size()); // where it begins
    if (position_ < int64_t(head_.size())) {
        got = std::min(bytes, int64_t(head_.size()) - position_);
        std::memcpy(to, head_.data() + position_, static_cast<size_t>(got));
    } else if (position_ >= tail && position_ < came_) {
        got = std::min(bytes, came_ - position_);
        std::memcpy(to, tail_.data() + (position_ - tail), static_cast<size_t>(got));
    }
    return position_ + got == came_ ? got + take(to + got, bytes - got) : got;
}

// The next bytes of a pipe.
int64_t SoundStream::take(char* to, int64_t bytes)
{
    const int64_t got = source.read(to, bytes);
    if (got < bytes) ended_ = true;
    if (came_ == int64_t(head_.size()))
        head_.append(to, static_cast<size_t>(std::clamp<int64_t>(kept - came_, 0, got)));
    tail_.append(to + std::max<int64_t>(got - longest_page, 0), to + got);
    if (int64_t(tail_.size()) > 4 * longest_page) tail_.erase(0, tail_.size() - size_t(longest_page));
    came_ += got;
    return got;
}
} // namespace client
