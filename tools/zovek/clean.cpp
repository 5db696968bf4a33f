// zovek clean: noise, whistles and single tones off speech, and shifts of its pitch, one step after the
// other.
//
// The library's steps wrap where they overshoot, and a turned phase makes peaks of steep edges. So they run
// at a quarter of the level, and what is above full scale when the level is restored is clipped.
#include "command.h"
#include "io/narrow.h"
#include "io/passage.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <zovek.hpp>

namespace client {
using namespace words;
namespace {
constexpr int headroom = 4;

// Samples of all shifters' tables together: 67 MB, and a rate that a float holds.
constexpr double most_shift_table = 1 << 24;

// One step of a channel.
class Step {
public:
    virtual ~Step() = default;
    virtual void run(int16_t* samples, int32_t count) = 0; // in place
    virtual int32_t delay() const { return 0; }            // samples that it holds back
};

// A step that is asked for.
struct Wish {
    std::string text;                                        // in summary and messages
    std::function<std::unique_ptr<Step>(int32_t rate)> make; // none: nothing changes
    double hz = 0;                                           // notch: its centre; shift: whole Hz
    double width = 0;                                        // notch: Hz
    bool moves = false;                                      // a shift by more than nothing
};

struct Options {
    InputOptions input;
    OutputOptions output;
    std::vector<Wish> notches, shifts; // each in the order given
    bool denoise = false, autonotch = false, json = false;
};

// How the predictor is set. docs/clean.md tells how these values were found.
struct Prediction {
    uint32_t taps, delay; // samples
    double step, leakage;
};

uint32_t samples_of(double ms, int32_t rate)
{
    return uint32_t(std::clamp<long>(std::lround(ms * 1e-3 * rate), 1, 1024));
}

// The window ends in the sample itself. Against leakage a component is learnt as far as it stands out of the
// window's mean energy: what has tones comes through, noise doesn't.
Prediction denoising(int32_t rate) { return {samples_of(12, rate), 0, 0.2, 16.0 / rate}; }

// The window ends 1 ms early, and the step is so small that speech is over before it is learnt. Coefficients
// of 16 bits would not feel one below 0.0005.
Prediction notching(int32_t rate) { return {32, samples_of(1, rate), std::max(10.0 / rate, 0.0005), 0}; }

class Predictor : public Step {
public:
    Predictor(const Prediction& prediction, bool error)
    {
        ZVLMS_BufferSize(lms_, piece);
        ZVLMS_TapsNum(lms_, prediction.taps);
        ZVLMS_DelaySize(lms_, prediction.delay);
        if (lms_->taps_count != prediction.taps || lms_->delay != prediction.delay) throw std::bad_alloc();
        lms_->step_size = float(prediction.step);
        lms_->leakage = float(prediction.leakage);
        lms_->regularisation = 100.0f * float(prediction.taps); // samples of 10: less isn't worth learning
        lms_->output_error = error;
    }

    void run(int16_t* samples, int32_t count) override
    {
        for (int32_t at = 0; at < count; at += piece) {
            ZVLMS1616_Process_16_16(lms_, samples + at, samples + at, std::min(piece, count - at), 1);
            renew_power();
        }
    }

private:
    static constexpr int32_t piece = 64; // samples

    // The running energy is rounded at each sample: after something loud its error would outweigh a quiet
    // signal.
    void renew_power()
    {
        const int32_t taps = int32_t(lms_->taps_count);
        const int16_t* first = lms_->input_write - (taps + int32_t(lms_->delay) - 1);
        lms_->power = std::accumulate(first, first + taps - 1, 0.0f,
                                      [](float sum, int16_t v) { return sum + float(v) * float(v); });
    }

    const zovek::LMS lms_{ZVLMS1616_Construct};
};

class Notch : public Step {
public:
    Notch(double hz, double width, int32_t rate)
    {
        ZVNotchFilter2_Construct(&filter_);
        filter_.sampling_rate = float(rate);
        filter_.frequency = float(hz);
        filter_.bandwidth = float(width);
    }
    void run(int16_t* samples, int32_t count) override { ZVNotchFilter2_Process16(&filter_, samples, count); }

private:
    ZVNotchFilter2 filter_;
};

class Shifter : public Step {
public:
    Shifter(double hz, int32_t rate)
    {
        const int32_t taps = std::clamp(rate / 40, 31, 4095) | 1; // 25 ms: down to some 110 Hz
        ZVPitchShift1616_SamplingRate(shifter_, rate);
        ZVPitchShift1616_TapsNum(shifter_, taps);
        if (shifter_->table_length != rate || shifter_->taps_count != taps) throw std::bad_alloc();
        shifter_->shift = int32_t(hz);
    }
    void run(int16_t* samples, int32_t count) override
    {
        ZVPitchShift1616_Process_16_16(shifter_, samples, samples, count, 1);
    }
    int32_t delay() const override { return shifter_->taps_count / 2; }

private:
    const zovek::PitchShift shifter_{ZVPitchShift1616_Construct};
};

class Chain : public Channel {
public:
    Chain(const std::vector<Wish>& wishes, int32_t rate)
    {
        for (const Wish& wish : wishes)
            if (wish.make) steps_.push_back(wish.make(rate));
    }

    int64_t delay() const
    {
        int64_t samples = 0;
        for (const auto& step : steps_) samples += step->delay();
        return samples;
    }

    void run(const int32_t* in, size_t count, size_t step, std::vector<int32_t>& out) override
    {
        samples_.resize(count);
        for (size_t k = 0; k < count; ++k) samples_[k] = int16_t(narrow(in[k * step]) / headroom);
        for (const auto& each : steps_) each->run(samples_.data(), int32_t(count));
        for (const int16_t v : samples_) out.push_back(saturated(int64_t(v) * headroom * 65536));
    }

private:
    std::vector<int16_t> samples_;
    std::vector<std::unique_ptr<Step>> steps_;
};

void check(const Wish& wish, const Input& input)
{
    const double band = input.rate / 2.0;
    if (std::abs(wish.hz) >= band)
        throw Failure(wish.text, "the recording's band ends at " + number(band) + " Hz");
    if (wish.width > band / 4)
        throw Failure(wish.text, "at this rate " + number(band / 4) + " Hz is the widest");
}

int run(const Options& options, const std::vector<Wish>& wishes)
{
    if (wishes.empty()) throw WrongUsage("nothing to do: --denoise, --autonotch, --notch or --shift");
    const auto input = Input::open(options.input);
    std::string steps;
    for (const Wish& wish : wishes) {
        check(wish, *input);
        steps += (steps.empty() ? "" : ", then ") + wish.text;
    }
    // A shift has a table of a second for each channel.
    const auto shifts = std::ranges::count(wishes, true, &Wish::moves);
    if (double(shifts) * input->rate * input->channels > most_shift_table)
        throw Failure(input->name, "the rate, times " + std::to_string(input->channels) +
                                       " channel(s), times " + std::to_string(shifts) +
                                       " shift(s), is beyond 16.7 MHz");
    Passage passage;
    for (int32_t c = 0; c < input->channels; ++c) {
        auto chain = std::make_unique<Chain>(wishes, input->rate);
        passage.delay = chain->delay();
        passage.channels.push_back(std::move(chain));
    }
    Output output(options.output, input->rate, input->channels);
    const Passed passed = pass("clean", *input, output, passage, options.json);
    const double delay = double(passage.delay) / input->rate;
    if (options.json) {
        JsonObject summary;
        summary.add("file", output.name()).add("steps", steps).add("channels", int64_t(input->channels));
        summary.add("output_rate", int64_t(input->rate)).add("delay", delay);
        report(summary.append(passed.json()));
    } else {
        say("clean: " + passed.text() + ", " + steps + ", a delay of " +
            number(std::round(delay * 1e5) / 100) + " ms taken off, to " + output.name());
    }
    return exit_status();
}

Wish prediction(const char* text, Prediction (*set)(int32_t rate), bool error)
{
    return {text, [=](int32_t rate) { return std::make_unique<Predictor>(set(rate), error); }};
}

// FREQ[:WIDTH]
Wish notch_of(const std::string& text)
{
    const size_t colon = text.find(':');
    const auto hz = parse_quantity(text.substr(0, colon), "Hz");
    const auto width = colon == std::string::npos ? 50 : parse_quantity(text.substr(colon + 1), "Hz");
    if (!hz || *hz <= 0 || !width || *width < 1)
        throw WrongValue(not_a("FREQ[:WIDTH] in Hz, 1 Hz wide or more", text));
    return {"notch " + number(*hz) + " Hz, " + number(*width) + " Hz wide",
            [at = *hz, wide = *width](int32_t rate) { return std::make_unique<Notch>(at, wide, rate); }, *hz,
            *width};
}

Wish shift_of(const std::string& text)
{
    const auto hz = parse_quantity(text, "Hz");
    if (!hz || *hz != std::round(*hz) || std::abs(*hz) > 1 << 24)
        throw WrongValue(not_a("a number of whole Hz", text));
    Wish wish = {.text = "shift " + number(*hz) + " Hz", .hz = *hz, .moves = *hz != 0};
    if (wish.moves) wish.make = [by = *hz](int32_t rate) { return std::make_unique<Shifter>(by, rate); };
    return wish;
}
} // namespace

Run add_clean(CommandLine& line)
{
    const auto options = std::make_shared<Options>();
    options->input.all_channels = true;
    add_input_options(line, options->input);
    add_output_options(line, options->output);
    const Option denoise = line.flag("--denoise", options->denoise, "pass what has pitch, lower noise");
    const Option autonotch =
        line.flag("--autonotch", options->autonotch, "take whistles off, wherever they are");
    const auto into = [](std::vector<Wish>& wishes, Wish (*read)(const std::string&)) {
        return [&wishes, read](const std::string& text) { wishes.push_back(read(text)); };
    };
    const Option notch = line.texts("--notch", into(options->notches, notch_of),
                                    "take one tone off; Hz, 50 wide if left out; any number of times")
                             .unit("FREQ[:WIDTH]");
    const Option shift = line.texts("--shift", into(options->shifts, shift_of),
                                    "move all frequencies by so many Hz, up or (negative) down")
                             .unit("HZ");
    line.flag("--json", options->json, "summary as JSON on standard error");
    line.footer("Steps run in the order given.");
    return [options, denoise, autonotch, notch, shift, line] {
        std::vector<Wish> wishes;
        auto next_notch = options->notches.begin(), next_shift = options->shifts.begin();
        for (const Option option : line.order()) {
            if (option == denoise) wishes.push_back(prediction("denoise", denoising, false));
            if (option == autonotch) wishes.push_back(prediction("autonotch", notching, true));
            if (option == notch) wishes.push_back(*next_notch++);
            if (option == shift) wishes.push_back(*next_shift++);
        }
        return run(*options, wishes);
    };
}
} // namespace client
