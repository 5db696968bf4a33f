// Drawing at every depth, and colours.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
// Every routine with ends inside and outside of an image of odd width, with and without a palette's limit.
void pixmaps(Hash& hash)
{
    const zovek::PixMap image(ZVDynamicPixMap_Construct);
    for (const int32_t depth : {1, 4, 8, 15, 16, 24, 32}) {
        constexpr int32_t width = 77, height = 40;
        ZVDynamicPixMap_FormatUpdate(image, width, height, depth);
        MemorySet_Byte(image->pixels, 0x5A, image->image_bytes);
        Dice dice(static_cast<uint32_t>(depth));
        const auto x = [&] { return dice.below(3 * width) - width; };
        const auto y = [&] { return dice.below(3 * height) - height; };
        for (int n = 0; n < 60; ++n) {
            image->palette_colors = n % 3 == 0 ? 9 : 0;
            const uint32_t colour = n % 2 ? dice.next() : dice.next() % 16;
            const int32_t x1 = x(), x2 = x(), y1 = y(), y2 = y();
            image->pixel(image, x1, y1, colour);
            // Draws have a statement each, here and below: arguments are evaluated in an order of the
            // compiler's.
            const int32_t row = dice.below(height), column = dice.below(width);
            image->pixel_raw(image, column, row, ~colour);
            ZVDynamicPixMap_LineHorizontal(image, x1, x2, y2, colour);
            image->line_horizontal_raw(image, n / 2, n, n % height, colour);
            image->line_vertical(image, x2, y1, y2, colour);
            image->line_vertical_raw(image, n, n / 2, n % height > n / 2 ? n % height : n / 2, colour);
            image->line(image, x1, y1, x2, y2, colour);
            const int32_t from_row = dice.below(height), from_column = dice.below(width);
            image->line_raw(image, from_column, from_row, n, n / 2, colour);
            if (n % 5 == 0) image->rectangle(image, x1, y2, x2, y1, colour);
            hash.bytes(image->pixels, image->image_bytes);
        }
        image->clear(image, dice.next());
        hash.bytes(image->pixels, image->image_bytes);
    }
}

void colours(Hash& hash)
{
    Dice dice(16);
    for (int n = 0; n < 2000; ++n) {
        const uint32_t a = dice.next(), b = dice.next();
        const int32_t divisor = dice.below(300) + 1, multiplier = dice.below(900) - 300;
        hash.value(ColorInterpolate(a, b, n % 2 ? divisor : -divisor, multiplier));
        hash.value(ColorPonderate(a, multiplier, divisor));
        hash.value(ZVDynamicPixMap_ColorToPalette(nullptr, b));
    }
}
} // namespace client::selftest
