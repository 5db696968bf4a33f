#include "io/input.h"
#include "io/raw_input.h"
#include "io/sigmf.h"
#include "io/sound_file.h"
#include "io/stop.h"
#include "io/system.h"
#include "io/talk.h"
#include "io/tuned.h"
#include "line/options.h"
#include <algorithm>
#include <vector>

namespace client {
using namespace words;
void add_input_options(CommandLine& line, InputOptions& options)
{
    line.text("INPUT", options.path,
              "recording: WAV, FLAC, AIFF, AU, Ogg and others, or raw; - is standard input")
        .unit("")
        .usually(options.path);
    add_format_options(line, options);
}

void add_format_options(CommandLine& line, InputOptions& options)
{
    line.text("-t,--type", options.type,
              "auto; or without a header: raw (signed 16-bit little-endian), or the I/Q types cs16, cs8, "
              "cu8, cf32")
        .one_of({"auto", "raw", "cs16", "cs8", "cu8", "cf32"})
        .unit("TYPE")
        .usually(options.type);
    line.rate(options.rate_names, options.rate, "sampling rate of raw input; takes k and M: 48k");
    line.quantity("--channels", options.channels, 1, 1024, "N", "channels of raw input (1, of I/Q 2)");
    if (options.all_channels) return;
    line.quantity("--channel", options.channel, 1, 1024, "N", "the channel to take, 1 is the first (1)");
}

void add_time_option(CommandLine& line, InputOptions& options)
{
    line.text(
            "--start",
            [&start = options.start](const std::string& text) {
                start = parse_time(text);
                if (!start)
                    throw WrongValue("'" + text + "' is not a time with its zone: 2026-04-01T12:00:00Z");
            },
            "when the recording began, with the zone: 2026-04-01T12:00:00Z (as it tells; a live one by the "
            "clock)")
        .unit("TIME");
}

std::unique_ptr<Input> Input::open(const InputOptions& options)
{
    if (options.path == "-" && system::is_terminal(system::standard_input()))
        throw WrongUsage("standard input is a terminal: name a recording");
    const auto sigmf = options.type == "auto" ? read_sigmf(options.path) : std::nullopt;
    const RawType* raw = raw_type(options.type);
    const std::string flag = options.rate_names.substr(0, options.rate_names.find(','));
    if (raw && !options.rate) throw WrongUsage("raw input needs its sampling rate: " + flag + " RATE");
    if (!raw && options.rate) throw WrongUsage(flag + " is for raw input: -t raw");
    if (raw && raw->channels && options.channels && options.channels != raw->channels)
        throw WrongUsage(options.type + " has two channels");
    const std::string name = options.path == "-" ? "standard input" : options.path;
    std::unique_ptr<Input> input;
    if (sigmf) {
        if (options.channels) throw WrongUsage("--channels is for raw input: -t raw");
        input = open_raw(sigmf->data, *raw_type(sigmf->type));
        input->rate = sigmf->rate;
        input->channels = sigmf->channels;
        input->tuned = sigmf->tuned;
        if (sigmf->started) input->timeline = std::make_shared<Timeline>(*sigmf->started);
    } else if (raw) {
        input = open_raw(options.path, *raw);
        input->rate = options.rate;
        input->channels = std::max({raw->channels, options.channels, 1});
    } else
        input = open_sound_file(options.path, name);
    input->name = name;
    if (options.start) input->timeline = std::make_shared<Timeline>(*options.start);
    if (!input->tuned) input->tuned = tuned_by_name(options.path, input->rate);
    if (options.channel > input->channels)
        throw Failure(name, "has " + std::to_string(input->channels) + " channel(s), not " +
                                std::to_string(options.channel));
    if (!options.all_channels && !options.channel && input->channels > 1)
        say(name + ": " + std::to_string(input->channels) + " channels, taking the first (" +
            (options.maybe_iq && input->channels == 2 ? "I and Q need --iq, another one " : "see ") +
            "--channel)");
    input->channel = std::max(options.channel - 1, 0);
    return input;
}

void Input::count(size_t frames)
{
    taken += int64_t(frames);
    if (timeline)
        timeline->came(double(taken) / rate, std::chrono::time_point_cast<std::chrono::microseconds>(
                                                 std::chrono::system_clock::now()));
}

void add_time(JsonObject& to, const Input& input, double seconds)
{
    if (const auto time = input.timeline ? input.timeline->at(seconds) : std::nullopt)
        to.add("time", iso_time(*time));
}

void Input::take_after(const Input& source)
{
    name = source.name;
    tuned = source.tuned;
    origin = source.origin;
    timeline = source.timeline;
}

JsonObject Input::Faults::json() const
{
    return JsonObject()
        .add("truncated", truncated)
        .add("damaged", damaged)
        .add("unfinished", unfinished)
        .add("stopped", stop_signal() != 0);
}

void Input::tell_end(const std::string& command, const Product& product) const
{
    if (stop_signal()) {
        if (!product.stopped.empty()) say(command + ": stopped, " + product.stopped);
        return;
    }
    if (faults.unfinished)
        say(name + ": its header tells no length, as if the recorder had been killed; read to the end");
    if (faults.damaged) say(name + ": damaged, what can't be read of it is left out or silent");
    if (faults.truncated) say(name + ": truncated, " + product.ends + " where it does");
}
} // namespace client
