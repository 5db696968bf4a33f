// zovek: signal processing for radio receivers on the command line. Each command is a row of the table.
#include "command.h"
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <zovek/base.h>

using namespace client;

static const Command commands[] = {
    {"receive", "demodulate one station of a recorded band to audio", add_receive},
    {"decode", "data, text and tones out of recordings", add_decode},
    {"resample", "convert a recording to another sampling rate", add_resample},
    {"clean", "take noise, whistles and single tones off speech, or shift it", add_clean},
    {"waterfall", "draw a recording: time downward, frequency across, level as colour", add_waterfall},
    {"spectrum", "averaged spectrum of a recording: tones, numbers or a picture", add_spectrum},
    {"cpu", "show the processor and the kernels it gets", add_cpu},
    {"selftest", "run the whole library against its stored results", add_selftest},
};

void client::say(const std::string& line) { std::fprintf(stderr, "zovek: %s\n", line.c_str()); }

// The first line of a text: option errors may carry help behind it.
static std::string first_line(const std::string& text) { return text.substr(0, text.find('\n')); }

static int run(int argc, char** argv)
{
    CLI::App app("Signal processing for radio receivers.", "zovek");
    const std::string version = "zovek " + std::to_string(ZV_VERSION_MAJOR) + "." +
                                std::to_string(ZV_VERSION_MINOR) + "." + std::to_string(ZV_VERSION_PATCH);
    app.set_version_flag("--version", version, "print the version and exit");
    app.require_subcommand(1);
    std::vector<std::pair<CLI::App*, Run>> rows;
    for (const Command& command : commands) {
        CLI::App* options = app.add_subcommand(command.name, command.help);
        rows.emplace_back(options, command.add(*options));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) { // help or version
        return app.exit(asked);
    } catch (const CLI::ParseError& error) {
        throw WrongUsage(first_line(error.what()));
    }
    for (const auto& [options, runs] : rows)
        if (options->parsed()) return runs();
    return 0;
}

int main(int argc, char** argv)
{
    // A reader that has gone ends the program quietly, whatever the parent does with the signal.
    std::signal(SIGPIPE, SIG_DFL);
    try {
        return run(argc, argv);
    } catch (const WrongUsage& error) {
        say(std::string(error.what()) + " (see --help)");
        return 2;
    } catch (const std::bad_alloc&) {
        say("out of memory");
    } catch (const std::exception& error) {
        say(error.what());
    }
    return 1;
}
