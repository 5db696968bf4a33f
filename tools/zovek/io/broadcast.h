// One input for several listeners at once, each in a thread of its own: read once, by the thread that passes
// the blocks on. Each listener is an input like any other; what it gets is some channels of the source.
//
// A few blocks lie between reader and listeners, so memory is bounded, and the slowest listener sets the
// pace.
#pragma once
#include "io/input.h"
#include "io/selected.h"
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace client {
class Broadcast {
public:
    // Both live no longer than the broadcast and its source. Listeners are numbered in the order of their
    // making, from 0; they are made before the first block is passed on.
    Broadcast(Input& source, const std::vector<size_t>& channels); // offsets in a frame
    std::unique_ptr<Input> listen();

    // Reads a block and passes it on, once there is room for it; false at the end, or when nobody listens.
    bool pass();
    double seconds() const { return double(source_.taken) / source_.rate; } // read so far

    // Called by a listener's thread: it reads no more.
    void leave(size_t listener);
    // No more will come: what was read is worth nothing, and listeners that wait throw.
    void abandon();
    bool abandoned();

private:
    friend class Listener;
    static constexpr int64_t depth = 16; // blocks

    // The next block, and the one before is done with; none at the end.
    std::span<const int32_t> next(size_t listener, int64_t block);
    int64_t slowest() const;

    Input& source_;
    const size_t width_; // channels that are passed on
    Selected channels_;
    const size_t size_; // of a block, samples
    std::vector<std::vector<int32_t>> ring_;

    std::mutex mutex_; // of what follows
    std::condition_variable filled_, emptied_;
    int64_t passed_ = 0;        // blocks so far; the last of them are in the ring
    std::vector<int64_t> done_; // blocks that each listener is done with
    bool ended_ = false, abandoned_ = false;
};
} // namespace client
