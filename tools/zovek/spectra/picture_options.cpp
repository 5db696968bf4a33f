#include "spectra/picture_options.h"
#include "failure.h"
#include "options.h"

namespace client::spectra {
void add_picture_options(CLI::App& app, PictureOptions& options)
{
    app.add_option("-o,--output", options.output, "PNG file; - is standard output");
    add_quantity(app, "--floor", options.floor, -200, 200, "lowest level shown, dBFS");
    add_quantity(app, "--ceiling", options.ceiling, -200, 200, "highest level shown, dBFS");
    add_marks(app, options.marks);
    app.add_option("--title", options.title, "heading instead of the file's name");
    app.add_option("--depth", options.depth, "bits a pixel: 8 with a palette, 24 or 32")
        ->check(CLI::IsMember({8, 24, 32}))
        ->capture_default_str();
    app.add_option("--width", options.width, "pixels across, at most, without the margins")
        ->check(CLI::Range(64, 8192))
        ->capture_default_str();
    app.add_option("--height", options.height, "pixels down, at most, without the margins")
        ->check(CLI::Range(64, 8192))
        ->capture_default_str();
}

void check_picture_options(const PictureOptions& options)
{
    if (options.floor && options.ceiling && *options.floor >= *options.ceiling)
        throw WrongUsage("--ceiling is not above --floor");
}
} // namespace client::spectra
