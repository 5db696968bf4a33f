// Some channels of a recording, whatever it has: memory goes by what is taken, not by what is passed over.
#pragma once
#include "io/input.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
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
    template <class Sample>
    size_t read(Sample* to, size_t frames)
    {
        const auto channels = size_t(input_.channels);
        if (channels == 1) return input_.read(to, frames);
        std::vector<Sample>& all = std::get<std::vector<Sample>>(frames_);
        for (size_t got = 0;;) {
            const size_t wanted = std::min(frames - got, piece);
            all.resize(wanted * channels);
            const size_t count = input_.read(all.data(), wanted);
            for (size_t k = 0; k < count; ++k)
                for (const size_t offset : offsets_) *to++ = all[k * channels + offset];
            got += count;
            if (count < wanted || got == frames) return got;
        }
    }
    // Appends up to so many frames, in memory for those that come. Returns how many did.
    template <class Sample>
    size_t append(std::vector<Sample>& to, size_t frames)
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
    std::tuple<std::vector<int16_t>, std::vector<int32_t>> frames_; // of all channels
};
} // namespace client
