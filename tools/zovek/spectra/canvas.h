// A picture on the library's pixmap, at 8 bits with a palette or at 24 or 32 bits with packed colours.
// Whoever draws names places in the palette, and the three look the same.
#pragma once
#include "io/destination.h"
#include "spectra/palette.h"
#include <string>
#include <zovek.hpp>

namespace client::spectra {
enum class Align { left, middle, right };

class Canvas {
public:
    // Of paper. depth: 8, 24 or 32.
    Canvas(int32_t width, int32_t height, int depth);

    void dot(int x, int y, uint8_t index) { map_->pixel(map_, x, y, values_[index]); }
    void fill(int x1, int y1, int x2, int y2, uint8_t index)
    {
        map_->rectangle(map_, x1, y1, x2, y2, values_[index]);
    }
    void line(int x1, int y1, int x2, int y2, uint8_t index)
    {
        map_->line(map_, x1, y1, x2, y2, values_[index]);
    }
    void frame(int x1, int y1, int x2, int y2, uint8_t index);
    // y is the base line's row. The place is the text's left end, middle or right end.
    void text(int x, int y, const std::string& text, Ink ink, Align align = Align::left, double scale = 1);

    int32_t width() const { return map_->width; }
    int32_t height() const { return map_->height; }
    // Rows as bytes; at 8 bits map().palette holds 256 entries of the bytes red, green, blue, 0. At 24 and 32
    // bits a pixel is blue, green, red and, at 32, 255 for opaque.
    const ZVDynamicPixMap& map() const { return *map_; }

private:
    zovek::PixMap map_{ZVDynamicPixMap_Construct};
    std::array<uint32_t, 256> values_; // what the pixmap gets for each index
};

// Writes the picture's own rows at its depth: with a palette, as RGB or as RGBA. Fails with the reason.
void write_png(const Canvas& canvas, Destination& to);
} // namespace client::spectra
