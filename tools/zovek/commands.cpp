#include "commands.h"
#include "io/talk.h"
#include "line/options.h"
#include "line/usage.h"
#include <CLI/CLI.hpp>
#include <zovek/base.h>

namespace client {
namespace {
// clang-format off
constexpr Command commands[] = {
    {"receive", "demodulate one station of a recorded band to audio, or several",
     "zovek receive band.flac -M am -f 12k -o station.wav", add_receive, true},
    {"decode", "data, text and tones out of recordings",
     "zovek decode packet.flac --mode packet", add_decode, true},
    {"resample", "convert a recording to another sampling rate",
     "zovek resample speech.wav -r 8k -o small.wav", add_resample, true},
    {"clean", "take noise, whistles and single tones off speech, or shift it",
     "zovek clean speech.wav --notch 1k --denoise -o clean.wav", add_clean, true},
    {"waterfall", "draw a recording: time downward, frequency across, level as colour",
     "zovek waterfall band.flac -o band.png --mark 12k:am:music", add_waterfall, true},
    {"spectrum", "averaged spectrum of a recording: tones, numbers or a picture",
     "zovek spectrum band.flac --from 10k --to 20k", add_spectrum, true},
    {"cpu", "show the processor and the kernels it gets",
     "zovek cpu", add_cpu, false},
    {"selftest", "run the whole library against its stored results",
     "zovek selftest", add_selftest, false},
};
// clang-format on

// Adds a command as its row tells.
Program::Row add(CLI::App& app, const Command& command)
{
    CLI::App* options = app.add_subcommand(command.name, command.help)->group("Commands");
    CommandLine line(app.get_subcommand_ptr(options));
    const Run run = command.add(line);
    if (command.talks)
        line.flag("--quiet", told_to_be_quiet, "say nothing but errors: no summary, notes or progress");
    const std::string notes = options->get_footer();
    options->footer(notes + (notes.empty() ? "" : "\n\n") + "Example: " + command.example);
    for (CLI::Option* option : options->get_options())
        if (option->get_expected_max() == 0) option->disable_flag_override(); // --json=5 is wrong
    return {&command, options, run};
}
} // namespace

Program program()
{
    Program result{std::make_shared<CLI::App>("Signal processing for radio receivers.", "zovek"), {}};
    CLI::App& app = *result.app;
    app.formatter(std::make_shared<Help>());
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", "zovek " ZOVEK_VERSION, "print the version and exit");
    app.require_subcommand(1);
    app.allow_windows_style_options(false); // a slash begins a path everywhere
    for (const Command& command : commands) result.rows.push_back(add(app, command));
    app.footer("zovek help COMMAND tells of a command's options, and so does zovek COMMAND --help.");
    return result;
}

int run(const std::vector<std::string>& arguments)
{
    const auto [app, rows] = program();
    const std::vector<std::string> words = arranged(*app, arguments);
    try {
        app->parse(std::vector(words.rbegin(), words.rend())); // the last one first
    } catch (const CLI::Success& asked) {                      // help or version
        return app->exit(asked);
    } catch (const CLI::ParseError& error) {
        throw WrongUsage(explain(*app, words, error));
    }
    for (const Program::Row& row : rows)
        if (row.options->parsed()) return row.run();
    return 0;
}
} // namespace client
