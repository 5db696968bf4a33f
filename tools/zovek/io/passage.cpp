#include "io/passage.h"
#include "io/stop.h"
#include <algorithm>

namespace client {
using namespace words;
Passed pass(const char* command, Input& input, Output& output, const Passage& passage, bool quiet)
{
    watch_for_stop();
    const size_t block = size_t(std::clamp(input.rate / 20, 64, 4096)); // 50 ms, so that live streams flow
    const auto channels = size_t(input.channels);
    std::vector<int32_t> frames(block * channels), kept;
    std::vector<std::vector<int32_t>> results(channels);
    int64_t skip = passage.delay;
    Passed passed;
    // Sends a block through the channels to the output, no more than limit frames altogether.
    const auto send = [&](size_t count, int64_t limit) {
        for (size_t c = 0; c < channels; ++c) {
            results[c].clear();
            passage.channels[c]->run(&frames[c], count, channels, results[c]);
        }
        const int64_t made = int64_t(results[0].size()), skipped = std::min(skip, made);
        const int64_t some = std::min(made - skipped, limit - passed.written);
        kept.resize(size_t(some) * channels);
        for (size_t c = 0; c < channels; ++c)
            for (size_t k = 0; k < size_t(some); ++k)
                kept[k * channels + c] = results[c][k + size_t(skipped)];
        output.write(kept.data(), kept.size());
        skip -= skipped;
        passed.written += some;
    };
    Progress progress;
    while (const size_t count = output.full() ? 0 : input.read(frames.data(), block)) {
        passed.read += int64_t(count);
        send(count, passage.frames_of(passed.read));
        progress.show(double(passed.read) / input.rate);
    }
    std::ranges::fill(frames, 0);
    const int64_t all = passage.frames_of(passed.read);
    while (!output.full() && passed.written < all) send(block, all);
    passed.pace = progress.end(double(passed.read) / input.rate);
    output.finish();
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
