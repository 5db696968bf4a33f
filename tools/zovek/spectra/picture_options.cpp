#include "spectra/picture_options.h"
#include "failure.h"
#include "options.h"

namespace client::spectra {
void add_picture_options(CLI::App& app, PictureOptions& options)
{
    app.add_option("-o,--output", options.output, "PNG file; - is standard output")->type_name("FILE");
    add_quantity(app, "--floor", options.floor, -200, 200, "DBFS", "lowest level shown; found if left out");
    add_quantity(app, "--ceiling", options.ceiling, -200, 200, "DBFS",
                 "highest level shown; found if left out");
    add_marks(app, options.marks);
    app.add_option("--title", options.title, "heading instead of the file's name")->type_name("TEXT");
    app.add_option("--depth", options.depth, "bits a pixel: 8 with a palette, 24 or 32")
        ->check(one_of({"8", "24", "32"}))
        ->type_name("BITS")
        ->capture_default_str();
    for (const auto& [name, pixels, help] :
         {std::tuple("--width", &options.width, "pixels across, at most, without the margins; 64 to 8192"),
          {"--height", &options.height, "pixels down, at most, without the margins; 64 to 8192"}})
        add_quantity(app, name, *pixels, 64, 8192, "N", help)->default_str(number(*pixels));
}

void check_picture_options(const CLI::App& app, const PictureOptions& options, std::vector<std::string> more)
{
    more.insert(more.end(), {"--mark", "--title", "--depth", "--width", "--height"});
    for (const std::string& name : more)
        if (options.output.empty() && app.count(name))
            throw WrongUsage(name + " is for a picture: -o FILE.png");
    for (const char* end :
         {".jpg", ".jpeg", ".gif", ".bmp", ".svg", ".pdf", ".webp", ".tiff", ".wav", ".flac"})
        if (options.output.ends_with(end)) throw WrongUsage(options.output + ": pictures are written as PNG");
    if (options.floor && options.ceiling && *options.floor >= *options.ceiling)
        throw WrongUsage("--ceiling is not above --floor");
}
} // namespace client::spectra
