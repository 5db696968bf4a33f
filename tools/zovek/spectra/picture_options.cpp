#include "spectra/picture_options.h"
#include "line/failure.h"
#include "line/options.h"
#include "words/words.h"
#include <tuple>

namespace client::spectra {
using namespace words;
void add_picture_options(CommandLine& line, PictureOptions& options)
{
    add_analysis_options(line, options.analysis);
    line.text("-o,--output", options.output, "PNG file; - is standard output; FILE.part while it is written")
        .unit("FILE");
    line.quantity("--floor", options.floor, -200, 200, "DBFS", "lowest level shown; found if left out");
    line.quantity("--ceiling", options.ceiling, -200, 200, "DBFS", "highest level shown; found if left out");
    line.texts(
            "--mark", [&options](const std::string& text) { options.marks.push_back(mark_of(text)); },
            "mark a station: carrier in Hz (takes k and M), mode and name; any number of times")
        .unit("FREQ[:MODE][:NAME]");
    line.text("--title", options.title, "heading instead of the file's name").unit("TEXT");
    line.text(
            "--depth", [&depth = options.depth](const std::string& bits) { depth = std::stoi(bits); },
            "bits a pixel: 8 with a palette, 24 or 32")
        .one_of({"8", "24", "32"})
        .unit("BITS")
        .usually(number(options.depth));
    for (const auto& [name, pixels, help] :
         {std::tuple("--width", &options.width, "pixels across, at most, without the margins; 64 to 8192"),
          {"--height", &options.height, "pixels down, at most, without the margins; 64 to 8192"}})
        line.quantity(name, *pixels, 64, 8192, "N", help).usually(number(*pixels));
}

void check_picture_options(const CommandLine& line, const PictureOptions& options,
                           std::vector<std::string> more)
{
    more.insert(more.end(), {"--mark", "--title", "--depth", "--width", "--height"});
    for (const std::string& name : more)
        if (options.output.empty() && line.given(name))
            throw WrongUsage(name + " is for a picture: -o FILE.png");
    for (const char* end :
         {".jpg", ".jpeg", ".gif", ".bmp", ".svg", ".pdf", ".webp", ".tiff", ".wav", ".flac"})
        if (ends_with_word(options.output, end))
            throw WrongUsage(options.output + ": pictures are written as PNG");
    if (options.floor && options.ceiling && *options.floor >= *options.ceiling)
        throw WrongUsage("--ceiling is not above --floor");
}
} // namespace client::spectra
