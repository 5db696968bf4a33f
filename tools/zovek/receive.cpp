// zovek receive: one station of a recorded band to audio.
#include "command.h"
#include "io/iq.h"
#include "io/output.h"
#include "io/progress.h"
#include "io/sigmf_output.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "radio/gate.h"
#include "radio/station.h"
#include "words/words.h"
#include <cmath>
#include <cstdlib>

namespace client {
using namespace words;
namespace {
struct Options {
    InputOptions input;
    IQOptions iq;
    OutputOptions output;
    Wishes wishes;
    Level level;
    std::string iq_path; // of a SigMF recording; empty: none
    bool squelched = false, overs_only = false;
    std::optional<double> threshold; // of the squelch, dB; nothing: by noise
    bool mono = false, json = false, verbose = false;
};

class Reception {
public:
    explicit Reception(const Options& options)
        : options_(options),
          input_(open_band(options.input, options.iq)),
          station_(*input_, options.wishes, options.level),
          plan_(station_.plan())
    {
        tell_centre(*input_);
        if (options.verbose) say("receive: " + explain(plan_));
        if (options.json) return;
        if (plan_.narrowed)
            say("receive: the band's edge leaves " + number(plan_.width) + " Hz of the station");
        const double reach = std::abs(plan_.station - plan_.centre) + plan_.width / 2;
        const double usable = usable_band * input_->rate / 2, rate = plan_.output_rate();
        if (plan_.centre && reach > usable)
            say("receive: the station lies where the band fades, more than " + number(usable) +
                " Hz from its centre");
        const double whole = std::round(rate);
        if (std::fabs(rate - whole) > 1e-9 * rate)
            say("receive: the audio's rate of " + number(rate) + " Hz stands as " + number(whole) +
                " Hz in a header (--audio-rate gives a whole one)");
    }

    int run()
    {
        watch_for_stop();
        Output output(options_.output, int32_t(std::lround(plan_.output_rate())), options_.mono ? 1 : 2);
        std::optional<SigMFOutput> pairs;
        if (!options_.iq_path.empty()) pairs.emplace(options_.iq_path);
        if (options_.squelched) {
            const Mode mode = options_.wishes.mode;
            const bool carrier = mode == Mode::am || mode == Mode::sam || mode == Mode::fm;
            squelch_.emplace(options_.threshold, carrier ? 0.1 : 1.5); // speech has pauses
            gate_.emplace(*squelch_, plan_.output_rate(), options_.mono ? 1 : 2, options_.overs_only);
        }
        if (pairs || squelch_)
            station_.record([&](std::span<const float> some) {
                if (pairs) pairs->write(some);
                if (squelch_) squelch_->look(some, plan_.detector_rate());
            });
        Progress progress;
        for (bool first = true; !output.full(); first = false) {
            const auto& audio = options_.mono ? station_.next_left() : station_.next();
            if (audio.empty()) break;
            if (first) tell_neighbour();
            write(output, gate_ ? gate_->pass(audio) : audio);
            progress.show(station_.seconds());
        }
        if (gate_) write(output, gate_->finish());
        const Pace pace = progress.end(station_.seconds());
        output.finish();
        if (pairs) pairs->finish(about_pairs());
        if (options_.json) {
            report(summary(output, pace));
        } else {
            input_->tell_end("receive", of_audio);
            if (options_.overs_only) tell_overs();
            say("receive: " + described(output, pace));
        }
        return exit_status();
    }

private:
    static void write(Output& output, const std::vector<int32_t>& audio)
    {
        output.write(audio.data(), audio.size());
    }

    int64_t frames() const { return gate_ ? gate_->frames() : station_.frames(); } // written

    // The overs of the gate, as a table.
    void tell_overs() const
    {
        if (gate_->begins().empty()) return say("receive: no overs");
        say("receive: overs in the file at s, in the recording from s, to s, level in dB");
        for (size_t k = 0; k < gate_->begins().size(); ++k) {
            const Over& over = squelch_->overs()[k];
            char row[80];
            std::snprintf(row, sizeof row, "%10.2f %10.2f %10.2f %8.1f", gate_->begins()[k], over.begin,
                          over.end, over.level);
            say(row);
        }
    }

    void add_overs(JsonObject& summary) const
    {
        std::vector<JsonObject> rows;
        for (size_t k = 0; k < gate_->begins().size(); ++k) {
            const Over& over = squelch_->overs()[k];
            rows.emplace_back().add("begin", over.begin).add("end", over.end).add("level", over.level);
            rows.back().add("file", gate_->begins()[k]);
        }
        summary.add("overs", rows);
    }

    bool synchronous() const { return plan_.mode == ZVDemodMode_SyncAM; }
    void tell_neighbour() const
    {
        if (!plan_.crowded || options_.json) return;
        say("receive: a strong neighbour, so the station is taken " + number(plan_.width) +
            " Hz wide (--bandwidth keeps a width)");
        if (options_.verbose) say("receive: " + explain(plan_));
    }

    bool fm() const { return plan_.mode == ZVDemodMode_FM; }
    int64_t samples() const { return station_.heard() / input_->per_frame; } // of the recording

    SigMFOutput::Description about_pairs() const
    {
        const int64_t centre = plan_.mixer - plan_.centre + plan_.origin;
        return {.rate = plan_.detector_rate(),
                .centre = double(centre),
                .started = input_->started,
                .description = "a station of " + input_->name + " at " + exact(double(plan_.frequency())) +
                               " Hz, " + mode_names[int(options_.wishes.mode)] + ", as the detector gets it"};
    }

    JsonObject summary(const Output& output, const Pace& pace) const
    {
        const Receiver::Readings& readings = station_.readings();
        JsonObject summary;
        summary.add("file", output.name()).add("mode", mode_names[int(options_.wishes.mode)]);
        summary.add("frequency", plan_.frequency());
        if (input_->tuned) summary.add("center", input_->tuned->centre);
        if (!input_->started.empty()) summary.add("datetime", input_->started);
        summary.add("samples", samples()).append(pace.json()).add("overloads", station_.overloads());
        if (synchronous())
            summary.add("locked", readings.carrier_locked).add("carrier_offset", readings.carrier_offset);
        if (fm()) summary.add("noise_level", int64_t(readings.noise_level));
        summary.add("bandwidth", plan_.width)
            .add("input_rate", int64_t(plan_.rate / input_->per_frame))
            .add("detector_rate", plan_.detector_rate());
        summary.add("output_rate", plan_.output_rate()).add("output_frames", frames());
        if (gate_) add_overs(summary);
        return summary.append(input_->faults.json());
    }

    std::string described(const Output& output, const Pace& pace) const
    {
        const Receiver::Readings& readings = station_.readings();
        std::string line = std::to_string(samples()) + " samples, " + pace.text() + ", audio at " +
                           number(plan_.output_rate()) + " Hz to " + output.name();
        if (station_.overloads()) line += ", " + std::to_string(station_.overloads()) + " overloaded blocks";
        if (synchronous())
            line += readings.carrier_locked ? ", carrier " + decimals(readings.carrier_offset) + " Hz off"
                                            : ", no carrier";
        if (fm()) line += ", noise level " + std::to_string(readings.noise_level);
        return line;
    }

    const Options& options_;
    const std::unique_ptr<Input> input_;
    Station station_;
    const Plan& plan_;
    std::optional<Squelch> squelch_;
    std::optional<Gate> gate_;
};
} // namespace

Run add_receive(CommandLine& line)
{
    const auto options = std::make_shared<Options>();
    Wishes& wishes = options->wishes;
    add_input_options(line, options->input);
    add_iq_options(line, options->iq);
    add_output_options(line, options->output);
    line.text(
            "--record-iq", options->iq_path,
            "the station's I/Q as well: SigMF of reals at the detector's rate, a pair of files by this name")
        .unit("FILE.sigmf-meta");
    line.flag("--mono", options->mono, "one channel instead of two alike");
    line.choice("-M,--mode", wishes.mode, mode_names,
                "am, sam (synchronous), isb (lower left, upper right), usb, lsb, fm or cw (Morse)")
        .unit("MODE")
        .required();
    constexpr double top = 1e9; // Hz, beyond any recording
    line.quantity(
        "-f,--frequency", wishes.frequency, -highest_tuned, highest_tuned, "HZ",
        "the station's carrier in the recording, whole Hz, true with --center; takes k, M and G; the middle "
        "of the band if left out");
    line.quantity(
        "-b,--bandwidth", wishes.bandwidth, 50, top, "HZ",
        "of the whole station, in usb and lsb of the sideband (am 9000, sam 5600, isb 5400, usb and "
        "lsb 2400, fm 16000, cw 500)");
    line.quantity("--audio-cutoff", wishes.audio_cutoff, 50, top, "HZ",
                  "upper end of the audio (follows the bandwidth, fm 3000)");
    line.quantity("--taps", wishes.taps, 3, 1 << 20, "N",
                  "length of the filters behind the mixer (what the plan needs: -v)");
    line.quantity("--offset", wishes.offset, 50, 1e6, "HZ",
                  "usb, lsb: the sideband's middle from the carrier (1500; follows the bandwidth)");
    line.quantity("--pitch", wishes.pitch, 100, 3000, "HZ",
                  "cw: the tone at which the carrier is heard (600)");
    line.quantity("--audio-rate", wishes.audio_rate, 2000, 1e7, "HZ",
                  "rate of the audio, whole Hz; by division where that gives it, else resampled");
    line.flag("--agc", options->level.agc, "keep the audio at one loudness (not in isb)");
    line.text(
            "--deemphasis",
            [&level = options->level](const std::string& text) { level.deemphasis = std::stod(text) * 1e-6; },
            "fm: take off the treble that the sender put on; time constant in microseconds")
        .one_of({"50", "75", "750"})
        .unit("US");
    line.quantity("--iq-agc", options->level.iq_agc, -60, 0, "DB",
                  "follow fading before the detector (not in fm); level in dB of full scale")
        .or_bare()
        .usually("-6");
    line.quantity("--gain", options->level.gain, 0, 1e6, "X",
                  "fixed audio gain instead of one found in the first second");
    line.quantity("--volume", options->level.volume, 0, 100, "X",
                  "output gain; peaks come to this part of full scale (0.5)");
    line.text(
            "--squelch",
            [&threshold = options->threshold, &squelched = options->squelched](const std::string& text) {
                squelched = true;
                threshold.reset();
                if (same_word(text, "noise")) return;
                threshold = parse_quantity(text, "dB");
                if (!threshold || *threshold < -150 || *threshold > 10)
                    throw WrongValue(not_a("a level in dB of full scale, -150 to 10, or noise", text));
            },
            "silence where the station is below a level; noise (fm): where it doesn't stand out of its noise")
        .unit("DB|noise");
    line.flag("--overs-only", options->overs_only, "leave that silence out, and list the overs");
    line.flag("--json", options->json, "summary as JSON on standard error");
    line.flag("-v,--verbose", options->verbose, "tell the frequency plan");
    return [options] {
        const Mode mode = options->wishes.mode;
        if (options->wishes.offset && mode != Mode::usb && mode != Mode::lsb)
            throw WrongUsage("--offset is for usb and lsb");
        if (options->overs_only && !options->squelched) throw WrongUsage("--overs-only needs --squelch");
        if (options->squelched && !options->threshold && mode != Mode::fm)
            throw WrongUsage("--squelch noise is for fm: a level in dB");
        if (options->wishes.pitch && mode != Mode::cw) throw WrongUsage("--pitch is for cw");
        if (mode == Mode::isb && (options->level.agc || options->mono))
            throw WrongUsage("isb has two channels: neither --agc nor --mono");
        if (options->level.deemphasis && mode != Mode::fm) throw WrongUsage("--deemphasis is for fm");
        if (mode == Mode::fm && options->level.iq_agc) throw WrongUsage("fm has no level: no --iq-agc");
        if (options->level.gain && (options->level.agc || options->level.iq_agc))
            throw WrongUsage("--gain is a fixed gain: neither --agc nor --iq-agc");
        options->level.wide = wants_wide(options->output);
        return Reception(*options).run();
    };
}
} // namespace client
