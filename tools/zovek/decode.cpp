// zovek decode: data, text and tones out of audio, or out of a station of a recorded band.
//
// Each file passes once, and every mode hears all of it. Messages go to standard output as they are found,
// the figures to standard error.
#include "command.h"
#include "io/iq.h"
#include "io/kiss.h"
#include "io/narrow.h"
#include "io/progress.h"
#include "io/selected.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "modes.h"
#include "radio/station.h"
#include <algorithm>
#include <cmath>
#include <map>

namespace client {
using namespace decoders;
using namespace words;
namespace {
struct Options {
    std::vector<std::string> paths = {"-"};
    InputOptions input;
    IQOptions iq = {.centre_names = "--center"}; // --centre is that of two tones
    std::vector<std::string> modes;
    Wishes station = {.mode = Mode::fm};
    bool demodulate = false; // audio comes from that station of the input
    bool json = false;
    std::optional<int> kiss; // port
};

// Audio out of an input: its chosen channel, or a station.
class Audio {
public:
    Audio(Input& input, const Options& options)
        : samples_(input),
          rate_(input.rate),
          block_(size_t(std::clamp(input.rate / 10, 256, most_block))) // a message waits for 0.1 s at most
    {
        if (input.rate > most_rate)
            throw Failure(input.name, "audio of " + number(input.rate) + " Hz is beyond 100 MHz");
        if (!options.demodulate) return;
        station_.emplace(input, options.station);
        rate_ = station_->plan().output_rate();
    }

    double rate() const { return rate_; }

    // The next samples; none at the end.
    const std::vector<int16_t>& next()
    {
        audio_.resize(block_);
        if (station_) {
            const auto& heard = station_->next_left();
            audio_.resize(heard.size());
            std::ranges::transform(heard, audio_.begin(), [](int32_t sample) { return narrow(sample); });
        } else
            audio_.resize(samples_.read(audio_.data(), block_));
        return audio_;
    }

private:
    static constexpr int32_t most_rate = 100'000'000; // Hz: filters are as long as that
    static constexpr int32_t most_block = 1 << 16;    // samples
    Selected samples_;
    std::optional<Station> station_;
    double rate_;  // Hz
    size_t block_; // samples
    std::vector<int16_t> audio_;
};

// What became of a file: a row of the table at the end.
struct Result {
    std::string name;
    bool failed = false; // in whole or in part; it has been told
    Pace pace;
    std::map<std::string, int> messages; // by mode
};

class Decoding {
public:
    Decoding(const Options& options, const std::vector<DataMode>& modes) : options_(options), modes_(modes)
    {
        if (!options.kiss) return;
        if (std::ranges::none_of(modes, [](const DataMode& mode) { return mode.has_frames; }))
            throw WrongUsage("--kiss is for --mode packet");
        kiss_.emplace(*options.kiss);
    }

    int run()
    {
        watch_for_stop();
        for (const std::string& path : options_.paths) {
            if (stop_signal()) break;
            Result& result = results_.emplace_back(Result{.name = path == "-" ? "standard input" : path});
            const Clock clock;
            try {
                decode(path, result);
            } catch (const Failure& failure) {
                if (std::ferror(stdout)) throw; // for no file it can go on
                fail(result, failure.what());
            }
            result.pace.work = clock.seconds();
        }
        const bool failed = results_.size() == 1 && results_[0].pace.duration == 0 && results_[0].failed;
        if (!failed) summarise(); // else all is said
        return exit_status(std::ranges::any_of(results_, &Result::failed));
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
        if (input->centre && !options_.demodulate)
            throw WrongUsage("I/Q holds a band: --if tells the station");
        Audio audio(*input, options_);
        tell_centre(*input);
        std::vector<std::unique_ptr<Decoder>> listeners;
        for (const DataMode& mode : modes_) {
            const auto emit = [&, name = mode.name](const Message& message) {
                ++result.messages[name];
                print(*input, name, message);
                if (kiss_ && !message.frame.empty()) kiss_->send(message.frame);
            };
            try {
                listeners.push_back(mode.make(audio.rate(), emit));
            } catch (const WrongSettings& error) {
                throw WrongUsage(spelled(error.what()));
            } catch (const NotAtThisRate& error) { // the other modes may
                const std::string why = input->name + ": " + mode.name + ": " + error.what();
                if (std::ranges::count(options_.modes, mode.name))
                    fail(result, why);
                else
                    say("decode: " + why);
            }
        }
        if (listeners.empty()) result.failed = true;
        while (!listeners.empty()) {
            const std::vector<int16_t>& samples = audio.next();
            result.pace.duration = double(input->taken) / input->rate;
            if (samples.empty()) break;
            if (kiss_) kiss_->attend();
            for (auto& listener : listeners) listener->push(samples.data(), samples.size());
        }
        for (auto& listener : listeners) listener->finish();
        if (!listeners.empty()) input->tell_end("decode", {.ends = "the messages end"});
    }

    void print(const Input& input, const char* mode, const Message& message) const
    {
        std::string line;
        if (options_.json) {
            JsonObject object;
            if (options_.paths.size() > 1) object.add("file", input.name);
            const double time = std::max(message.time, 0.0);
            object.add("sample", int64_t(std::llround(time * input.rate / input.per_frame)));
            object.add("seconds", time);
            if (input.timeline)
                add_time(object, input, time);
            else
                object.add("time", time);
            line = object.append(told(mode, message)).text();
        } else {
            line = printable(message.text);
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
               (result.messages.size() > 1 ? " (" + kinds + ")" : "") + ", " + result.pace.text();
    }

    void summarise() const
    {
        Result sum;
        size_t width = 0;
        for (const Result& result : results_) {
            width = std::max(width, result.name.size());
            sum.pace.duration += result.pace.duration;
            sum.pace.work += result.pace.work;
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
    std::optional<Kiss> kiss_;
    std::vector<Result> results_;
};

// Reads a frequency with k or M; whole Hz where the value is whole.
template <class Number>
std::function<void(const std::string&)> frequency_into(std::optional<Number>& value, double least,
                                                       double most)
{
    return [&value, least, most](const std::string& text) {
        const auto quantity = parse_quantity(text, "Hz");
        if (!quantity || *quantity < least || *quantity > most)
            throw WrongValue(not_a("a frequency in Hz", text));
        value = Number(*quantity);
    };
}
} // namespace

Run add_decode(CommandLine& line)
{
    const auto shared = std::make_shared<Options>();
    Options& options = *shared;
    line.texts("INPUT", options.paths, "recordings: WAV, RF64, FLAC, AU or raw; - is standard input (-)")
        .unit("");
    add_format_options(line, options.input);
    add_time_option(line, options.input);
    add_iq_options(line, options.iq);
    const Option mode = line.texts("--mode", options.modes, "what to decode; several as a,b: see below");
    const Option frequency =
        line.text("--if", frequency_into(options.station.frequency, -highest_tuned, highest_tuned),
                  "demodulate the station at this frequency of the recording first, true with --center; "
                  "takes k, M and G")
            .unit("HZ");
    line.choice("-M,--demodulate", options.station.mode, mode_names,
                "how that station is modulated: am, sam, isb, usb, lsb, fm, wfm or cw")
        .unit("MODE")
        .usually("fm")
        .needs(frequency);
    line.text("-b,--bandwidth", frequency_into(options.station.bandwidth, 0, 1e9),
              "of that station, as in zovek receive")
        .unit("HZ")
        .needs(frequency);
    line.flag("--json", options.json, "messages as JSON Lines");
    line.quantity("--kiss", options.kiss, 1, 65535, "PORT",
                  "packets go to KISS clients on this machine's TCP port as well (8001 is usual)");
    std::string list = "Modes:";
    std::vector<std::string> names = {all_modes};
    const std::vector<DataMode> modes = add_modes(line);
    for (const DataMode& row : modes) {
        names.emplace_back(row.name);
        list += "\n  " + names.back() + std::string(12 - names.back().size(), ' ') + spelled(row.help);
    }
    list += "\n  all         all of these, side by side; tones where --freq is given";
    line.footer(list);
    mode.separated_by(',').required().one_of(names).unit("MODE");
    return [shared, modes, frequency] {
        shared->demodulate = frequency.given();
        if (shared->iq.centre && !shared->demodulate) throw WrongUsage("--center is for a station: --if");
        if (shared->input.start && shared->paths.size() > 1)
            throw WrongUsage("--start is that of one recording");
        const std::vector<DataMode> rows = chosen(modes, shared->modes);
        for (const DataMode& row : rows)
            if (const auto cutoff = row.audio_cutoff ? row.audio_cutoff() : std::nullopt)
                shared->station.audio_cutoff = *cutoff;
        return Decoding(*shared, rows).run();
    };
}
} // namespace client
