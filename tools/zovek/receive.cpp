// zovek receive: one station of a recorded band to audio.
//
// The first second of the band passes the receiver three times: to measure the station's level, to let the
// carrier loop and the DC blocker settle, and to be heard. Audio stands where it stood in the recording: the
// filters' delay is dropped at the start and made up with silence behind the end.
#include "command.h"
#include "io/converter.h"
#include "io/iq.h"
#include "io/output.h"
#include "io/selected.h"
#include "io/stop.h"
#include "io/system.h"
#include "io/talk.h"
#include "line/options.h"
#include "radio/receiver.h"
#include "words/words.h"
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <span>
#include <vector>

namespace client {
using namespace words;
namespace {
struct Options {
    InputOptions input;
    IQOptions iq;
    OutputOptions output;
    Wishes wishes;
    Level level;
    bool mono = false, json = false, verbose = false;
};

// Times the work, and shows it while it goes on if a person looks.
class Clock {
public:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

    void show(double received)
    {
        if (told_to_be_quiet || !system::is_terminal(system::standard_error()) || seconds() < next_) return;
        std::fprintf(stderr, "\r%.1f s, %.1f x real time ", received, received / seconds());
        next_ = seconds() + 0.25;
        shown_ = true;
    }
    void clear() const
    {
        if (shown_) std::fprintf(stderr, "\r\033[K");
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double next_ = 0.5; // s: nothing is shown of what is done at once
    bool shown_ = false;
};

class Reception {
public:
    explicit Reception(const Options& options)
        : options_(options),
          input_(open_band(options.input, options.iq)),
          plan_(make_plan(input_->rate, wishes_for(options.wishes, *input_))),
          radio_(plan_, options.level),
          band_(*input_)
    {
        if (plan_.over != plan_.under)
            for (int side = 0; side < (plan_.mode == ZVDemodMode_ISB ? 2 : 1); ++side)
                converters_.push_back(
                    std::make_unique<Converter>(plan_.over, plan_.under, plan_.resampler_taps()));
        if (!converters_.empty()) late_ = converters_[0]->delay();
        if (options.verbose) say("receive: " + explain(plan_));
        if (plan_.narrowed && !options.json)
            say("receive: the band's edge leaves " + number(plan_.width) + " Hz of the station");
        const double reach = std::abs(plan_.station - plan_.centre) + plan_.width / 2;
        if (plan_.centre && reach > usable_band * input_->rate / 2 && !options.json)
            say("receive: the station lies where the band fades, more than " +
                number(usable_band * input_->rate / 2) + " Hz from its centre");
        const double rate = plan_.output_rate(), whole = std::round(rate);
        if (std::fabs(rate - whole) > 1e-9 * rate && !options.json)
            say("receive: the audio's rate of " + number(rate) + " Hz stands as " + number(whole) +
                " Hz in a header (--audio-rate gives a whole one)");
    }

    int run()
    {
        watch_for_stop();
        Output output(options_.output, int32_t(std::lround(plan_.output_rate())), options_.mono ? 1 : 2);
        const size_t block = size_t(plan_.block), head = (settling(plan_.rate) + block - 1) / block * block;
        Clock clock;
        const auto next = [&] { // a block into head_; none at the end
            clock.show(heard_ / double(plan_.rate));
            head_.resize(block);
            head_.resize(output.full() ? 0 : band_.read(head_.data(), block));
            return !head_.empty();
        };
        // Silence before the station doesn't count.
        while (next() && is_silent(head_)) hear(head_, output);
        band_.append(head_, head - block);
        radio_.settle(head_);
        for (size_t at = 0; at < head_.size(); at += block)
            hear(std::span(head_).subspan(at, std::min(block, head_.size() - at)), output);
        while (next()) hear(head_, output);
        const Receiver::Readings readings = radio_.readings();
        // Silence behind the end brings out what still is in the filters.
        while (written_ < frames_of(heard_)) write(radio_.drain(), output);
        const double seconds = clock.seconds();
        clock.clear();
        output.finish();
        summarise(output, seconds, readings);
        return stop_signal() ? 128 + stop_signal() : 0;
    }

private:
    void hear(std::span<const int16_t> band, Output& output)
    {
        heard_ += int64_t(band.size());
        write(radio_.receive(band), output);
        overloads_ += radio_.overload();
    }

    // Frames of audio that belong to so many samples of the band.
    int64_t frames_of(int64_t samples) const
    {
        return std::llround(double(samples) / plan_.rate * plan_.output_rate());
    }

    // Negative frequencies are for recordings with a centre.
    static Wishes wishes_for(Wishes wishes, const Input& input)
    {
        if (!input.centre && wishes.frequency.value_or(0) < 0)
            throw WrongUsage("frequencies below 0 are for I/Q: --iq");
        wishes.centre = input.centre;
        return wishes;
    }

    // Stereo audio at the rate of the output, until the next call.
    const std::vector<int16_t>& converted(const std::vector<int16_t>& audio)
    {
        if (converters_.empty()) return audio;
        for (size_t side = 0; side < converters_.size(); ++side) {
            sides_[side].clear();
            converters_[side]->run(audio.data() + side, audio.size() / 2, 2, sides_[side]);
        }
        const std::vector<int16_t>&left = sides_[0], &right = sides_[converters_.size() - 1];
        const auto skipped = size_t(std::min(late_, int64_t(left.size())));
        late_ -= int64_t(skipped);
        stereo_.clear();
        for (size_t k = skipped; k < left.size(); ++k) {
            stereo_.push_back(left[k]);
            stereo_.push_back(right[k]);
        }
        return stereo_;
    }

    void write(const std::vector<int16_t>& received, Output& output)
    {
        const std::vector<int16_t>& audio = converted(received);
        const int64_t frames = std::min(int64_t(audio.size() / 2), frames_of(heard_) - written_);
        written_ += frames;
        if (!options_.mono) return output.write(audio.data(), size_t(2 * frames));
        left_.resize(size_t(frames));
        for (size_t k = 0; k < left_.size(); ++k) left_[k] = audio[2 * k];
        output.write(left_.data(), left_.size());
    }

    void summarise(const Output& output, double seconds, const Receiver::Readings& readings) const
    {
        const double duration = heard_ / double(plan_.rate), speed = seconds > 0 ? duration / seconds : 0;
        const bool sam = plan_.mode == ZVDemodMode_SyncAM, fm = plan_.mode == ZVDemodMode_FM;
        if (options_.json) {
            JsonObject summary;
            summary.add("file", output.name()).add("mode", mode_names[int(options_.wishes.mode)]);
            summary.add("frequency", int64_t(plan_.station - plan_.centre));
            summary.add("samples", heard_ / input_->per_frame).add("seconds", duration);
            summary.add("times_real_time", speed).add("overloads", overloads_);
            if (sam)
                summary.add("locked", readings.carrier_locked).add("carrier_offset", readings.carrier_offset);
            if (fm) summary.add("noise_level", int64_t(readings.noise_level));
            summary.add("input_rate", int64_t(plan_.rate / input_->per_frame))
                .add("detector_rate", plan_.detector_rate());
            summary.add("output_rate", plan_.output_rate()).add("output_frames", written_);
            summary.append(input_->faults.json()).add("stopped", stop_signal() != 0);
            std::fprintf(stderr, "%s\n", summary.text().c_str());
            return;
        }
        if (stop_signal())
            say("receive: stopped, the audio up to here is kept");
        else
            for (const std::string& line : input_->complaints("the audio ends")) say(line);
        std::string line = std::to_string(heard_ / input_->per_frame) + " samples, " + decimals(duration) +
                           " s, " + decimals(speed) + " x real time, audio at " +
                           number(plan_.output_rate()) + " Hz to " + output.name();
        if (overloads_) line += ", " + std::to_string(overloads_) + " overloaded blocks";
        if (sam)
            line += readings.carrier_locked ? ", carrier " + decimals(readings.carrier_offset) + " Hz off"
                                            : ", no carrier";
        if (fm) line += ", noise level " + std::to_string(readings.noise_level);
        say("receive: " + line);
    }

    static std::string decimals(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f", value);
        return text;
    }

    const Options& options_;
    const std::unique_ptr<Input> input_;
    const Plan plan_;
    Receiver radio_;
    Selected band_;
    std::vector<int16_t> head_;       // the first second, later a block
    int64_t heard_ = 0, written_ = 0; // samples of the band, frames of audio
    int64_t overloads_ = 0;           // blocks
    std::vector<int16_t> left_;
    std::vector<std::unique_ptr<Converter>> converters_; // to the output's rate: one, in isb one a side
    std::vector<int16_t> sides_[2], stereo_;
    int64_t late_ = 0; // of the converters' outputs, those before the recording's first
};
} // namespace

Run add_receive(CommandLine& line)
{
    const auto options = std::make_shared<Options>();
    Wishes& wishes = options->wishes;
    add_input_options(line, options->input);
    add_iq_options(line, options->iq);
    add_output_options(line, options->output);
    line.flag("--mono", options->mono, "one channel instead of two alike");
    line.choice("-M,--mode", wishes.mode, mode_names,
                "am, sam (synchronous), isb (lower left, upper right), usb, lsb or fm")
        .unit("MODE")
        .required();
    constexpr double top = 1e9; // Hz, beyond any recording
    line.quantity(
        "-f,--frequency", wishes.frequency, -top, top, "HZ",
        "the station's carrier in the recording, whole Hz; takes k and M; the middle of the band if "
        "left out");
    line.quantity(
        "-b,--bandwidth", wishes.bandwidth, 50, top, "HZ",
        "of the whole station, in usb and lsb of the sideband (am 9000, sam 5600, isb 5400, usb and "
        "lsb 2400, fm 16000)");
    line.quantity("--audio-cutoff", wishes.audio_cutoff, 50, top, "HZ",
                  "upper end of the audio (follows the bandwidth, fm 3000)");
    line.quantity("--taps", wishes.taps, 3, 1 << 20, "N",
                  "length of the filters behind the mixer (what the plan needs: -v)");
    line.quantity("--offset", wishes.offset, 50, 1e6, "HZ",
                  "usb, lsb: the sideband's middle from the carrier (1500; follows the bandwidth)");
    line.quantity("--audio-rate", wishes.audio_rate, 2000, 1e7, "HZ",
                  "rate of the audio, whole Hz; by division where that gives it, else resampled");
    line.flag("--agc", options->level.agc, "keep the audio at one loudness (not in isb)");
    line.quantity("--iq-agc", options->level.iq_agc, -60, 0, "DB",
                  "follow fading before the detector (not in fm); level in dB of full scale")
        .or_bare()
        .usually("-6");
    line.quantity("--gain", options->level.gain, 0, 1e6, "X",
                  "fixed audio gain instead of one found in the first second");
    line.quantity("--volume", options->level.volume, 0, 100, "X",
                  "output gain; peaks come to this part of full scale (0.5)");
    line.flag("--json", options->json, "summary as JSON on standard error");
    line.flag("-v,--verbose", options->verbose, "tell the frequency plan");
    return [options] {
        const Mode mode = options->wishes.mode;
        if (options->wishes.offset && mode != Mode::usb && mode != Mode::lsb)
            throw WrongUsage("--offset is for usb and lsb");
        if (mode == Mode::isb && (options->level.agc || options->mono))
            throw WrongUsage("isb has two channels: neither --agc nor --mono");
        if (mode == Mode::fm && options->level.iq_agc) throw WrongUsage("fm has no level: no --iq-agc");
        if (options->level.gain && (options->level.agc || options->level.iq_agc))
            throw WrongUsage("--gain is a fixed gain: neither --agc nor --iq-agc");
        return Reception(*options).run();
    };
}
} // namespace client
