// zovek receive: one station of a recorded band to audio, or several.
#include "command.h"
#include "io/progress.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/options.h"
#include "stations.h"
#include "words/words.h"
#include <algorithm>

namespace client {
using namespace words;
namespace {
// The station of the options out of the band.
int receive(const ReceiveOptions& options)
{
    Reception reception(options, open_band(options.input, options.iq, part_of(options.wishes)));
    tell_centre(reception.input());
    reception.tell_plan();
    watch_for_stop();
    reception.open();
    Progress progress;
    while (reception.hear()) progress.show(reception.seconds());
    const Pace pace = progress.end(reception.seconds());
    reception.finish();
    if (options.json) {
        report(reception.summary(pace));
    } else {
        reception.input().tell_end("receive", of_audio);
        if (options.overs_only) reception.tell_overs();
        say("receive: " + reception.described(pace));
    }
    return exit_status();
}
} // namespace

Run add_receive(CommandLine& line)
{
    const auto options = std::make_shared<ReceiveOptions>();
    Wishes& wishes = options->wishes;
    add_input_options(line, options->input);
    add_time_option(line, options->input);
    add_iq_options(line, options->iq);
    add_output_options(line, options->output);
    add_rotation_option(line, options->period);
    line.text(
            "--record-iq", options->iq_path,
            "the station's I/Q as well: SigMF of reals at the detector's rate, a pair of files by this name")
        .unit("FILE.sigmf-meta");
    line.flag("--mono", options->mono, "one channel instead of two alike");
    line.choice("-M,--mode", wishes.mode, mode_names,
                "am, sam (synchronous), isb (lower left, upper right), usb, lsb, fm, wfm (broadcasts) or cw "
                "(Morse)")
        .unit("MODE");
    line.quantity(
        "-f,--frequency", wishes.frequency, -highest_tuned, highest_tuned, "HZ",
        "the station's carrier in the recording, whole Hz, true with --center; takes k, M and G; the middle "
        "of the band if left out");
    const auto stations = std::make_shared<std::vector<StationWish>>();
    line.texts(
            "--station", [stations](const std::string& text) { stations->push_back(station_wish(text)); },
            "a station and its file, any number of times: all are received in one pass, as -f, -M and -o "
            "say for one; the other options are for all of them")
        .unit("FREQ:MODE[,bandwidth=HZ]:FILE");
    line.quantity(
        "-b,--bandwidth", wishes.bandwidth, least_bandwidth, most_bandwidth, "HZ",
        "of the whole station, in usb and lsb of the sideband (am 9000, sam 5600, isb 5400, usb and "
        "lsb 2400, fm 16000, wfm 200000, cw 500)");
    line.quantity("--audio-cutoff", wishes.audio_cutoff, least_bandwidth, most_bandwidth, "HZ",
                  "upper end of the audio (follows the bandwidth, fm 3000, wfm 17000)");
    line.quantity("--taps", wishes.taps, 3, 1 << 20, "N",
                  "length of the filters behind the mixer (what the plan needs: -v)");
    line.quantity("--offset", wishes.offset, 50, 1e6, "HZ",
                  "usb, lsb: the sideband's middle from the carrier (1500; follows the bandwidth)");
    line.quantity("--pitch", wishes.pitch, 100, 3000, "HZ",
                  "cw: the tone at which the carrier is heard (600)");
    line.quantity("--audio-rate", wishes.audio_rate, 2000, 1e7, "HZ",
                  "rate of the audio, whole Hz (wfm 48000); by division where that gives it, else resampled");
    line.flag("--agc", options->level.agc, "keep the audio at one loudness (not in isb)");
    line.text(
            "--deemphasis",
            [&deemphasis = options->deemphasis](const std::string& text) {
                deemphasis = same_word(text, "none") ? 0 : std::stod(text) * 1e-6;
            },
            "fm, wfm: take off the treble that the sender put on; time constant in microseconds (wfm 50)")
        .one_of({"50", "75", "750", "none"})
        .unit("US");
    line.quantity("--iq-agc", options->level.iq_agc, -60, 0, "DB",
                  "follow fading before the detector (not in fm, wfm); level in dB of full scale")
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
            "silence where the station is below a level; noise (fm, wfm): where it doesn't stand out of its "
            "noise")
        .unit("DB|noise");
    line.flag("--overs-only", options->overs_only, "leave that silence out, and list the overs");
    line.flag("--json", options->json, "summary as JSON on standard error");
    line.flag("-v,--verbose", options->verbose, "tell the frequency plan");
    return [options, wishes = stations, line] {
        if (!wishes->empty()) {
            for (const char* single : {"--frequency", "--mode", "--output", "--record-iq"})
                if (line.given(single))
                    throw WrongUsage(std::string(single) + " is for one station: --station names its own");
            return receive_stations(options_of(*wishes, *options), *options);
        }
        if (!line.given("--mode")) throw WrongUsage("--mode is required, or --station");
        return receive(checked(*options));
    };
}
} // namespace client
