// Colour arithmetic: four bytes at a time, each by itself.
#include <zovek/color.h>

namespace zv::color {
// The colour whose bytes are result(shift), cut to 8 bits; out of range on either side is 255.
template <class Result>
static uint32_t each_byte(Result result)
{
    uint32_t colour = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const int64_t byte = result(shift);
        colour |= (byte < 0 || byte > 255 ? 255 : static_cast<uint32_t>(byte)) << shift;
    }
    return colour;
}

static int64_t byte_at(uint32_t colour, int shift) { return colour >> shift & 255; }
} // namespace zv::color

using namespace zv;

uint32_t ColorInterpolate(uint32_t a, uint32_t b, int32_t divisor, int32_t multiplier)
{
    return color::each_byte([=](int shift) {
        const int64_t from = color::byte_at(a, shift), to = color::byte_at(b, shift);
        return from + (to - from) * multiplier / divisor;
    });
}

uint32_t ColorPonderate(uint32_t colour, int32_t multiplier, int32_t divisor)
{
    return color::each_byte([=](int shift) { return color::byte_at(colour, shift) * multiplier / divisor; });
}
