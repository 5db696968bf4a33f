#include "io/passage.h"
#include "io/stop.h"
#include "io/system.h"
#include "io/talk.h"
#include <algorithm>
#include <chrono>

namespace client {
using namespace words;
namespace {
// Times the work, and shows it while it goes on if a person looks.
class Progress {
public:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }
    void show(double done)
    {
        if (!terminal_ || seconds() < next_) return;
        std::fprintf(stderr, "\r%.1f s, %.1f x real time ", done, done / seconds());
        next_ = seconds() + 0.25;
        shown_ = true;
    }
    ~Progress()
    {
        if (shown_) std::fprintf(stderr, "\r\033[K");
    }

private:
    const bool terminal_ = !told_to_be_quiet && system::is_terminal(system::standard_error());
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double next_ = 0.5; // s: nothing is shown of what is done at once
    bool shown_ = false;
};

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
    double seconds;
    {
        Progress progress;
        while (const size_t count = output.full() ? 0 : input.read(frames.data(), block)) {
            passed.read += int64_t(count);
            way.send(frames.data(), count, passage.frames_of(passed.read));
            progress.show(double(passed.read) / input.rate);
        }
        std::fill(frames.begin(), frames.end(), int16_t(0));
        const int64_t all = passage.frames_of(passed.read);
        while (!output.full() && way.written() < all) way.send(frames.data(), block, all);
        seconds = progress.seconds();
    }
    output.finish();
    passed.written = way.written();
    passed.duration = double(passed.read) / input.rate;
    passed.speed = seconds > 0 ? passed.duration / seconds : 0;
    if (!stop_signal()) passed.faults = input.faults;
    if (quiet) return passed;
    if (stop_signal())
        say(std::string(command) + ": stopped, the audio up to here is kept");
    else
        for (const std::string& line : input.complaints("the audio ends")) say(line);
    return passed;
}

int status() { return stop_signal() ? 128 + stop_signal() : 0; }

std::string Passed::text() const
{
    return number(double(read)) + " samples, " + decimals(duration) + " s, " + decimals(speed) +
           " x real time";
}

void Passed::add_to(JsonObject& summary) const
{
    summary.add("samples", read).add("output_frames", written).add("seconds", duration);
    summary.add("times_real_time", speed);
    summary.append(faults.json()).add("stopped", stop_signal() != 0);
}

std::string decimals(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}
} // namespace client
