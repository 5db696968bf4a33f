#include "io/output.h"
#include "line/failure.h"
#include "line/options.h"
#include "words/words.h"
#include <algorithm>

namespace client {
using namespace words;
namespace {
// A form of output: what --output-type calls it, the ending of a name that asks for it, and what it is.
struct Form {
    const char *name, *ending;
    std::unique_ptr<Writer> (*write)(Destination&, const AudioForm&);
    Coding coding;
};

// clang-format off
constexpr Form forms[] = {
    {"wav",    ".wav",  write_wav,  Coding::s16}, // the first is that of any other name
    {"wav24",  nullptr, write_wav,  Coding::s24},
    {"wavf32", nullptr, write_wav,  Coding::f32},
    {"flac",   ".flac", write_flac, Coding::s16},
    {"flac24", nullptr, write_flac, Coding::s24},
    {"raw",    ".raw",  write_raw,  Coding::s16},
    {"s24",    ".s24",  write_raw,  Coding::s24},
    {"f32",    ".f32",  write_raw,  Coding::f32},
};
// clang-format on

const Form& form_of(const OutputOptions& options)
{
    const auto* form = std::ranges::find_if(forms, [&](const Form& row) {
        return options.type.empty() ? row.ending && ends_with_word(options.path, row.ending)
                                    : options.type == row.name;
    });
    if (form != std::end(forms)) return *form;
    // Names that say what the file wouldn't be.
    for (const char* end : {".mp3", ".ogg", ".opus", ".m4a", ".au", ".aiff", ".png"})
        if (ends_with_word(options.path, end))
            throw WrongUsage(options.path +
                             ": audio is written as WAV, FLAC or raw (--output-type, whatever the name)");
    return forms[0];
}

// The path, if it fits the form.
const std::string& checked(const OutputOptions& options)
{
    form_of(options);
    return options.path;
}
} // namespace

void add_output_options(CommandLine& line, OutputOptions& options)
{
    std::vector<std::string> names;
    for (const Form& form : forms) names.emplace_back(form.name);
    line.text("-o,--output", options.path, "audio file; - is standard output; FILE.part while it is written")
        .unit("FILE")
        .usually(options.path);
    line.text("--output-type", options.type,
              "wav, flac or raw (16 bits), wav24, flac24 or s24, wavf32 or f32; by the name's ending (.wav, "
              ".flac, "
              ".raw, .s24, .f32), else wav")
        .one_of(names)
        .unit("TYPE");
}

bool wants_wide(const OutputOptions& options) { return form_of(options).coding != Coding::s16; }

Output::Output(const OutputOptions& options, int32_t rate, int32_t channels) : to_(checked(options))
{
    const Form& form = form_of(options);
    writer_ = form.write(to_, {rate, channels, form.coding});
}

void Output::write(const int32_t* samples, size_t count)
{
    if (full()) return;
    trouble_ = writer_->write(samples, count);
    if (full() && (!to_.is_file() || writer_->empty())) throw Failure(name(), trouble_);
}

void Output::finish()
{
    writer_->finish();
    to_.finish();
    if (full()) throw Failure(name(), trouble_ + ": the audio up to there is kept");
}
} // namespace client
