// Pixmap: storage and format. A change of format sizes the block, which never shrinks, and puts the routines
// of the depth into the record.
#include "core/frame.h"
#include "graphics/draw.h"

namespace zv::pixmap {
// Takes the format over if it is one and its memory can be had; else the pixmap stays as it was.
static bool set_format(ZVDynamicPixMap* self, int32_t width, int32_t height, int32_t bits_per_pixel)
{
    const Routines* routines = routines_of(bits_per_pixel);
    if (!routines || width < 0 || height < 0) return false;
    const int64_t row_bytes = (int64_t(width) * routines->bits + 31) / 32 * 4;
    if (row_bytes > INT32_MAX || !grow(self->pixels, self->image_capacity, uint64_t(row_bytes) * height))
        return false;
    self->width = width;
    self->height = height;
    self->bits_per_pixel = bits_per_pixel;
    self->image_bytes = static_cast<uint32_t>(row_bytes * height);
    self->bytes_per_row = static_cast<int32_t>(row_bytes);
    self->pixel = pixel;
    self->pixel_raw = routines->pixel_raw;
    self->line_horizontal_raw = routines->line_horizontal_raw;
    self->line_vertical = line_vertical;
    self->line_vertical_raw = routines->line_vertical_raw;
    self->line = line;
    self->line_raw = routines->line_raw;
    self->clear = routines->clear;
    self->rectangle = routines->rectangle;
    return true;
}

// Field by field: the reserved slot stays as it is.
static bool build(ZVDynamicPixMap* self)
{
    self->pixels = nullptr;
    self->image_capacity = 0;
    self->palette = nullptr;
    self->palette_colors = 0;
    return set_format(self, 1, 1, 32);
}

static uint32_t exchange_ends(uint32_t colour)
{
    return (colour & 0xFF00FF00) | (colour & 0xFF) << 16 | (colour >> 16 & 0xFF);
}
} // namespace zv::pixmap

using namespace zv;

ZVDynamicPixMap* ZVDynamicPixMap_Construct(ZVDynamicPixMap* self)
{
    return construct(self, pixmap::build, ZVDynamicPixMap_Destruct);
}

void ZVDynamicPixMap_Destruct(ZVDynamicPixMap* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->pixels);
    MemoryFree(self->palette);
    dismiss(self, flags);
}

void ZVDynamicPixMap_FormatUpdate(ZVDynamicPixMap* self, int32_t width, int32_t height,
                                  int32_t bits_per_pixel)
{
    pixmap::set_format(self, width, height, bits_per_pixel);
}

void ZVDynamicPixMap_Width(ZVDynamicPixMap* self, int32_t width)
{
    if (width != self->width) pixmap::set_format(self, width, self->height, self->bits_per_pixel);
}

void ZVDynamicPixMap_Height(ZVDynamicPixMap* self, int32_t height)
{
    if (height != self->height) pixmap::set_format(self, self->width, height, self->bits_per_pixel);
}

// The 15-bit format is reached by FormatUpdate alone.
void ZVDynamicPixMap_BitsPerPixel(ZVDynamicPixMap* self, int32_t bits_per_pixel)
{
    if (bits_per_pixel != self->bits_per_pixel && bits_per_pixel != 15)
        pixmap::set_format(self, self->width, self->height, bits_per_pixel);
}

uint32_t ZVDynamicPixMap_ColorToPalette(ZVDynamicPixMap*, uint32_t colour)
{
    return pixmap::exchange_ends(colour);
}

uint32_t ZVDynamicPixMap_ColorFromPalette(ZVDynamicPixMap*, uint32_t colour)
{
    return pixmap::exchange_ends(colour);
}
