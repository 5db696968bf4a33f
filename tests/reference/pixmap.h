// A pixmap as a set of bits: pixel x of a row is the bits from x * depth on, lowest first. Everything is
// drawn pixel by pixel, lines by the quotient for each pixel.
#pragma once
#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace reference {
struct Pixmap {
    using Points = std::vector<std::pair<int64_t, int64_t>>;

    int64_t width, height, bits;
    int32_t palette_colors = 0;
    int64_t row_bytes = (width * bits + 31) / 32 * 4;
    std::vector<uint8_t> bytes = std::vector<uint8_t>(size_t(row_bytes * height));

    void set_bit(int64_t y, int64_t bit, bool value)
    {
        uint8_t& byte = bytes[size_t(y * row_bytes + bit / 8)];
        byte = uint8_t((byte & ~(1 << bit % 8)) | value << bit % 8);
    }
    void set(int64_t x, int64_t y, uint32_t colour)
    {
        if (x < 0 || x >= width || y < 0 || y >= height) return;
        for (int64_t b = 0; b < bits; ++b) set_bit(y, x * bits + b, colour >> b & 1);
    }
    bool refuses(uint32_t colour) const { return palette_colors && int32_t(colour) >= palette_colors; }

    void pixel(int64_t x, int64_t y, uint32_t colour)
    {
        if (!refuses(colour)) set(x, y, colour);
    }
    void line_horizontal(int64_t x1, int64_t x2, int64_t y, uint32_t colour)
    {
        if (!refuses(colour)) rectangle(x1, y, x2, y, colour);
    }
    void line_vertical(int64_t x, int64_t y1, int64_t y2, uint32_t colour)
    {
        if (!refuses(colour)) rectangle(x, y1, x, y2, colour);
    }
    void rectangle(int64_t x1, int64_t y1, int64_t x2, int64_t y2, uint32_t colour)
    {
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x)
                if (x >= std::min(x1, x2) && x <= std::max(x1, x2) && y >= std::min(y1, y2) &&
                    y <= std::max(y1, y2))
                    set(x, y, colour);
    }
    // At 24 bits the pixels alone, else the bits that no pixel owns as well.
    void clear(uint32_t colour)
    {
        for (int64_t y = 0; y < height; ++y)
            for (int64_t bit = 0; bit < (bits == 24 ? width * 24 : row_bytes * 8); ++bit)
                set_bit(y, bit, colour >> bit % bits & 1);
    }

    static Points raster(int64_t x1, int64_t y1, int64_t x2, int64_t y2)
    {
        if (y1 > y2) std::swap(x1, x2), std::swap(y1, y2);
        const int64_t dx = x2 - x1, s = dx >= 0 ? 1 : -1, nx = dx + s, ny = y2 - y1 + 1, n = nx * s;
        Points points;
        if (n < ny)
            for (int64_t k = 0; k < ny; ++k) points.push_back({x1 + k * nx / ny, y1 + k});
        else
            for (int64_t k = 0; k < n; ++k) points.push_back({x1 + s * k, y1 + k * ny / n});
        return points;
    }
    // The ends are of 32 bits, so a product stays below 2^63.
    void line(int64_t x1, int64_t y1, int64_t x2, int64_t y2, uint32_t colour)
    {
        if (width == 0 || height == 0) return;
        if (x1 > x2) std::swap(x1, x2), std::swap(y1, y2);
        if (x2 < 0 || x1 >= width) return;
        if (x1 < 0) y1 += (y2 - y1) * x1 / (x1 - x2), x1 = 0;
        if (x2 >= width) y2 += (width - 1 - x2) * (y2 - y1) / (x2 - x1), x2 = width - 1;
        if (y1 > y2) std::swap(x1, x2), std::swap(y1, y2);
        if (y2 < 0 || y1 >= height) return;
        if (y1 < 0) x1 += (x2 - x1) * y1 / (y1 - y2), y1 = 0;
        if (y2 >= height) x2 += (height - 1 - y2) * (x2 - x1) / (y2 - y1), y2 = height - 1;
        for (const auto& [x, y] : raster(x1, y1, x2, y2)) set(x, y, colour);
    }
};
} // namespace reference
