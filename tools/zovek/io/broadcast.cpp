#include "io/broadcast.h"
#include "io/narrow.h"
#include <algorithm>
#include <limits>
#include <stdexcept>

namespace client {
namespace {
constexpr int64_t gone = std::numeric_limits<int64_t>::max();
// 20 ms, so that live streams flow, and few enough to stay in a cache.
size_t block_at(int32_t rate) { return size_t(std::clamp(rate / 50, 256, 1 << 16)); }
} // namespace

class Listener : public Input {
public:
    Listener(Broadcast& broadcast, size_t number) : broadcast_(broadcast), number_(number)
    {
        const Input& source = broadcast.source_;
        take_after(source);
        rate = source.rate;
        per_frame = source.per_frame;
        centre = source.centre;
        channels = int32_t(broadcast.width_);
        announced = source.announced;
    }

    size_t read(int32_t* samples, size_t frames) override { return give(samples, frames); }
    size_t read(int16_t* samples, size_t frames) override { return give(samples, frames); }

private:
    template <class Sample>
    size_t give(Sample* samples, size_t frames)
    {
        size_t got = 0;
        while (got < frames && !ended_) {
            if (rest_.empty()) rest_ = broadcast_.next(number_, blocks_++);
            const size_t width = broadcast_.width_, some = std::min(frames - got, rest_.size() / width);
            std::ranges::transform(rest_.first(some * width), samples + got * width,
                                   [](int32_t sample) { return to_bits<Sample>(sample); });
            rest_ = rest_.subspan(some * width);
            got += some;
            ended_ = some == 0;
        }
        if (ended_) faults = broadcast_.source_.faults;
        taken += int64_t(got);
        return got;
    }

    Broadcast& broadcast_;
    const size_t number_;
    int64_t blocks_ = 0; // so far
    std::span<const int32_t> rest_;
    bool ended_ = false;
};

Broadcast::Broadcast(Input& source, const std::vector<size_t>& channels)
    : source_(source),
      width_(channels.size()),
      channels_(source, channels),
      size_(block_at(source.rate) * width_),
      ring_(size_t(depth))
{
}

std::unique_ptr<Input> Broadcast::listen()
{
    done_.push_back(0);
    return std::make_unique<Listener>(*this, done_.size() - 1);
}

int64_t Broadcast::slowest() const { return *std::ranges::min_element(done_); }

bool Broadcast::pass()
{
    std::unique_lock lock(mutex_);
    emptied_.wait(lock, [this] { return slowest() > passed_ - depth; });
    if (slowest() == gone) return false;
    std::vector<int32_t>& block = ring_[size_t(passed_ % depth)];
    lock.unlock(); // nobody looks at that block

    block.resize(size_);
    block.resize(channels_.read(block.data(), size_ / width_) * width_);

    lock.lock();
    passed_ += !block.empty();
    ended_ = block.size() < size_;
    filled_.notify_all();
    return !ended_;
}

std::span<const int32_t> Broadcast::next(size_t listener, int64_t block)
{
    std::unique_lock lock(mutex_);
    done_[listener] = block;
    emptied_.notify_one();
    filled_.wait(lock, [&] { return block < passed_ || ended_ || abandoned_; });
    if (abandoned_) throw std::runtime_error("abandoned");
    return block < passed_ ? std::span<const int32_t>(ring_[size_t(block % depth)])
                           : std::span<const int32_t>();
}

void Broadcast::leave(size_t listener)
{
    const std::lock_guard lock(mutex_);
    done_[listener] = gone;
    emptied_.notify_one();
}

bool Broadcast::abandoned()
{
    const std::lock_guard lock(mutex_);
    return abandoned_;
}

void Broadcast::abandon()
{
    const std::lock_guard lock(mutex_);
    abandoned_ = true;
    filled_.notify_all();
}
} // namespace client
