// zovek receive: one station of a recorded band to audio.
//
// The first second of the band passes the receiver three times: to measure the station's level, to let the
// carrier loop and the DC blocker settle, and to be heard. Audio stands where it stood in the recording: the
// filters' delay is dropped at the start and made up with silence behind the end.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <unistd.h>
#include <vector>
#include <zovek/demodulator.h>
#include "command.h"
#include "input.h"
#include "output.h"
#include "plan.h"
#include "stop.h"
#include "text.h"

namespace client {
namespace {
struct Options {
    InputOptions input;
    OutputOptions output;
    Wishes wishes;
    bool agc = false;
    std::optional<double> iq_agc; // dB
    std::optional<double> gain;
    std::optional<double> volume;
    bool mono = false, json = false, verbose = false;
};

constexpr double full_scale = 2147483648.0; // of 32-bit samples

// Share of a gap that a time constant in s closes at each sample.
double share_for(double seconds, double rate) { return 1 - std::exp(-1 / (seconds * rate)); }

// The demodulator as a plan sets it up.
class Receiver {
public:
    Receiver(const Plan& plan, const Options& options)
        : plan_(plan), radio_(ZVDemodulator16_Construct(nullptr), [](ZVDemodulator* d) { ZVDemodulator_Destruct(d, 1); })
    {
        ZVDemodulator* radio = radio_.get();
        if (!radio) throw std::bad_alloc();
        ZVDemodulator_IQDecimation(radio, plan.decimation);
        ZVDemodulator_AudioUpsample(radio, plan.upsample);
        ZVDemodulator_SamplingRate(radio, plan.rate, 1);
        ZVDemodulator_BufferSize(radio, plan.block, 0);
        ZVDemodulator_PostMixerLength(radio, plan.taps);
        ZVDemodulator_AudioFilterLength(radio, plan.audio_taps);
        ZVDemodulator_ISBFilterLength(radio, plan.hilbert_taps);
        ZVFIR_TapsNum(radio->noise_filter, plan.noise_taps);
        ZVDemodulator_Mode(radio, plan.mode);
        radio->sideband_sign = plan.sideband_sign;
        radio->sideband_offset = plan.offset;
        ZVDemodulator_PostMixerCutOff(radio, float(plan.cutoff));
        ZVDemodulator_AudioFilterCutOff(radio, float(plan.audio_cutoff));
        ZVDemodulator_LocalFrequency(radio, plan.mixer);
        // A setter that gets no memory leaves the object as it was.
        if (radio->sampling_rate != plan.rate || radio->buffer_size != plan.block ||
            radio->post_mixer_filter_i->taps_count < plan.taps || radio->post_mixer_filter_q->taps_count < plan.taps)
            throw std::bad_alloc();

        radio->filtered_callback = unbias;
        radio->noise_measure_enabled = plan.mode == ZVDemodMode_FM;
        radio->audio_gain = float(options.gain.value_or(plan.audio_gain));
        radio->volume = float(options.volume.value_or(0.5));
        if (options.agc) {
            ZVAGC* agc = radio->audio_agc_1;
            radio->audio_agc_enabled = 1;
            agc->target_level = 0.3 * full_scale / plan.upsample; // zeros between the samples take 1 / U
            agc->gain_fall_rate = share_for(0.02, plan.audio_rate());
            agc->gain_rise_rate = share_for(20, plan.audio_rate());
        }
    }

    // Sets a gain before the detector that brings peaks of this level to the target. It falls at once where a
    // peak goes beyond, and rises so slowly that it doesn't breathe with speech; with a level of the user's it
    // follows the signal both ways.
    void hold_level(double peak, std::optional<double> level_db)
    {
        ZVAGC* agc = radio_->iq_agc;
        const double level = level_db.value_or(target_level_db);
        radio_->iq_agc_enabled = 1;
        radio_->iq_agc_level = float(level);
        agc->gain = peak > 0 ? std::min(full_scale * std::pow(10, level / 10) / peak, 10000.0) : 1;
        agc->gain_fall_rate = share_for(level_db ? 0.3 : 0.002, plan_.detector_rate());
        agc->gain_rise_rate = level_db ? share_for(0.3, plan_.detector_rate()) : 0;
    }

    // Detector samples of a block of so many samples, padded as receive does.
    int32_t detected(size_t count) const { return int32_t((count + plan_.decimation - 1) / plan_.decimation); }

    // The peak that the station may come to, 32-bit units, by what the last block adds to that guess: a carrier's
    // peaks are at most twice its mean; speech grows to about three times what its first second shows.
    double expected_peak(double so_far, size_t count) const
    {
        const auto* i = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio_.get(), 3));
        const auto* q = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio_.get(), 4));
        double peak = 0, sum = 0;
        for (int32_t k = 0; k < detected(count); ++k) {
            const double magnitude = std::hypot(i[k], q[k]);
            peak = std::max(peak, magnitude);
            sum += magnitude;
        }
        const bool carrier = plan_.mode == ZVDemodMode_AM || plan_.mode == ZVDemodMode_SyncAM;
        return std::max(so_far, carrier ? std::max(peak, 2.2 * sum / detected(count)) : 3 * peak);
    }

    // Receives one block of frames with channels samples each, count at most plan.block; what is missing to a
    // multiple of D is taken as silence. Gives the audio, left, right, left, right.
    const std::vector<int16_t>& receive(std::vector<int16_t>& band, size_t count, int32_t channels, int32_t channel)
    {
        const size_t d = plan_.decimation, whole = (count + d - 1) / d * d;
        band.resize(std::max(band.size(), whole * size_t(channels)));
        std::fill(band.begin() + ptrdiff_t(count * size_t(channels)), band.begin() + ptrdiff_t(whole * size_t(channels)), 0);
        audio_.resize(2 * whole / d * plan_.upsample);
        ZVDemodulator16_Process_StereoOut_16_16(radio_.get(), band.data() + channel, audio_.data(),
                                                uint32_t(whole) * uint32_t(channels), uint32_t(channels));
        return audio_;
    }

    ZVDemodulator* get() const { return radio_.get(); }
    ZVDemodulator* operator->() const { return radio_.get(); }

private:
    // The mixer rounds down, which is half a unit of 16 bits too low on average: in a sideband a faint whistle.
    static void unbias(void*, ZVDemodulator*, int32_t count, void* i, void* q)
    {
        constexpr int32_t half = 32768;
        for (int32_t* channel : {static_cast<int32_t*>(i), static_cast<int32_t*>(q)})
            for (int32_t k = 0; k < count; ++k) channel[k] += channel[k] < INT32_MAX - half ? half : 0;
    }

    const Plan& plan_;
    std::unique_ptr<ZVDemodulator, void (*)(ZVDemodulator*)> radio_;
    std::vector<int16_t> audio_;
};

// What synchronous AM tells of its carrier, smoothed over about a second.
struct Carrier {
    double coherence = 0.5; // share of the station's power on the carrier's axis: 1 in lock, 1/2 without
    double offset = 0;      // Hz from the mixer's frequency

    void follow(Receiver& radio, double detector_rate, int32_t count)
    {
        const auto* i = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio.get(), 3));
        const auto* q = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio.get(), 4));
        double power = 0, on_axis = 0;
        for (int32_t k = 0; k < count; ++k) {
            power += double(i[k]) * i[k] + double(q[k]) * q[k];
            on_axis += double(radio->detector_output[k]) * radio->detector_output[k] / 2; // d is sqrt(2) X
        }
        const double share = 1 - std::exp(-count / detector_rate);
        if (power > 0) coherence += share * (on_axis / power - coherence);
        offset += share * (-radio->carrier_frequency * detector_rate / (2 * M_PI) - offset);
    }
    bool locked() const { return coherence > 0.75; }
};

// Times the work, and shows it while it goes on if a person looks.
class Clock {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

    void show(double received)
    {
        if (!isatty(STDERR_FILENO) || seconds() < next_) return;
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
        : options_(options), input_(Input::open(options.input)), plan_(make_plan(input_->rate, options.wishes)),
          radio_(plan_, options), skip_(std::llround(plan_.delay()))
    {
        if (options.verbose) say("receive: " + explain(plan_));
        if (plan_.narrowed && options.wishes.bandwidth)
            say("receive: the edge of the band leaves less than " + number(*options.wishes.bandwidth) + " Hz");
    }

    int run()
    {
        watch_for_stop();
        const size_t block = size_t(plan_.block), second = (size_t(plan_.rate) + block - 1) / block * block;
        head_.resize(second * size_t(input_->channels));
        head_.resize(input_->read(head_.data(), second) * size_t(input_->channels));
        Output output(options_.output, int32_t(std::lround(plan_.audio_rate())), options_.mono ? 1 : 2);

        Clock clock;
        std::vector<int16_t> band;
        settle(band);
        while (const size_t count = next(band)) {
            hear(band, count, output);
            clock.show(heard_ / double(plan_.rate));
        }
        // Silence behind the end brings out what still is in the filters.
        while (written_ < frames_of(heard_)) {
            band.assign(size_t(plan_.block), 0);
            write(radio_.receive(band, band.size(), 1, 0), output);
        }
        const double seconds = clock.seconds();
        clock.clear();
        output.finish();
        summarise(output, seconds);
        return stop_signal() ? 128 + stop_signal() : 0;
    }

private:
    // The next block of the band, from its first second and then from the input; 0 at the end.
    size_t next(std::vector<int16_t>& band)
    {
        const size_t frame = size_t(input_->channels), block = size_t(plan_.block);
        band.resize(block * frame);
        if (from_head_ == head_.size()) return input_->read(band.data(), block);
        const size_t samples = std::min(block * frame, head_.size() - from_head_);
        std::copy_n(head_.begin() + ptrdiff_t(from_head_), samples, band.begin());
        from_head_ += samples;
        return samples / frame;
    }

    // Passes the first second twice: once to find the station's level, once for loop and DC blocker.
    void settle(std::vector<int16_t>& band)
    {
        double peak = 0;
        for (const bool measure : {true, false}) {
            for (from_head_ = 0; from_head_ < head_.size();) {
                const size_t count = next(band);
                radio_.receive(band, count, input_->channels, input_->channel);
                if (measure) peak = radio_.expected_peak(peak, count);
                else carrier_.follow(radio_, plan_.detector_rate(), radio_.detected(count));
            }
            if (measure && !options_.gain && plan_.mode != ZVDemodMode_FM) radio_.hold_level(peak, options_.iq_agc);
        }
        from_head_ = 0;
    }

    void hear(std::vector<int16_t>& band, size_t count, Output& output)
    {
        heard_ += int64_t(count);
        write(radio_.receive(band, count, input_->channels, input_->channel), output);
        overloads_ += radio_->overload;
        carrier_.follow(radio_, plan_.detector_rate(), radio_.detected(count));
    }

    // Frames of audio that belong to so many samples of the band.
    int64_t frames_of(int64_t samples) const
    {
        return std::llround(double(samples) * plan_.upsample / plan_.decimation);
    }

    void write(const std::vector<int16_t>& audio, Output& output)
    {
        const int64_t late = std::min(skip_, int64_t(audio.size() / 2));
        skip_ -= late;
        const int64_t frames = std::min(int64_t(audio.size() / 2) - late, frames_of(heard_) - written_);
        written_ += frames;
        const int16_t* from = audio.data() + 2 * late;
        if (!options_.mono) return output.write(from, size_t(2 * frames));
        left_.resize(size_t(frames));
        for (size_t k = 0; k < left_.size(); ++k) left_[k] = from[2 * k];
        output.write(left_.data(), left_.size());
    }

    void summarise(const Output& output, double seconds) const
    {
        const double duration = heard_ / double(plan_.rate), speed = seconds > 0 ? duration / seconds : 0;
        const bool sam = plan_.mode == ZVDemodMode_SyncAM, fm = plan_.mode == ZVDemodMode_FM;
        if (options_.json) {
            JsonObject summary;
            summary.add("file", output.name()).add("mode", mode_names[int(options_.wishes.mode)]);
            summary.add("frequency", int64_t(plan_.station)).add("samples", heard_).add("seconds", duration);
            summary.add("times_real_time", speed).add("overloads", overloads_);
            if (sam) summary.add("locked", carrier_.locked()).add("carrier_offset", carrier_.offset);
            if (fm) summary.add("noise_level", int64_t(radio_->noise_level));
            summary.add("input_rate", int64_t(plan_.rate)).add("detector_rate", plan_.detector_rate());
            summary.add("output_rate", plan_.audio_rate()).add("output_frames", written_);
            summary.add("truncated", input_->truncated()).add("stopped", stop_signal() != 0);
            std::fprintf(stderr, "%s\n", summary.text().c_str());
            return;
        }
        if (stop_signal()) say("receive: stopped, the audio up to here is kept");
        else if (input_->truncated()) say(input_->name + ": truncated, the audio ends where it does");
        std::string line = number(heard_) + " samples, " + decimals(duration) + " s, " + decimals(speed) +
                           " x real time, audio at " + number(plan_.audio_rate()) + " Hz to " + output.name();
        if (overloads_) line += ", " + std::to_string(overloads_) + " overloaded blocks";
        if (sam) line += carrier_.locked() ? ", carrier " + decimals(carrier_.offset) + " Hz off" : ", no carrier";
        if (fm) line += ", noise level " + std::to_string(radio_->noise_level);
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
    Carrier carrier_;
    int64_t skip_;                         // frames of audio still to be dropped: the delay of the filters
    std::vector<int16_t> head_;            // the first second
    size_t from_head_ = 0;                 // values of it that next has given
    int64_t heard_ = 0, written_ = 0;      // samples of the band, frames of audio
    int64_t overloads_ = 0;                // blocks
    std::vector<int16_t> left_;
};

// An option with a quantity between two bounds, both included; the value of an absent one stays as it is.
template <class Number>
CLI::Option* add_quantity(CLI::App& app, const char* names, std::optional<Number>& value, double least, double most,
                          const std::string& help)
{
    const auto read = [&value, names, least, most](const std::string& text) {
        const auto quantity = parse_quantity(text);
        const bool whole = std::is_floating_point_v<Number> || (quantity && *quantity == std::floor(*quantity));
        if (!quantity || !whole || *quantity < least || *quantity > most)
            throw CLI::ValidationError(names, "'" + text + "' is not a " +
                                                  (std::is_floating_point_v<Number> ? "" : "whole ") + "number from " +
                                                  number(least) + " to " + number(most));
        value = Number(*quantity);
    };
    return app.add_option_function<std::string>(names, read, help);
}
} // namespace

Run add_receive(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    Wishes& wishes = options->wishes;
    add_input_options(app, options->input);
    add_output_options(app, options->output);
    app.add_flag("--mono", options->mono, "one channel instead of two alike");
    app.add_option_function<std::string>(
           "-M,--mode",
           [&wishes](const std::string& name) {
               wishes.mode = Mode(std::find(std::begin(mode_names), std::end(mode_names), name) - mode_names);
           },
           "am, sam (synchronous), isb (lower left, upper right), usb, lsb or fm")
        ->check(CLI::IsMember(std::vector<std::string>(std::begin(mode_names), std::end(mode_names))))
        ->required();
    constexpr double top = 1e9; // Hz, beyond any recording
    add_quantity(app, "-f,--frequency", wishes.frequency, 0, top,
                 "the station's carrier in the recording, whole Hz; takes k and M; a quarter of the rate if left out");
    add_quantity(app, "-b,--bandwidth", wishes.bandwidth, 50, top, "Hz; of the whole station, in usb and lsb of the sideband");
    add_quantity(app, "--audio-cutoff", wishes.audio_cutoff, 50, top, "upper end of the audio, Hz");
    add_quantity(app, "--taps", wishes.taps, 3, 1 << 20, "length of the filters behind the mixer");
    add_quantity(app, "--offset", wishes.offset, 50, 1e6, "usb, lsb: the sideband's middle from the carrier, Hz");
    add_quantity(app, "--audio-rate", wishes.audio_rate, 1, top, "least rate of the audio, Hz; the nearest Fs x U / D above");
    app.add_flag("--agc", options->agc, "keep the audio at one loudness (not in isb)");
    add_quantity(app, "--iq-agc", options->iq_agc, -60, 0, "follow fading before the detector (not in fm); level in dB of full scale")
        ->expected(0, 1)
        ->default_str("-6");
    add_quantity(app, "--gain", options->gain, 0, 1e6, "fixed audio gain instead of one found in the first second");
    add_quantity(app, "--volume", options->volume, 0, 100, "output gain; peaks come to this part of full scale (0.5)");
    app.add_flag("--json", options->json, "summary as JSON on standard error");
    app.add_flag("-v,--verbose", options->verbose, "tell the frequency plan");
    return [options] {
        const Mode mode = options->wishes.mode;
        if (options->wishes.offset && mode != Mode::usb && mode != Mode::lsb)
            throw WrongUsage("--offset is for usb and lsb");
        if (mode == Mode::isb && (options->agc || options->mono))
            throw WrongUsage("isb has two channels: neither --agc nor --mono");
        if (mode == Mode::fm && options->iq_agc) throw WrongUsage("fm has no level: no --iq-agc");
        if (options->gain && (options->agc || options->iq_agc))
            throw WrongUsage("--gain is a fixed gain: neither --agc nor --iq-agc");
        return Reception(*options).run();
    };
}
} // namespace client
