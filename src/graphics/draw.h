// The drawing routines of each depth, as the pixmap's storage asks for them.
#pragma once
#include <zovek/pixmap.h>

namespace zv::pixmap {
struct Routines {
    int32_t bits_per_pixel;
    int32_t bits; // that a pixel takes in its row
    decltype(ZVDynamicPixMap::pixel_raw) pixel_raw;
    decltype(ZVDynamicPixMap::line_horizontal_raw) line_horizontal_raw;
    decltype(ZVDynamicPixMap::line_vertical_raw) line_vertical_raw;
    decltype(ZVDynamicPixMap::line_raw) line_raw;
    decltype(ZVDynamicPixMap::clear) clear;
    decltype(ZVDynamicPixMap::rectangle) rectangle;
};

// The row of a depth, null if there is none.
const Routines* routines_of(int32_t bits_per_pixel);

// The clipped routines that serve all depths: they clip, and call the record's raw ones.
void pixel(ZVDynamicPixMap* self, int32_t x, int32_t y, uint32_t colour);
void line_vertical(ZVDynamicPixMap* self, int32_t x, int32_t y1, int32_t y2, uint32_t colour);
void line(ZVDynamicPixMap* self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour);
} // namespace zv::pixmap
