// Drawing in a pixmap. Fills at 8, 16 and 32 bits stand beside memset and std::fill over the same bytes: an
// image that fits the first cache, one that fits the second, and a large one.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>
#include <zovek/zovek.h>

namespace {
class Image {
public:
    Image(int32_t width, int32_t height, int32_t depth)
    {
        ZVDynamicPixMap_Construct(&map);
        ZVDynamicPixMap_FormatUpdate(&map, width, height, depth);
        std::memset(map.pixels, 0, map.image_bytes);
    }
    ~Image() { ZVDynamicPixMap_Destruct(&map, 0); }
    ZVDynamicPixMap map;
};

// Times fill(map, colour) over an image of width x height pixels.
template <class Fill>
void run(benchmark::State& state, int32_t depth, Fill fill)
{
    Image image(int32_t(state.range(0)), int32_t(state.range(1)), depth);
    uint32_t colour = 0x12345678;
    for (auto _ : state) {
        fill(&image.map, colour++);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * image.map.image_bytes);
}

template <class Pixel>
constexpr int32_t depth_of = 8 * sizeof(Pixel);

template <class Pixel>
void clear(benchmark::State& state)
{
    run(state, depth_of<Pixel>, [](ZVDynamicPixMap* p, uint32_t colour) { p->clear(p, colour); });
}

template <class Pixel>
void rectangle(benchmark::State& state)
{
    run(state, depth_of<Pixel>, [](ZVDynamicPixMap* p, uint32_t colour) {
        p->rectangle(p, 0, 0, p->width - 1, p->height - 1, colour);
    });
}

template <class Pixel>
void lines_horizontal(benchmark::State& state)
{
    run(state, depth_of<Pixel>, [](ZVDynamicPixMap* p, uint32_t colour) {
        for (int32_t y = 0; y < p->height; ++y) ZVDynamicPixMap_LineHorizontal(p, 0, p->width - 1, y, colour);
    });
}

template <class Pixel>
void std_fill(benchmark::State& state)
{
    run(state, depth_of<Pixel>, [](ZVDynamicPixMap* p, uint32_t colour) {
        std::fill_n(static_cast<Pixel*>(p->pixels), p->image_bytes / sizeof(Pixel), Pixel(colour));
    });
}

template <class Pixel>
void memset_fill(benchmark::State& state)
{
    run(state, depth_of<Pixel>, [](ZVDynamicPixMap* p, uint32_t colour) {
        std::memset(p->pixels, int(colour & 255), p->image_bytes);
    });
}

void sizes(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"width", "height"})->Args({64, 64})->Args({512, 256})->Args({1920, 1080});
}
#define FILLS(Pixel)                                                                                         \
    BENCHMARK(memset_fill<Pixel>)->Apply(sizes);                                                             \
    BENCHMARK(std_fill<Pixel>)->Apply(sizes);                                                                \
    BENCHMARK(clear<Pixel>)->Apply(sizes);                                                                   \
    BENCHMARK(rectangle<Pixel>)->Apply(sizes);                                                               \
    BENCHMARK(lines_horizontal<Pixel>)->Apply(sizes)
FILLS(uint8_t);
FILLS(uint16_t);
FILLS(uint32_t);

// 1000 seeded shapes in and around an image of 640 x 480. Items are the pixels of the shapes before clipping.
struct Box {
    int32_t x1, y1, x2, y2;
};
std::vector<Box> boxes(int32_t extent)
{
    std::mt19937 random(1);
    const auto below = [&](int32_t bound) { return int32_t(random() % uint32_t(bound)); };
    std::vector<Box> list(1000);
    for (Box& b : list) {
        b.x1 = below(640), b.y1 = below(480);
        b.x2 = b.x1 + below(2 * extent) - extent, b.y2 = b.y1 + below(2 * extent) - extent;
    }
    return list;
}

void lines(benchmark::State& state)
{
    Image image(640, 480, int32_t(state.range(0)));
    const std::vector<Box> list = boxes(int32_t(state.range(1)));
    int64_t pixels = 0;
    for (const Box& b : list) pixels += std::max(std::abs(b.x2 - b.x1), std::abs(b.y2 - b.y1)) + 1;
    for (auto _ : state)
        for (const Box& b : list) image.map.line(&image.map, b.x1, b.y1, b.x2, b.y2, 0x5A);
    state.SetItemsProcessed(state.iterations() * pixels);
}
BENCHMARK(lines)->ArgNames({"depth", "extent"})->ArgsProduct({{1, 4, 8, 16, 24, 32}, {20, 200}});

void rectangles(benchmark::State& state)
{
    Image image(640, 480, int32_t(state.range(0)));
    const std::vector<Box> list = boxes(int32_t(state.range(1)));
    int64_t pixels = 0;
    for (const Box& b : list) pixels += int64_t(std::abs(b.x2 - b.x1) + 1) * (std::abs(b.y2 - b.y1) + 1);
    for (auto _ : state)
        for (const Box& b : list) image.map.rectangle(&image.map, b.x1, b.y1, b.x2, b.y2, 0x5A);
    state.SetItemsProcessed(state.iterations() * pixels);
}
BENCHMARK(rectangles)->ArgNames({"depth", "extent"})->ArgsProduct({{1, 4, 8, 16, 24, 32}, {20, 200}});
} // namespace
