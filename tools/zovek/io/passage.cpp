#include "io/passage.h"
#include "io/stop.h"
#include <algorithm>

namespace client {
using namespace words;
namespace {
// The way of blocks of frames through the channels to the output.
class Way {
public:
    Way(const Passage& passage, Output& output)
        : passage_(passage), output_(output), results_(passage.channels.size()), skip_(passage.delay)
    {
    }

    // Sends a block on; of what comes out, no more than limit frames altogether are written.
    void send(const int16_t* frames, size_t count, int64_t limit)
    {
        const size_t channels = results_.size();
        for (size_t c = 0; c < channels; ++c) {
            results_[c].clear();
            passage_.channels[c]->run(frames + c, count, channels, results_[c]);
        }
        const int64_t made = int64_t(results_[0].size()), skipped = std::min(skip_, made);
        const int64_t kept = std::min(made - skipped, limit - written_);
        frames_.resize(size_t(kept) * channels);
        for (size_t c = 0; c < channels; ++c)
            for (size_t k = 0; k < size_t(kept); ++k)
                frames_[k * channels + c] = results_[c][k + size_t(skipped)];
        output_.write(frames_.data(), frames_.size());
        skip_ -= skipped;
        written_ += kept;
    }
    int64_t written() const { return written_; }

private:
    const Passage& passage_;
    Output& output_;
    std::vector<std::vector<int16_t>> results_; // by channel
    std::vector<int16_t> frames_;
    int64_t skip_, written_ = 0;
};
} // namespace

Passed pass(const char* command, Input& input, Output& output, const Passage& passage, bool quiet)
{
    watch_for_stop();
    const size_t block = size_t(std::clamp(input.rate / 20, 64, 4096)); // 50 ms, so that live streams flow
    std::vector<int16_t> frames(block * size_t(input.channels));
    Way way(passage, output);
    Passed passed;
    Progress progress;
    while (const size_t count = output.full() ? 0 : input.read(frames.data(), block)) {
        passed.read += int64_t(count);
        way.send(frames.data(), count, passage.frames_of(passed.read));
        progress.show(double(passed.read) / input.rate);
    }
    std::fill(frames.begin(), frames.end(), int16_t(0));
    const int64_t all = passage.frames_of(passed.read);
    while (!output.full() && way.written() < all) way.send(frames.data(), block, all);
    passed.pace = progress.end(double(passed.read) / input.rate);
    output.finish();
    passed.written = way.written();
    passed.faults = input.faults;
    if (!quiet) input.tell_end(command, of_audio);
    return passed;
}

std::string Passed::text() const { return number(double(read)) + " samples, " + pace.text(); }

JsonObject Passed::json() const
{
    JsonObject members;
    members.add("samples", read).add("output_frames", written);
    return members.append(pace.json()).append(faults.json());
}
} // namespace client
