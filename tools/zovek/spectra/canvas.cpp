#include "spectra/canvas.h"
#include "spectra/font.h"
#include <cmath>
#include <new>

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
} // namespace client::spectra
