// Some channels of a recording, whatever it has: memory goes by what is taken, not by what is passed over.
#pragma once
#include "io/input.h"
#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace client {
class Selected {
public:
    // The channels of these offsets in a frame, in this order.
    Selected(Input& input, std::vector<size_t> offsets) : input_(input), offsets_(std::move(offsets)) {}
    // The one that was chosen.
    explicit Selected(Input& input) : Selected(input, {size_t(input.channel)}) {}

    // As Input::read, of the channels alone.
    size_t read(int16_t* to, size_t frames)
    {
        const auto channels = size_t(input_.channels);
        if (channels == 1) return input_.read(to, frames);
        for (size_t got = 0;;) {
            const size_t wanted = std::min(frames - got, piece);
            frames_.resize(wanted * channels);
            const size_t count = input_.read(frames_.data(), wanted);
            for (size_t k = 0; k < count; ++k)
                for (const size_t offset : offsets_) *to++ = frames_[k * channels + offset];
            got += count;
            if (count < wanted || got == frames) return got;
        }
    }
    // Appends up to so many frames, in memory for those that come. Returns how many did.
    size_t append(std::vector<int16_t>& to, size_t frames)
    {
        const size_t before = to.size();
        for (size_t count = piece; count == piece && frames > 0; frames -= count) {
            const size_t wanted = std::min(frames, piece), at = to.size();
            to.resize(at + wanted * offsets_.size());
            count = read(&to[at], wanted);
            to.resize(at + count * offsets_.size());
        }
        return (to.size() - before) / offsets_.size();
    }

private:
    static constexpr size_t piece = 4096; // frames
    Input& input_;
    const std::vector<size_t> offsets_;
    std::vector<int16_t> frames_;
};
} // namespace client
