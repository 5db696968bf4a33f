// Drawing in a pixmap. Raw routines are templates over the depth, so the pixel store is part of their loops;
// clipped ones find what lies inside the image and leave the rest to the raw ones. At the depths without a
// direct path the pixels of lines and rectangles are the business of the record's pixel_raw, which may be a
// client's.
#include "graphics/draw.h"
#include "graphics/pixel.h"
#include <algorithm>
#include <utility>
#include <zovek/memory.h>

namespace zv::pixmap {
// ---- Common ground ----

static bool has_pixels(const ZVDynamicPixMap* self) { return self->image_bytes != 0; }

static uint8_t* row_of(const ZVDynamicPixMap* self, int32_t y)
{
    return static_cast<uint8_t*>(self->pixels) + ptrdiff_t(y) * self->bytes_per_row;
}

// The palette test.
static bool draws(const ZVDynamicPixMap* self, uint32_t colour)
{
    return self->palette_colors == 0 || static_cast<int32_t>(colour) < self->palette_colors;
}

static bool inside(int32_t place, int32_t size) { return place >= 0 && place < size; }

// The part of a run from a to b, in either order, that lies in 0 to size - 1.
struct Span {
    int32_t first, last;
    bool empty() const { return first > last; }
};
static Span clip(int32_t a, int32_t b, int32_t size)
{
    return {std::max(std::min(a, b), 0), std::min(std::max(a, b), size - 1)};
}

// ---- Raw routines, by depth ----

template <class Depth>
static void pixel_raw(ZVDynamicPixMap* self, int32_t x, int32_t y, uint32_t colour)
{
    if (has_pixels(self)) Depth::store(row_of(self, y), x, colour);
}

// Whether lines and rectangles write their pixels themselves: at 8 and 32 bits always, elsewhere in place of
// the library's own pixel_raw alone.
template <class Depth>
static bool draws_directly(const ZVDynamicPixMap* self)
{
    return Depth::bits == 8 || Depth::bits == 32 || self->pixel_raw == pixel_raw<Depth>;
}

// Pixels x1 to x2 of a row.
static void run_of_pixels(ZVDynamicPixMap* self, int32_t x1, int32_t x2, int32_t y, uint32_t colour)
{
    for (int32_t x = x1; x <= x2; ++x) self->pixel_raw(self, x, y, colour);
}

template <class Depth>
static void line_horizontal_raw(ZVDynamicPixMap* self, int32_t x1, int32_t x2, int32_t y, uint32_t colour)
{
    if (!has_pixels(self)) return;
    if (Depth::bits == 16 || draws_directly<Depth>(self))
        Depth::fill(row_of(self, y), x1, x2, colour);
    else
        run_of_pixels(self, x1, x2, y, colour);
}

template <class Depth>
static void line_vertical_raw(ZVDynamicPixMap* self, int32_t x, int32_t y1, int32_t y2, uint32_t colour)
{
    if (!has_pixels(self)) return;
    if (draws_directly<Depth>(self)) {
        const ptrdiff_t stride = self->bytes_per_row;
        uint8_t* row = row_of(self, y1);
        for (int32_t y = y1; y <= y2; ++y, row += stride) Depth::store(row, x, colour);
    } else {
        for (int32_t y = y1; y <= y2; ++y) self->pixel_raw(self, x, y, colour);
    }
}

// Raster of a line from column x1 of a row to column x2, rows - 1 rows further down: draw(row, x) for each
// pixel. A row is its address or its number, and stride the way to the next. With nx columns and ny rows,
// pixel k of a flat line (nx >= ny) lies k columns along and k * ny / nx rows down, cut to whole rows; of a
// steep one the other way round. The quotient is kept as an error sum: the minor count is added at each
// pixel, and each time the sum reaches the major count the minor coordinate takes a step (Bresenham's
// method).
template <class Row, class Draw>
static void raster(int32_t x1, int32_t x2, Row row, ptrdiff_t stride, uint32_t ny, Draw draw)
{
    const int32_t step = x2 >= x1 ? 1 : -1;
    const uint32_t nx = static_cast<uint32_t>(step > 0 ? x2 - x1 : x1 - x2) + 1;
    int32_t x = x1;
    uint32_t sum = 0; // below the major count, which is below 2^31
    if (nx < ny) {
        for (uint32_t k = 0; k < ny; ++k, row += stride) {
            draw(row, x);
            if ((sum += nx) >= ny) sum -= ny, x += step;
        }
    } else {
        for (uint32_t k = 0; k < nx; ++k, x += step) {
            draw(row, x);
            if ((sum += ny) >= nx) sum -= nx, row += stride;
        }
    }
}

template <class Depth>
static void line_raw(ZVDynamicPixMap* self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour)
{
    if (!has_pixels(self)) return;
    if (y1 > y2) std::swap(x1, x2), std::swap(y1, y2);
    const uint32_t rows = static_cast<uint32_t>(y2 - y1) + 1;
    if (draws_directly<Depth>(self))
        raster(x1, x2, row_of(self, y1), self->bytes_per_row, rows,
               [=](uint8_t* row, int32_t x) { Depth::store(row, x, colour); });
    else
        raster(x1, x2, ptrdiff_t(y1), 1, rows,
               [=](ptrdiff_t y, int32_t x) { self->pixel_raw(self, x, static_cast<int32_t>(y), colour); });
}

// ---- Areas, by depth ----

template <class Depth>
static void clear(ZVDynamicPixMap* self, uint32_t colour)
{
    if constexpr (Depth::bits == 32)
        MemorySet_DWord(self->pixels, colour, self->image_bytes / 4);
    else if constexpr (Depth::fits_words)
        Depth::fill_whole(row_of(self, 0), Depth::pattern(colour), self->image_bytes / 4);
    else if (has_pixels(self))
        for (int32_t y = 0; y < self->height; ++y) Depth::fill(row_of(self, y), 0, self->width - 1, colour);
}

template <class Depth>
static void rectangle(ZVDynamicPixMap* self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour)
{
    const Span columns = clip(x1, x2, self->width), rows = clip(y1, y2, self->height);
    if (columns.empty()) return;
    for (int32_t y = rows.first; y <= rows.last; ++y)
        if (draws_directly<Depth>(self))
            Depth::fill(row_of(self, y), columns.first, columns.last, colour);
        else
            run_of_pixels(self, columns.first, columns.last, y, colour);
}

// ---- Clipped routines, for all depths ----

void pixel(ZVDynamicPixMap* self, int32_t x, int32_t y, uint32_t colour)
{
    if (inside(x, self->width) && inside(y, self->height) && draws(self, colour))
        self->pixel_raw(self, x, y, colour);
}

void line_vertical(ZVDynamicPixMap* self, int32_t x, int32_t y1, int32_t y2, uint32_t colour)
{
    const Span rows = clip(y1, y2, self->height);
    if (inside(x, self->width) && !rows.empty() && draws(self, colour))
        self->line_vertical_raw(self, x, rows.first, rows.last, colour);
}

// An end of a line by the axis that is being clipped and the other one. In 64 bits: coordinates differ by
// less than 2^32 and at most 2^31 is cut off, so products stay below 2^63.
struct End {
    int64_t along, across;
};

// Cuts the line from a to b down to 0 <= along < size, with a the lower end; false if nothing is left.
static bool cut(End& a, End& b, int64_t size)
{
    if (a.along > b.along) std::swap(a, b);
    if (b.along < 0 || a.along >= size) return false;
    if (a.along < 0) a = {0, a.across + (b.across - a.across) * a.along / (a.along - b.along)};
    if (b.along >= size) {
        const int64_t over = size - 1 - b.along;
        b = {size - 1, b.across + over * (b.across - a.across) / (b.along - a.along)};
    }
    return true;
}

void line(ZVDynamicPixMap* self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour)
{
    if (!has_pixels(self)) return;
    End a = {x1, y1}, b = {x2, y2};
    if (!cut(a, b, self->width)) return;
    a = {a.across, a.along}, b = {b.across, b.along}; // y along, x across
    if (!cut(a, b, self->height)) return;
    // The depth's own raster, whatever stands in line_raw.
    if (const Routines* routines = routines_of(self->bits_per_pixel))
        routines->line_raw(self, static_cast<int32_t>(a.across), static_cast<int32_t>(a.along),
                           static_cast<int32_t>(b.across), static_cast<int32_t>(b.along), colour);
}

// ---- The table ----

template <class Depth>
static constexpr Routines with(int32_t bits_per_pixel)
{
    return {bits_per_pixel,           Depth::bits,     pixel_raw<Depth>, line_horizontal_raw<Depth>,
            line_vertical_raw<Depth>, line_raw<Depth>, clear<Depth>,     rectangle<Depth>};
}

constexpr Routines depths[] = {
    with<Depth<1>>(1),   with<Depth<4>>(4),   with<Depth<8>>(8),   with<Depth<16>>(15),
    with<Depth<16>>(16), with<Depth<24>>(24), with<Depth<32>>(32),
};

const Routines* routines_of(int32_t bits_per_pixel)
{
    for (const Routines& row : depths)
        if (row.bits_per_pixel == bits_per_pixel) return &row;
    return nullptr;
}
} // namespace zv::pixmap

using namespace zv;

void ZVDynamicPixMap_LineHorizontal(ZVDynamicPixMap* self, int32_t x1, int32_t x2, int32_t y, uint32_t colour)
{
    const pixmap::Span columns = pixmap::clip(x1, x2, self->width);
    if (pixmap::inside(y, self->height) && !columns.empty() && pixmap::draws(self, colour))
        self->line_horizontal_raw(self, columns.first, columns.last, y, colour);
}
