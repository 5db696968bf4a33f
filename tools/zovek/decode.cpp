// zovek decode: data, text and tones out of audio, or out of a station of a recorded band.
//
// Each file passes once, and every mode hears all of it. Messages go to standard output as they are found, the
// figures to standard error.
#include "command.h"
#include "io/iq.h"
#include "io/selected.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "modes.h"
#include "radio/receiver.h"
#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

namespace client {
using namespace decoders;
using namespace words;
namespace {
struct Options {
    std::vector<std::string> paths = {"-"};
    InputOptions input;
    IQOptions iq;
    std::vector<std::string> modes;
    std::optional<Wishes> station; // set: audio comes from a station of the input
    bool json = false;
};

// Audio out of an input: its chosen channel, or what a receiver makes of it.
class Audio {
public:
    Audio(Input& input, const std::optional<Wishes>& station) : samples_(input), rate_(input.rate)
    {
        if (input.rate > most_rate)
            throw Failure(input.name, "audio of " + number(input.rate) + " Hz is beyond 100 MHz");
        block_ = size_t(std::clamp(input.rate / 10, 256, most_block)); // a message waits for 0.1 s at most
        if (!station) return;
        Wishes wishes = *station;
        wishes.centre = input.centre;
        plan_ = make_plan(input.rate, wishes);
        radio_ = std::make_unique<Receiver>(*plan_, Level{});
        rate_ = plan_->audio_rate();
        block_ = size_t(plan_->block);
    }

    double rate() const { return rate_; }

    // The next samples; none at the end.
    const std::vector<int16_t>& next()
    {
        if (!radio_) {
            audio_.resize(block_);
            audio_.resize(samples_.read(audio_.data(), block_));
            return audio_;
        }
        if (!settled_ && head_.empty()) settle();
        band_.resize(block_);
        const size_t count = head_.empty() ? samples_.read(band_.data(), block_) : take_head();
        audio_.clear();
        if (count)
            keep_left(radio_->receive(std::span(band_).first(count)));
        else
            flush();
        return audio_;
    }

private:
    // The station's level is found in the first second that isn't silent.
    void settle()
    {
        samples_.append(head_, (settling(plan_->rate) / block_ + 1) * block_);
        settled_ = !is_silent(head_);
        if (settled_) radio_->settle(head_);
    }

    size_t take_head()
    {
        const size_t count = std::min(head_.size() - given_, block_);
        std::copy_n(head_.begin() + ptrdiff_t(given_), count, band_.begin());
        given_ += count;
        if (given_ == head_.size()) std::vector<int16_t>().swap(head_), given_ = 0;
        return count;
    }

    void keep_left(const std::vector<int16_t>& stereo)
    {
        for (size_t k = 0; k < stereo.size(); k += 2) audio_.push_back(stereo[k]);
    }

    // Silence behind the end brings out what still is in the receiver's filters.
    void flush()
    {
        const int64_t most = plan_->delay() / plan_->keep;
        if (flushed_ >= most) return;
        keep_left(radio_->drain());
        audio_.resize(std::min(audio_.size(), size_t(most - flushed_)));
        flushed_ += int64_t(audio_.size());
    }

    static constexpr int32_t most_rate = 100'000'000; // Hz: filters are as long as that
    static constexpr int32_t most_block = 1 << 16;    // samples
    Selected samples_;
    double rate_; // Hz
    std::optional<Plan> plan_;
    std::unique_ptr<Receiver> radio_;
    bool settled_ = false;
    int64_t flushed_ = 0;
    size_t block_;     // samples
    size_t given_ = 0; // of head_
    std::vector<int16_t> head_, band_, audio_;
};

// What became of a file: a row of the table at the end.
struct Result {
    std::string name;
    bool failed = false;                 // in whole or in part; it has been told
    double duration = 0;                 // s, of the signal
    double work = 0;                     // s
    std::map<std::string, int> messages; // by mode
};

std::string decimals(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

class Decoding {
public:
    Decoding(const Options& options, const std::vector<DataMode>& modes) : options_(options), modes_(modes) {}

    int run()
    {
        watch_for_stop();
        for (const std::string& path : options_.paths) {
            if (stop_signal()) break;
            Result& result = results_.emplace_back(Result{.name = path == "-" ? "standard input" : path});
            const auto start = std::chrono::steady_clock::now();
            try {
                decode(path, result);
            } catch (const Failure& failure) {
                if (std::ferror(stdout)) throw; // for no file it can go on
                fail(result, failure.what());
            }
            result.work = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        }
        const bool failed = results_.size() == 1 && results_[0].duration == 0 && results_[0].failed;
        if (!failed) summarise(); // else all is said
        if (stop_signal()) return 128 + stop_signal();
        return std::ranges::any_of(results_, &Result::failed);
    }

private:
    static void fail(Result& result, const std::string& why)
    {
        result.failed = true;
        complain(why);
    }

    void decode(const std::string& path, Result& result)
    {
        InputOptions opened = options_.input;
        opened.path = path;
        const std::unique_ptr<Input> input = open_band(opened, options_.iq);
        if (input->centre && !options_.station) throw WrongUsage("I/Q holds a band: --if tells the station");
        if (!input->centre && options_.station && options_.station->frequency.value_or(0) < 0)
            throw WrongUsage("frequencies below 0 are for I/Q: --iq");
        Audio audio(*input, options_.station);
        std::vector<std::unique_ptr<Decoder>> listeners;
        for (const DataMode& mode : modes_) {
            const auto emit = [&, name = mode.name](const Message& message) {
                ++result.messages[name];
                print(*input, name, message);
            };
            try {
                listeners.push_back(mode.make(audio.rate(), emit));
            } catch (const WrongSettings& error) {
                throw WrongUsage(error.what());
            } catch (const NotAtThisRate& error) { // the other modes may
                fail(result, input->name + ": " + mode.name + ": " + error.what());
            }
        }
        while (!listeners.empty()) {
            const std::vector<int16_t>& samples = audio.next();
            result.duration = double(input->taken) / input->rate;
            if (samples.empty()) break;
            for (auto& listener : listeners) listener->push(samples.data(), samples.size());
        }
        for (auto& listener : listeners) listener->finish();
        if (listeners.empty() || stop_signal()) return;
        for (const std::string& line : input->complaints("the messages end")) say(line);
    }

    void print(const Input& input, const char* mode, const Message& message) const
    {
        std::string line = printable(message.text);
        if (options_.json) {
            JsonObject object;
            if (options_.paths.size() > 1) object.add("file", input.name);
            const double time = std::max(message.time, 0.0);
            object.add("sample", int64_t(std::llround(time * input.rate / input.per_frame)))
                .add("time", time)
                .add("mode", mode);
            if (message.level) object.add("level", std::round(*message.level * 10) / 10);
            if (message.snr) object.add("snr", std::round(*message.snr * 10) / 10);
            line = object.add("text", line).append(message.fields).text();
        } else {
            if (modes_.size() > 1) line = std::string(mode) + ": " + line;
            if (options_.paths.size() > 1) line = input.name + ": " + line;
        }
        std::printf("%s\n", line.c_str());
        deliver();
    }

    static std::string figures(const Result& result)
    {
        int total = 0;
        std::string kinds;
        for (const auto& [mode, count] : result.messages) {
            total += count;
            kinds += (kinds.empty() ? "" : ", ") + mode + " " + std::to_string(count);
        }
        return std::to_string(total) + (total == 1 ? " message" : " messages") +
               (result.messages.size() > 1 ? " (" + kinds + ")" : "") + ", " + decimals(result.duration) +
               " s, " + decimals(result.work > 0 ? result.duration / result.work : 0) + " x real time";
    }

    void summarise() const
    {
        Result sum;
        size_t width = 0;
        for (const Result& result : results_) {
            width = std::max(width, result.name.size());
            sum.duration += result.duration;
            sum.work += result.work;
            for (const auto& [mode, count] : result.messages) sum.messages[mode] += count;
        }
        if (results_.size() > 1)
            for (const Result& result : results_)
                say("decode: " + result.name + std::string(width + 2 - result.name.size(), ' ') +
                    figures(result) + (result.failed ? ", failed" : ""));
        say("decode: " + figures(sum));
    }

    const Options& options_;
    const std::vector<DataMode> modes_;
    std::vector<Result> results_;
};

// Reads a frequency with k or M; whole Hz where the value is whole.
template <class Number>
std::function<void(const std::string&)> frequency_into(std::optional<Number>& value, double least)
{
    return [&value, least](const std::string& text) {
        const auto quantity = parse_quantity(text, "Hz");
        if (!quantity || *quantity < least || *quantity > 1e9)
            throw WrongValue(not_a("a frequency in Hz", text));
        value = Number(*quantity);
    };
}
} // namespace

Run add_decode(CommandLine& line)
{
    struct Choice {
        Options options;
        Wishes station;
        std::vector<DataMode> modes;
    };
    const auto choice = std::make_shared<Choice>();
    Options& options = choice->options;
    line.texts("INPUT", options.paths, "recordings: WAV, RF64, FLAC, AU or raw; - is standard input (-)")
        .unit("");
    add_format_options(line, options.input);
    add_iq_options(line, options.iq);
    const Option mode = line.texts("--mode", options.modes, "what to decode; several as a,b: see below");
    const Option frequency =
        line.text("--if", frequency_into(choice->station.frequency, -1e9),
                  "demodulate the station at this frequency of the recording first; takes k and M")
            .unit("HZ");
    line.choice("-M,--demodulate", choice->station.mode, mode_names,
                "how that station is modulated: am, sam, isb, usb, lsb or fm")
        .unit("MODE")
        .usually("fm")
        .needs(frequency);
    choice->station.mode = Mode::fm;
    line.text("-b,--bandwidth", frequency_into(choice->station.bandwidth, 0),
              "of that station, as in zovek receive")
        .unit("HZ")
        .needs(frequency);
    line.flag("--json", options.json, "messages as JSON Lines");
    std::string list = "Modes:";
    std::vector<std::string> names;
    choice->modes = add_modes(line);
    for (const DataMode& row : choice->modes) {
        names.emplace_back(row.name);
        list += "\n  " + names.back() + std::string(12 - names.back().size(), ' ') + row.help;
    }
    line.footer(list);
    mode.separated_by(',').required().one_of(names).unit("MODE");
    return [choice, frequency] {
        const std::vector<DataMode> modes = chosen(choice->modes, choice->options.modes);
        Options& options = choice->options;
        if (frequency.given()) options.station = choice->station;
        return Decoding(options, modes).run();
    };
}
} // namespace client
