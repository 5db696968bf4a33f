#include "spectra/canvas.h"
#include "line/failure.h"
#include "spectra/font.h"
#include <cmath>
#include <new>
#include <png.h>
#include <vector>

namespace client::spectra {
Canvas::Canvas(int32_t width, int32_t height, int depth)
{
    ZVDynamicPixMap_FormatUpdate(map_, width, height, depth);
    if (map_->width != width || map_->height != height || map_->bits_per_pixel != depth)
        throw std::bad_alloc();
    const Palette palette = make_palette();
    for (size_t k = 0; k < values_.size(); ++k)
        values_[k] = depth == 8 ? uint32_t(k) : 0xff000000 | palette[k];
    if (depth == 8) {
        auto* entries = static_cast<uint32_t*>(MemoryAlloc(sizeof palette));
        if (!entries) throw std::bad_alloc();
        map_->palette = entries;
        map_->palette_colors = int32_t(palette.size());
        for (const uint32_t colour : palette) *entries++ = ZVDynamicPixMap_ColorToPalette(map_, colour);
    }
    map_->clear(map_, values_[paper]);
}

void Canvas::frame(int x1, int y1, int x2, int y2, uint8_t index)
{
    ZVDynamicPixMap_LineHorizontal(map_, x1, x2, y1, values_[index]);
    ZVDynamicPixMap_LineHorizontal(map_, x1, x2, y2, values_[index]);
    map_->line_vertical(map_, x1, y1, y2, values_[index]);
    map_->line_vertical(map_, x2, y1, y2, values_[index]);
}

void Canvas::text(int x, int y, const std::string& text, Ink ink, Align align, double scale)
{
    const double width = text_width(text) * scale;
    const double left = x - (align == Align::left ? 0 : align == Align::middle ? width / 2 : width - 1);
    draw_text(text, std::round(left), y, scale, [&](int px, int py, double cover) {
        const auto part = int(std::lround(cover * (ink_shades - 1)));
        if (part > 0) dot(px, py, shade(ink, part));
    });
}

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
