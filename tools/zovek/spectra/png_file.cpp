#include "spectra/png_file.h"
#include "line/failure.h"
#include <png.h>
#include <vector>

namespace client::spectra {
void write_png(const Canvas& canvas, Destination& to)
{
    const ZVDynamicPixMap& map = canvas.map();
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(map.width);
    image.height = png_uint_32(map.height);
    std::vector<uint8_t> colours;
    switch (map.bits_per_pixel) {
    case 8:
        image.format = PNG_FORMAT_RGB_COLORMAP;
        image.colormap_entries = png_uint_32(map.palette_colors);
        for (int32_t k = 0; k < map.palette_colors; ++k) {
            const auto* entry = static_cast<const uint8_t*>(map.palette) + 4 * k;
            colours.insert(colours.end(), entry, entry + 3);
        }
        break;
    case 24:
        image.format = PNG_FORMAT_BGR;
        break;
    default:
        image.format = PNG_FORMAT_BGRA;
    }
    std::vector<uint8_t> file(PNG_IMAGE_PNG_SIZE_MAX(image));
    png_alloc_size_t bytes = file.size();
    if (!png_image_write_to_memory(&image, file.data(), &bytes, 0, map.pixels, map.bytes_per_row,
                                   colours.empty() ? nullptr : colours.data()))
        throw Failure(to.name(), image.message);
    to.put(file.data(), size_t(bytes));
    to.finish();
}
} // namespace client::spectra
