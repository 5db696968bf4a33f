/* Pixmap: an image in memory whose size and depth can change at any time, and the routines that draw in it.
 *
 * A pixel is a plain number of 1, 4, 8, 16, 24 or 32 bits; what it means (an index into a palette, a packed
 * colour) is the client's matter. Of a colour argument the low bits count, as many as a pixel has:
 *
 *   bits_per_pixel   where pixel x lies in its row
 *   1                byte x / 8, bit x % 8, with bit 0 the lowest
 *   4                byte x / 2: even x in the low four bits, odd x in the high four
 *   8                byte x
 *   15, 16           bytes 2x and 2x + 1, low byte first; 15 takes 16 bits and behaves as 16
 *   24               bytes 3x to 3x + 2, low byte first
 *   32               bytes 4x to 4x + 3, low byte first
 *
 * Rows are whole 32-bit words, row 0 first; bytes at a row's end may belong to no pixel. The client reads and
 * writes pixels directly and calls the drawing routines through the record's code pointers, which each
 * change of format sets to those of the depth.
 *
 * Drawing. Coordinates run from (0, 0), the first pixel of the block, x along the row and y from row to row;
 * both ends of lines and rectangles are drawn. Clipped routines take any coordinates, ends in any order,
 * and draw what falls inside. Raw ones trust theirs: inside the image, ends in ascending order where the
 * comment says so. In an image without pixels (a width or height of 0) no routine draws.
 *
 * A client may put routines of its own into the record; a change of format, the same format by FormatUpdate
 * included, puts the library's back. pixel draws through pixel_raw, ZVDynamicPixMap_LineHorizontal through
 * line_horizontal_raw, line_vertical through line_vertical_raw. What else goes through pixel_raw, pixel by
 * pixel: line_horizontal_raw at 1, 4 and 24 bits, and line_vertical_raw, line, line_raw and rectangle at all
 * depths but 8 and 32. A client's pixel_raw that combines colours with what is there, or counts pixels, is
 * thus obeyed by these. At 8 and 32 bits, in line_horizontal_raw at 15 and 16, and in clear they write
 * directly.
 *
 * Palette test. With palette_colors not 0, pixel, ZVDynamicPixMap_LineHorizontal and line_vertical draw
 * nothing if the colour, as a signed number, is palette_colors or more. The other routines make no test. */
#ifndef ZOVEK_PIXMAP_H
#define ZOVEK_PIXMAP_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVDynamicPixMap ZVDynamicPixMap;
struct ZVDynamicPixMap {
    int32_t  width;          /* pixels in a row, at least 0; 1 at first. Read it, set it by the setter */
    int32_t  height;         /* rows, at least 0; 1 at first. Read it */
    int32_t  bits_per_pixel; /* depth: 1, 4, 8, 15, 16, 24 or 32; 32 at first. Read it */
    int32_t  palette_colors; /* written by the client: entries of the palette, for the palette test; 0 (none)
                                at first */
    void    *palette;        /* owned, of the client's layout: a block from MemoryAlloc that the client stores
                                here, freed by Destruct and otherwise left alone; null at first */
    void    *pixels;         /* owned: row y starts y * bytes_per_row bytes behind it. A change of format can
                                move it. Undefined content at first */
    uint32_t image_bytes;    /* bytes_per_row * height */

    /* One pixel: clipped, and raw. */
    void (*pixel)(ZVDynamicPixMap *self, int32_t x, int32_t y, uint32_t colour);
    void (*pixel_raw)(ZVDynamicPixMap *self, int32_t x, int32_t y, uint32_t colour);
    void *reserved; /* neither written nor read by the library */
    /* Raw horizontal line, x1 <= x2. Its clipped form is ZVDynamicPixMap_LineHorizontal. */
    void (*line_horizontal_raw)(ZVDynamicPixMap *self, int32_t x1, int32_t x2, int32_t y, uint32_t colour);
    /* Vertical line: clipped, and raw with y1 <= y2. */
    void (*line_vertical)(ZVDynamicPixMap *self, int32_t x, int32_t y1, int32_t y2, uint32_t colour);
    void (*line_vertical_raw)(ZVDynamicPixMap *self, int32_t x, int32_t y1, int32_t y2, uint32_t colour);
    /* Line from (x1, y1) to (x2, y2), clipped and raw: max(|x2 - x1|, |y2 - y1|) + 1 pixels, the same from
     * either end. Clipping moves an end to the image's edge and cuts it to a whole pixel there, so a clipped
     * line may lie beside the same part of the whole one. */
    void (*line)(ZVDynamicPixMap *self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour);
    void (*line_raw)(ZVDynamicPixMap *self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour);
    /* Fills the image, and but for depth 24 the bytes at the rows' ends too. */
    void (*clear)(ZVDynamicPixMap *self, uint32_t colour);
    /* Filled rectangle with any two opposite corners, clipped. */
    void (*rectangle)(ZVDynamicPixMap *self, int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour);

    int32_t  bytes_per_row;  /* width * bits, rounded up to a multiple of 4 bytes. Read it */
    uint32_t image_capacity; /* bytes that pixels holds; grows, never shrinks */
};

/* One pixel of 32 bits. A null self takes the record from the heap. Returns self, or null when memory can't
 * be had. */
ZV_API ZVDynamicPixMap *ZVDynamicPixMap_Construct(ZVDynamicPixMap *self);
/* Frees pixels and palette, and with bit 0 of flags the record as well. A null self does nothing. */
ZV_API void ZVDynamicPixMap_Destruct(ZVDynamicPixMap *self, uint32_t flags);

/* Sets size and depth at once. The bytes of the image stay where they are, now read as rows of the new
 * format, and what a grown block holds behind them is undefined: paint anew. The palette stays. A negative
 * size, another depth than the seven, and an image whose memory can't be had leave the pixmap as it was,
 * which width, height and bits_per_pixel show. A row takes at most 2147483644 bytes: 536870911 pixels of 32
 * bits, 715827881 of 24, 1073741822 of 15 or 16, 2147483644 of 8, and any number of fewer bits. The image
 * takes at most about 4286 million bytes, the largest block of the heap; without bytes any height will do. */
ZV_API void ZVDynamicPixMap_FormatUpdate(ZVDynamicPixMap *self, int32_t width, int32_t height,
                                         int32_t bits_per_pixel);
/* One of the three by FormatUpdate; the present value does nothing. BitsPerPixel takes 1, 4, 8, 16, 24 and 32
 * and ignores any other value. */
ZV_API void ZVDynamicPixMap_Width(ZVDynamicPixMap *self, int32_t width);
ZV_API void ZVDynamicPixMap_Height(ZVDynamicPixMap *self, int32_t height);
ZV_API void ZVDynamicPixMap_BitsPerPixel(ZVDynamicPixMap *self, int32_t bits_per_pixel);

/* The colour with bits 0 to 7 and bits 16 to 23 exchanged, as palette entries have it; the two do the same,
 * and self, null included, plays no part. */
ZV_API uint32_t ZVDynamicPixMap_ColorToPalette(ZVDynamicPixMap *self, uint32_t colour);
ZV_API uint32_t ZVDynamicPixMap_ColorFromPalette(ZVDynamicPixMap *self, uint32_t colour);

/* Clipped horizontal line, with the palette test. */
ZV_API void ZVDynamicPixMap_LineHorizontal(ZVDynamicPixMap *self, int32_t x1, int32_t x2, int32_t y,
                                           uint32_t colour);
ZV_END
#endif
