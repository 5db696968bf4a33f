// The pixmap: drawing at every depth against the pixel-set model, worked numbers, formats and storage.
#include "reference/pixmap.h"
#include "support/guarded.h"
#include "support/platform.h"
#include <array>
#include <gtest/gtest.h>
#include <random>
#include <zovek/zovek.h>

namespace {
constexpr int32_t depths[] = {1, 4, 8, 15, 16, 24, 32};

// A pixmap whose image ends at an unmapped page, and its model; both start with the same pattern.
class Canvas {
public:
    Canvas(int32_t width, int32_t height, int32_t depth)
        : model{width, height, depth == 15 ? 16 : depth}, image_(model.bytes.size())
    {
        ZVDynamicPixMap_Construct(&map);
        ZVDynamicPixMap_FormatUpdate(&map, width, height, depth);
        EXPECT_EQ(map.image_bytes, model.bytes.size());
        EXPECT_EQ(map.bytes_per_row, model.row_bytes);
        own_ = std::exchange(map.pixels, image_.data());
        std::fill(model.bytes.begin(), model.bytes.end(), 0xA5); // as Guarded
    }
    ~Canvas()
    {
        map.pixels = own_;
        ZVDynamicPixMap_Destruct(&map, 0);
    }
    // The first byte that differs from the model's, -1 if none does.
    int64_t difference()
    {
        const auto at = std::mismatch(model.bytes.begin(), model.bytes.end(), image_.data()).first;
        return at == model.bytes.end() ? -1 : at - model.bytes.begin();
    }
    ZVDynamicPixMap map;
    reference::Pixmap model;

private:
    test::Guarded<uint8_t> image_;
    void* own_;
};

using Model = reference::Pixmap;
struct At {
    int32_t x1, y1, x2, y2;
    uint32_t colour;
};
using Shape = void (*)(ZVDynamicPixMap* p, Model& m, At a);

// Each routine beside what it means in the model.
constexpr Shape clipped[] = {
    [](auto* p, auto& m, At a) { p->pixel(p, a.x1, a.y1, a.colour), m.pixel(a.x1, a.y1, a.colour); },
    [](auto* p, auto& m, At a) {
        ZVDynamicPixMap_LineHorizontal(p, a.x1, a.x2, a.y1, a.colour);
        m.line_horizontal(a.x1, a.x2, a.y1, a.colour);
    },
    [](auto* p, auto& m, At a) {
        p->line_vertical(p, a.x1, a.y1, a.y2, a.colour), m.line_vertical(a.x1, a.y1, a.y2, a.colour);
    },
    [](auto* p, auto& m, At a) {
        p->line(p, a.x1, a.y1, a.x2, a.y2, a.colour), m.line(a.x1, a.y1, a.x2, a.y2, a.colour);
    },
    [](auto* p, auto& m, At a) {
        p->rectangle(p, a.x1, a.y1, a.x2, a.y2, a.colour), m.rectangle(a.x1, a.y1, a.x2, a.y2, a.colour);
    },
    [](auto* p, auto& m, At a) { p->clear(p, a.colour), m.clear(a.colour); },
};
// These make no palette test, and get x1 <= x2 and y1 <= y2.
constexpr Shape raw[] = {
    [](auto* p, auto& m, At a) { p->pixel_raw(p, a.x1, a.y1, a.colour), m.set(a.x1, a.y1, a.colour); },
    [](auto* p, auto& m, At a) {
        p->line_horizontal_raw(p, a.x1, a.x2, a.y1, a.colour), m.rectangle(a.x1, a.y1, a.x2, a.y1, a.colour);
    },
    [](auto* p, auto& m, At a) {
        p->line_vertical_raw(p, a.x1, a.y1, a.y2, a.colour), m.rectangle(a.x1, a.y1, a.x1, a.y2, a.colour);
    },
    [](auto* p, auto& m, At a) {
        p->line_raw(p, a.x1, a.y1, a.x2, a.y2, a.colour), m.line(a.x1, a.y1, a.x2, a.y2, a.colour);
    },
    [](auto* p, auto& m, At a) {
        p->line_raw(p, a.x1, a.y2, a.x2, a.y1, a.colour), m.line(a.x1, a.y2, a.x2, a.y1, a.colour);
    },
};

std::mt19937 source;
int32_t below(int64_t bound) { return int32_t(source() % uint64_t(bound)); }
// Around the image, at its edges, anywhere, or at the ends of 32 bits.
int32_t place(int64_t size)
{
    const int64_t places[] = {below(3 * size + 2) - size, below(3) - 1,         size - 2 + below(3),
                              int32_t(source()),          INT32_MIN + below(3), INT32_MAX - below(3)};
    return int32_t(places[std::max(below(9) - 3, 0)]);
}

class EachDepth : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(All, EachDepth, testing::ValuesIn(depths), testing::PrintToStringParamName());

TEST_P(EachDepth, RandomShapesEqualTheModel)
{
    constexpr int32_t sizes[][2] = {{1, 1}, {37, 23}, {64, 5}, {3, 70}, {600, 2}};
    source.seed(1);
    for (const auto& [width, height] : sizes) {
        Canvas canvas(width, height, GetParam());
        for (int n = 0; n < 3000; ++n) {
            canvas.map.palette_colors = canvas.model.palette_colors = below(3) ? 0 : int32_t(source());
            const bool trusted = below(2);
            At a = {place(width), place(height), place(width), place(height), uint32_t(source())};
            if (trusted) {
                a.x1 = below(width), a.x2 = a.x1 + below(width - a.x1);
                a.y1 = below(height), a.y2 = a.y1 + below(height - a.y1);
            }
            const size_t shape = size_t(below(trusted ? std::size(raw) : std::size(clipped)));
            (trusted ? raw : clipped)[shape](&canvas.map, canvas.model, a);
            ASSERT_EQ(canvas.difference(), -1)
                << "step " << n << ", " << (trusted ? "raw " : "clipped ") << shape << ": " << a.x1 << ' '
                << a.y1 << ' ' << a.x2 << ' ' << a.y2 << " in " << width << " x " << height;
        }
    }
}

// With an image that has lost its rows, the block behind the record still has bytes to spoil.
TEST_P(EachDepth, NothingDrawsInAnEmptyImage)
{
    constexpr int32_t sizes[][2] = {{0, 3}, {3, 0}};
    for (const auto& [width, height] : sizes) {
        Canvas canvas(3, 3, GetParam());
        ZVDynamicPixMap& map = canvas.map;
        ZVDynamicPixMap_Width(&map, width);
        ZVDynamicPixMap_Height(&map, height);
        EXPECT_EQ(map.image_bytes, 0u);
        Model none{0, 0, 8};
        for (const Shape shape : raw) shape(&map, none, {0, 0, 2, 2, 1});
        for (const Shape shape : clipped)
            for (const int32_t end : {-5, 0, 2, 5}) shape(&map, none, {-5, -5, end, end, 1});
        EXPECT_EQ(canvas.difference(), -1);
    }
}

// A client's raw pixel, which notes where it is called. Which shapes ask it is each depth's own; those that
// don't draw the colour themselves, and those that do draw nothing else.
TEST_P(EachDepth, AClientsRawPixelDrawsTheShapesThatHaveNoDirectPath)
{
    static Model::Points asked;
    const bool direct = GetParam() == 8 || GetParam() == 32,
               rows = direct || GetParam() == 15 || GetParam() == 16;
    const auto run = [](int32_t x1, int32_t x2, int32_t y1, int32_t y2) {
        Model::Points points;
        for (int32_t y = y1; y <= y2; ++y)
            for (int32_t x = x1; x <= x2; ++x) points.push_back({x, y});
        return points;
    };
    const struct {
        const char* name;
        bool direct;
        Model::Points points; // in the order of drawing
        void (*draw)(ZVDynamicPixMap* p, uint32_t colour);
    } shapes[] = {
        {"pixel", false, {{3, 4}}, [](auto* p, uint32_t c) { p->pixel(p, 3, 4, c); }},
        {"horizontal", rows, run(0, 7, 2, 2),
         [](auto* p, uint32_t c) { ZVDynamicPixMap_LineHorizontal(p, 7, -3, 2, c); }},
        {"horizontal_raw", rows, run(1, 7, 2, 2),
         [](auto* p, uint32_t c) { p->line_horizontal_raw(p, 1, 7, 2, c); }},
        {"vertical", direct, run(5, 5, 3, 9), [](auto* p, uint32_t c) { p->line_vertical(p, 5, 12, 3, c); }},
        {"vertical_raw", direct, run(5, 5, 3, 8),
         [](auto* p, uint32_t c) { p->line_vertical_raw(p, 5, 3, 8, c); }},
        {"flat", direct, Model::raster(1, 6, 9, 2),
         [](auto* p, uint32_t c) { p->line_raw(p, 1, 6, 9, 2, c); }},
        {"steep", direct, Model::raster(2, 1, 5, 9),
         [](auto* p, uint32_t c) { p->line_raw(p, 2, 1, 5, 9, c); }},
        {"line", direct, Model::raster(0, 5, 4, 9), [](auto* p, uint32_t c) { p->line(p, -5, 0, 5, 10, c); }},
        {"rectangle", direct, run(0, 4, 2, 6), [](auto* p, uint32_t c) { p->rectangle(p, 4, 2, -2, 6, c); }},
        {"clear", true, run(0, 9, 0, 9), [](auto* p, uint32_t c) { p->clear(p, c); }},
    };
    for (const auto& shape : shapes) {
        Canvas canvas(10, 10, GetParam());
        canvas.map.pixel_raw = [](ZVDynamicPixMap*, int32_t x, int32_t y, uint32_t) {
            asked.push_back({x, y});
        };
        // A client's line_raw is no business of line's.
        if (shape.name == std::string("line")) canvas.map.line_raw = nullptr;
        asked.clear();
        shape.draw(&canvas.map, 0);
        EXPECT_EQ(asked, shape.direct ? Model::Points() : shape.points) << shape.name;
        if (shape.name == std::string("clear"))
            canvas.model.clear(0);
        else if (shape.direct)
            for (const auto& [x, y] : shape.points) canvas.model.set(x, y, 0);
        EXPECT_EQ(canvas.difference(), -1) << shape.name;
    }
}

// Points of lines as they are worked out by hand: of the model that judges the rest, and of the routines.
TEST(PixMap, WorkedLines)
{
    const struct {
        int32_t x1, y1, x2, y2;
        Model::Points points;
    } rows[] = {
        {4, 4, 4, 4, {{4, 4}}},
        {0, 0, 3, 1, {{0, 0}, {1, 0}, {2, 1}, {3, 1}}},
        {3, 1, 0, 0, {{0, 0}, {1, 0}, {2, 1}, {3, 1}}},
        {3, 0, 0, 1, {{3, 0}, {2, 0}, {1, 1}, {0, 1}}},
        {0, 0, 1, 3, {{0, 0}, {0, 1}, {1, 2}, {1, 3}}},
        {1, 0, 0, 3, {{1, 0}, {1, 1}, {0, 2}, {0, 3}}},
        {2, 2, 0, 0, {{0, 0}, {1, 1}, {2, 2}}},
        {-5, 0, 5, 10, {{0, 5}, {1, 6}, {2, 7}, {3, 8}, {4, 9}}}, // clipped to (0, 5) - (4, 9)
        {-5, 3, 4, -6, {}},                                       // passes the corner outside
        {-9, 2, -1, 2, {}},
    };
    for (const auto& [x1, y1, x2, y2, points] : rows) {
        Canvas canvas(10, 10, 8);
        canvas.map.line(&canvas.map, x1, y1, x2, y2, 0x5A);
        for (const auto& [x, y] : points) canvas.model.set(x, y, 0x5A);
        EXPECT_EQ(canvas.difference(), -1) << x1 << ' ' << y1 << ' ' << x2 << ' ' << y2;
    }
}

TEST(PixMap, WorkedBytes)
{
    const struct {
        int32_t depth, x;
        uint32_t colour;
        int at;
        std::vector<uint8_t> bytes; // from `at` on; the row before is all 0xA5
    } rows[] = {
        {1, 9, 0xFFFFFFFF, 1, {0xA7, 0xA5}},
        {1, 8, 0xFFFFFFFE, 1, {0xA4, 0xA5}},
        {4, 3, 0xFFFFFFF6, 1, {0x65, 0xA5}},
        {4, 2, 0xFFFFFFF6, 1, {0xA6, 0xA5}},
        {8, 3, 0x12345678, 3, {0x78, 0xA5}},
        {15, 2, 0x12345678, 4, {0x78, 0x56, 0xA5}},
        {16, 2, 0x12345678, 4, {0x78, 0x56, 0xA5}},
        {24, 1, 0x00ABCDEF, 3, {0xEF, 0xCD, 0xAB, 0xA5}},
        {32, 1, 0x12345678, 4, {0x78, 0x56, 0x34, 0x12, 0xA5}},
    };
    for (const auto& [depth, x, colour, at, bytes] : rows) {
        Canvas canvas(40, 2, depth);
        canvas.map.pixel(&canvas.map, x, 1, colour);
        const uint8_t* row = static_cast<uint8_t*>(canvas.map.pixels) + canvas.map.bytes_per_row;
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), row + at)) << depth << ' ' << x;
        EXPECT_EQ(row[at - 1], 0xA5) << depth;
    }
}

TEST(PixMap, FormatsAndStorage)
{
    ZVDynamicPixMap map;
    std::memset(&map, 0xC3, sizeof map);
    void* const reserved = map.reserved;
    ASSERT_EQ(ZVDynamicPixMap_Construct(&map), &map);
    EXPECT_EQ(map.reserved, reserved);
    EXPECT_EQ(map.palette, nullptr);
    EXPECT_EQ(map.palette_colors, 0);
    EXPECT_EQ((std::array{map.width, map.height, map.bits_per_pixel, map.bytes_per_row}),
              (std::array{1, 1, 32, 4}));
    EXPECT_EQ((std::array{map.image_bytes, map.image_capacity}), (std::array{4u, 4u}));

    const struct {
        int32_t width, depth, row_bytes;
    } rows[] = {{1, 1, 4},   {33, 1, 8},   {10, 24, 32}, {3, 4, 4},
                {5, 16, 12}, {32, 15, 64}, {32, 16, 64}, {7, 8, 8}};
    for (const auto& [width, depth, row_bytes] : rows) {
        ZVDynamicPixMap_FormatUpdate(&map, width, 3, depth);
        EXPECT_EQ((std::array{map.width, map.bits_per_pixel, map.bytes_per_row}),
                  (std::array{width, depth, row_bytes}));
        EXPECT_EQ(map.image_bytes, 3u * row_bytes);
    }

    // The bytes stay under a new format; the block never shrinks.
    map.clear(&map, 0x77);
    const ZVDynamicPixMap before = map;
    ZVDynamicPixMap_Width(&map, 2);
    ZVDynamicPixMap_BitsPerPixel(&map, 4);
    EXPECT_EQ((std::array{map.width, map.height, map.bits_per_pixel}), (std::array{2, 3, 4}));
    EXPECT_EQ(map.pixels, before.pixels);
    EXPECT_EQ((std::array{map.image_bytes, map.image_capacity}), (std::array{12u, before.image_capacity}));
    for (int k = 0; k < 24; ++k) EXPECT_EQ(static_cast<uint8_t*>(map.pixels)[k], 0x77) << k;

    // What is no format changes nothing. 15 bits come by FormatUpdate alone, with the routines of 16.
    const auto unchanged = [&](auto change) {
        const std::string old = test::bytes_of(map);
        change();
        return test::bytes_of(map) == old;
    };
    for (const int32_t depth : {15, 2, 0, -1, 33})
        EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_BitsPerPixel(&map, depth); })) << depth;
    EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_FormatUpdate(&map, 100, 100, 2); }));
    EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_FormatUpdate(&map, -1, -1, 32); }));
    EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_FormatUpdate(&map, INT32_MAX, INT32_MAX, 32); }));
    EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_FormatUpdate(&map, 1 << 29, 0, 32); })); // rows of 2^31 bytes
    {
        const test::Refusing refusing;
        EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_FormatUpdate(&map, 999, 999, 32); }));
        EXPECT_TRUE(unchanged([&] { ZVDynamicPixMap_Height(&map, 99999); }));
    }
    ZVDynamicPixMap_FormatUpdate(&map, 9, 9, 15);
    const auto raw15 = map.pixel_raw;
    ZVDynamicPixMap_BitsPerPixel(&map, 16);
    EXPECT_EQ(map.bits_per_pixel, 16);
    EXPECT_EQ(map.pixel_raw, raw15);

    map.palette = MemoryAlloc(64);
    ZVDynamicPixMap_Destruct(&map, 0);
    EXPECT_EQ(test::platform_calls.areas, 0);
}

// The limits that the header names: without rows the widest row costs no memory.
TEST(PixMap, TheWidestRows)
{
    const struct {
        int32_t depth, widest;
    } rows[] = {{32, 536870911}, {24, 715827881}, {16, 1073741822}, {15, 1073741822}, {8, 2147483644}};
    ZVDynamicPixMap map;
    ASSERT_TRUE(ZVDynamicPixMap_Construct(&map));
    for (const auto& [depth, widest] : rows) {
        ZVDynamicPixMap_FormatUpdate(&map, widest, 0, depth);
        EXPECT_EQ(map.width, widest);
        EXPECT_LE(map.bytes_per_row, 2147483644);
        ZVDynamicPixMap_FormatUpdate(&map, widest + 1, 0, depth);
        EXPECT_EQ(map.width, widest);
        ZVDynamicPixMap_FormatUpdate(&map, widest, 3, depth); // more than a block holds
        EXPECT_EQ(map.height, 0);
    }
    for (const int32_t depth : {4, 1}) {
        ZVDynamicPixMap_FormatUpdate(&map, INT32_MAX, 0, depth);
        EXPECT_EQ(map.bits_per_pixel, depth);
    }
    ZVDynamicPixMap_FormatUpdate(&map, 0, INT32_MAX, 32);
    EXPECT_EQ(map.height, INT32_MAX);
    ZVDynamicPixMap_Destruct(&map, 0);
}

TEST(PixMap, PaletteColours)
{
    const struct {
        int32_t palette_colors, colour;
        bool drawn;
    } rows[] = {{0, 200, true}, {16, 15, true}, {16, 16, false}, {16, -1, true}, {-8, -8, false}};
    for (const auto& [palette_colors, colour, drawn] : rows) {
        Canvas canvas(1, 1, 8);
        canvas.map.palette_colors = palette_colors;
        canvas.map.pixel(&canvas.map, 0, 0, uint32_t(colour));
        if (drawn) canvas.model.set(0, 0, uint32_t(colour));
        EXPECT_EQ(canvas.difference(), -1) << palette_colors << ' ' << colour;
    }
    EXPECT_EQ(ZVDynamicPixMap_ColorToPalette(nullptr, 0xFF123456), 0xFF563412u);
    EXPECT_EQ(ZVDynamicPixMap_ColorFromPalette(nullptr, 0x00332211), 0x00112233u);
}
} // namespace
