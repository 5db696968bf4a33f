// The resampler: worked numbers, the ratio search, every kernel against the formula, streams cut in any way,
// and what a refusal of memory leaves.
#include "core/heap.h"
#include "reference/resampler.h"
#include "resample/resampler.h"
#include "support/guarded.h"
#include "support/platform.h"
#include "support/processors.h"
#include "support/signals.h"
#include <functional>
#include <zovek.hpp>

namespace {
using test::Guarded, test::noise, test::OnProcessor, test::same, test::Signal, test::Signal32;

using zovek::Resampler;

Resampler make(int32_t over = 1, int32_t under = 1, int32_t taps = 127, int32_t block = 1024)
{
    Resampler r(ZVResampler32_Construct);
    ZVResampler32_BufferSize(r, block); // in this order no layout on the way is larger than the last
    ZVResampler32_Under(r, under);
    ZVResampler32_Over(r, over);
    ZVResampler32_TapsNum(r, taps);
    return r;
}

reference::Resampler model_of(const Resampler& r)
{
    return {r->over, r->under, {r->coefficients, r->coefficients + r->taps_count}};
}

// Processors, from none of the sets to all that this machine has.
struct Processor {
    const char* name;
    uint32_t features, sets;
};
const Processor processors[] = {{"scalar", 0, 0},
                                {"sse2", zv::sse2, 0},
                                {"avx2", zv::sse2, zv::avx2},
                                {"avx512", zv::sse2, zv::avx2 | zv::avx512 | zv::avx512vnni}};

// Typed calls under one name.
uint32_t push(ZVResampler32* r, uint8_t* out, const uint8_t* in, int32_t length, int32_t step = 1)
{
    return ZVResampler32_ProcessIn_8_8(r, out, in, length, step);
}
uint32_t push(ZVResampler32* r, int16_t* out, const int16_t* in, int32_t length, int32_t step = 1)
{
    return ZVResampler32_ProcessIn_16_16(r, out, in, length, step);
}
uint32_t push(ZVResampler32* r, int32_t* out, const int32_t* in, int32_t length, int32_t step = 1)
{
    return ZVResampler32_ProcessIn_32_32(r, out, in, length, step);
}
void pull(ZVResampler32* r, uint8_t* out, const uint8_t* in, uint32_t outputs, int32_t step = 1)
{
    ZVResampler32_ProcessOut_8_8(r, out, in, outputs, step);
}
void pull(ZVResampler32* r, int16_t* out, const int16_t* in, uint32_t outputs, int32_t step = 1)
{
    ZVResampler32_ProcessOut_16_16(r, out, in, outputs, step);
}

// The whole of x in pieces of the given sizes, in turn; the output ends at an unmapped page.
template <class Sample>
std::vector<Sample> pushed(const Resampler& r, const std::vector<Sample>& x,
                           std::vector<size_t> pieces = {1 << 30})
{
    const int64_t span = int64_t(x.size()) * r->over - r->phase;
    const size_t wanted = span <= 0 ? 0 : size_t((span + r->under - 1) / r->under);
    Guarded<Sample> out(wanted);
    size_t made = 0;
    for (size_t k = 0, n = 0, count; k < x.size(); ++n, k += count) {
        count = std::min(pieces[n % pieces.size()], x.size() - k);
        made += push(r, out.data() + made, x.data() + k, int32_t(count));
    }
    EXPECT_EQ(made, wanted);
    return {out.data(), out.data() + made};
}

Signal32 widened(const Signal& x)
{
    Signal32 wide;
    for (const int16_t v : x) wide.push_back(reference::left_justified(v));
    return wide;
}
Signal narrowed(const Signal32& x)
{
    Signal narrow;
    for (const int32_t v : x) narrow.push_back(reference::top16(v));
    return narrow;
}

TEST(Resampler, StartsAsALowPassOfRatioOne)
{
    const Resampler r = make();
    EXPECT_EQ(r->history_length, 126);
    EXPECT_EQ(r->coefficients[63], 1825361120);
    EXPECT_EQ(r->coefficients[62], 310015838);
    EXPECT_EQ(r->coefficients[64], 310015838);
    EXPECT_EQ(r->coefficients[0], 0);
    EXPECT_EQ(r->coefficients[126], 0);
    // design | taps up to 4 | 126 + 1024 samples up to 4 | output
    EXPECT_EQ(static_cast<void*>(r->coefficients), static_cast<double*>(r->work_block) + 127);
    EXPECT_EQ(r->input_area, r->coefficients + 128);
    EXPECT_EQ(r->input_write, r->input_area + 126);
    EXPECT_EQ(r->output_buffer, r->input_area + 1152);
    EXPECT_EQ(r->work_block_bytes, 127 * 8 + (128 + 1152 + 1024) * 4u);
}

TEST(Resampler, TheDesignIsAWindowedSinc)
{
    for (const auto& [over, under, taps] :
         {std::array{1, 1, 127}, {160, 147, 2561}, {1, 6, 17}, {7, 3, 51}}) {
        const Resampler r = make(over, under, taps);
        const auto wanted = reference::Resampler::design(over, under, taps);
        for (int32_t k = 0; k < taps; ++k)
            ASSERT_NEAR(r->coefficients[k], wanted[size_t(k)], 1) << over << " " << k;
    }
}

TEST(Resampler, ThreeTapsDelayByOneSample)
{
    const Resampler r = make(1, 1, 3);
    const std::vector<uint8_t> bytes = {0x80, 0x90, 0x70, 0xFF, 0x00, 0x80};
    EXPECT_EQ(pushed(r, bytes), (std::vector<uint8_t>{0x80, 0x80, 0x8F, 0x70, 0xFE, 0x00}));
    EXPECT_EQ(pushed(make(1, 1, 3), Signal32{5, -5, 0, INT32_MAX, INT32_MIN, 0}),
              (Signal32{0, 4, -5, 0, INT32_MAX - 1, -INT32_MAX}));
}

TEST(Resampler, SettersClampAndOnlyAChangeRestarts)
{
    struct Row {
        void (*set)(ZVResampler32*, int32_t);
        int32_t ZVResampler32::*field;
        int32_t value, stored;
    };
    const Row rows[] = {{ZVResampler32_BufferSize, &ZVResampler32::buffer_size, 0, 1},
                        {ZVResampler32_BufferSize, &ZVResampler32::buffer_size, -9, 1},
                        {ZVResampler32_Over, &ZVResampler32::over, 0, 1},
                        {ZVResampler32_Under, &ZVResampler32::under, -1, 1},
                        {ZVResampler32_TapsNum, &ZVResampler32::taps_count, 2, 3},
                        {ZVResampler32_TapsNum, &ZVResampler32::taps_count, INT32_MIN, 3},
                        {ZVResampler32_TapsNum, &ZVResampler32::taps_count, 4, 5},
                        {ZVResampler32_TapsNum, &ZVResampler32::taps_count, 127, 127},
                        {ZVResampler32_TapsNum, &ZVResampler32::taps_count, 128, 129}};
    const Signal x = noise(50);
    for (const Row& row : rows) {
        const Resampler r = make(2, 3, 21, 100), twin = make(2, 3, 21, 100);
        row.set(r, row.value);
        EXPECT_EQ((*r).*row.field, row.stored) << row.value;
        pushed(r, x), pushed(twin, x);
        const int32_t phase = r->phase;
        row.set(r, row.value); // the present value: history and phase stay
        EXPECT_EQ(r->phase, phase);
        EXPECT_TRUE(std::any_of(r->input_area, r->input_write, [](int32_t v) { return v != 0; }));
        row.set(twin, row.value); // a new one: as after construction
        const Signal out = pushed(twin, Signal(50));
        EXPECT_EQ(out, Signal(out.size())) << row.value;
    }
}

TEST(Resampler, SetupFindsTheSmallestOver)
{
    struct Row {
        float input, output, tolerance;
        uint32_t taps;
        int32_t over, under, taps_count;
    };
    const Row rows[] = {{44100, 48000, 0.001f, 8, 37, 34, 297},
                        {44100, 48000, 0.0001f, 8, 123, 113, 985},
                        {44100, 48000, 0, 8, 160, 147, 1281},
                        {48000, 8000, 0.001f, 16, 1, 6, 17},
                        {11025, 8000, 0.001f, 16, 29, 40, 465},
                        {11025, 11025, 0, 8, 1, 1, 9},
                        {8000, 11025, 0, 2, 441, 320, 883},
                        {48000, 32000, 0, 3, 2, 3, 7},
                        {0, 48000, 0, 8, 1, 1, 9},
                        {48000, 0, 0, 8, 1, 1, 9},
                        {0, 0, 0, 8, 1, 1, 9},
                        {48000, 1, 0.5f, 0, 1, 48000, 3}};
    for (const Row& row : rows) {
        const Resampler r = make();
        r->pending_count = 3;
        ZVResampler32_Setup(r, row.input, row.output, row.tolerance, row.taps);
        EXPECT_EQ(r->over, row.over) << row.input << " to " << row.output;
        EXPECT_EQ(r->under, row.under);
        EXPECT_EQ(r->taps_count, row.taps_count);
        EXPECT_EQ(r->pending_count, 0);
    }
}

// over, under, taps, block
using Shape = std::array<int32_t, 4>;
const Shape shapes[] = {
    {1, 1, 127, 64},   {147, 160, 2353, 300}, {160, 147, 2561, 1024}, {160, 147, 1281, 37},
    {2, 3, 33, 50},    {1, 8, 129, 40},       {1, 8, 257, 3},         {441, 320, 3529, 256},
    {6, 1, 97, 100},   {320, 640, 641, 500},  {3, 1, 301, 1},         {5, 7, 21, 30},
    {16, 31, 513, 99}, {16, 33, 513, 99},     {10, 79, 1271, 99},     {1, 6, 17, 60},
    {1, 4, 65, 33},    {2, 9, 513, 400},      {48, 7, 1537, 64},      {200, 199, 25, 64},
    {1, 1, 3001, 500}, {1000, 999, 501, 200}, {7, 1, 31, 16},         {1, 3, 9001, 100}};

// On any processor the form depends on the ratio and the room for tables as well. None runs here.
TEST(Resampler, ChoosesTheFormByTheRatio)
{
    using namespace zv::resampler;
    const struct {
        int32_t over, under, taps;
        Kernel narrow, wide;
    } rows[] = {{160, 147, 2561, narrow_lanes_avx512, wide_avx2},
                {1, 8, 129, narrow_lanes_avx512, wide_avx2},
                {16, 129, 2049, narrow_avx2, wide_avx2},
                {320, 294, 5121, narrow_avx2, wide_avx2},
                {1, 3, 9001, nullptr, wide_avx2},
                {1000, 999, 501, nullptr, nullptr}};
    const OnProcessor as(0, zv::sse2, zv::avx2 | zv::avx512 | zv::avx512vnni);
    for (const auto& [over, under, taps, narrow, wide] : rows) {
        const Resampler r = make(over, under, taps);
        EXPECT_EQ(tables_of(r).narrow, narrow) << over << "/" << under;
        EXPECT_EQ(tables_of(r).wide, wide) << over << "/" << under;
    }
}

class ResamplerKernel : public testing::TestWithParam<Processor> {
protected:
    void SetUp() override
    {
        if (!here) GTEST_SKIP() << "this machine lacks its instructions";
    }
    const bool here = test::runs_here(GetParam().features, GetParam().sets); // asked before it is another
    const OnProcessor as{0, GetParam().features, GetParam().sets};
};

TEST_P(ResamplerKernel, EqualsTheFormula)
{
    Signal alternating(700), steps(700), loud_then_fine = noise(700, 3);
    for (size_t k = 0; k < 700; ++k) alternating[k] = k % 2 ? INT16_MAX : INT16_MIN;
    for (size_t k = 0; k < 700; ++k) steps[k] = k / 50 % 2 ? INT16_MAX : INT16_MIN;
    Signal32 mixed = widened(loud_then_fine); // low bits appear and go: both forms, in one stream
    for (size_t k = 300; k < 310; ++k) mixed[k] += 12345;
    for (const auto& [over, under, taps, block] : shapes)
        for (const Signal32& x : {widened(noise(700)), widened(alternating), widened(steps),
                                  noise<int32_t>(700), mixed, Signal32(700, INT32_MIN)}) {
            const Resampler r = make(over, under, taps, block);
            ASSERT_TRUE(same(pushed(r, x), model_of(r).process(x, size_t(block))))
                << over << "/" << under << ", " << taps << " taps, blocks of " << block;
        }
}

// Taps of a client's own: tap 0 not 0, taps so large that sums wrap and results saturate; and the library's,
// by way of the client's routine.
TEST_P(ResamplerKernel, TakesAnyTaps)
{
    using Store = void (*)(ZVResampler32*, const double*, int32_t);
    static const Store librarys = make()->store_routine;
    const Store stores[] = {
        [](ZVResampler32* r, const double*, int32_t count) {
            std::fill_n(r->coefficients, count, INT32_MAX);
        },
        [](ZVResampler32* r, const double*, int32_t count) {
            std::fill_n(r->coefficients, count, INT32_MIN);
        },
        [](ZVResampler32* r, const double*, int32_t count) { std::fill_n(r->coefficients, count, 0); },
        [](ZVResampler32* r, const double*, int32_t count) {
            for (int32_t k = 0; k < count; ++k) r->coefficients[k] = int32_t(uint32_t(k) * 2654435761u) / 64;
        },
        [](ZVResampler32* r, const double* taps, int32_t count) { librarys(r, taps, count); }};
    for (const Store store : stores)
        for (const auto& [over, under, taps] : {std::array{3, 2, 31}, {16, 15, 225}, {1, 5, 61}}) {
            const Resampler r = make();
            r->store_routine = store;
            for (const auto set : {ZVResampler32_Over, ZVResampler32_Under, ZVResampler32_TapsNum})
                set(r, set == ZVResampler32_Over ? over : set == ZVResampler32_Under ? under : taps);
            const Signal32 x = widened(noise(400)), fine = noise<int32_t>(400);
            EXPECT_TRUE(same(pushed(r, x), model_of(r).process(x, 1024))) << over << "/" << under;
            ZVResampler32_BufferSize(r, 400);
            EXPECT_TRUE(same(pushed(r, fine), model_of(r).process(fine, 400))) << over << "/" << under;
        }
}

// A table of the client's own by the record's routine, in the middle of a stream: heard from the next block
// on, over the old history, in every form; what the client writes itself isn't.
TEST_P(ResamplerKernel, ATableByTheRecordsRoutineCountsFromTheNextBlockOn)
{
    for (const auto& [over, under, taps, block] : {Shape{1, 1, 127, 64},
                                                   {160, 147, 2561, 100},
                                                   {1, 8, 129, 40},
                                                   {2, 3, 33, 50},
                                                   {1000, 999, 3001, 200}})
        for (const int32_t given : {0, taps / 2, taps, taps + 9})
            for (const Signal32& x : {widened(noise(800)), noise<int32_t>(800)}) {
                SCOPED_TRACE(testing::Message() << over << "/" << under << ", " << given << " of " << taps);
                std::vector<double> design(size_t(given) + 1);
                for (int32_t k = 0; k < given; ++k)
                    design[size_t(k)] = (k * 37 % 64 - 31.5) / (64. * taps / over);
                if (given > 9) design[3] = 1.5, design[4] = -1.5, design[5] = -1;
                const Resampler r = make(over, under, taps, block);
                auto wanted = model_of(r).process(x, size_t(block));
                Signal32 got = pushed(r, Signal32(x.begin(), x.begin() + 2 * block));
                const size_t before = got.size();
                r->store_routine(r, design.data(), given);
                auto model = model_of(r);
                for (int32_t k = 0; k < taps; ++k) {
                    const double h = k < given ? design[size_t(k)] : 0;
                    ASSERT_EQ(model.taps[size_t(k)], h >= 1   ? INT32_MAX
                                                     : h < -1 ? INT32_MIN
                                                              : int32_t(std::llrint(h * 2147483647.)))
                        << k;
                }
                const auto after = model.process(x, size_t(block));
                std::copy(after.begin() + ptrdiff_t(before), after.end(), wanted.begin() + ptrdiff_t(before));
                std::fill_n(r->coefficients, taps, 12345);
                const Signal32 rest = pushed(r, Signal32(x.begin() + 2 * block, x.end()));
                got.insert(got.end(), rest.begin(), rest.end());
                EXPECT_TRUE(same(got, wanted));
            }
}

// taps - 1 is a multiple of over: any cut of the stream, pushed or pulled, gives the same samples.
TEST_P(ResamplerKernel, AnyCutGivesTheSameStream)
{
    const Signal x = noise(3000, 5);
    for (const auto& [over, under, taps] : {std::array{1, 1, 127},
                                            {147, 160, 1177},
                                            {2, 3, 33},
                                            {1, 8, 65},
                                            {441, 320, 3529},
                                            {160, 147, 2561},
                                            {6, 1, 97},
                                            {1000, 999, 3001}}) {
        const Signal whole = pushed(make(over, under, taps, 3000), x);
        EXPECT_TRUE(same(whole, narrowed(model_of(make(over, under, taps)).process(widened(x), 3000))));
        for (const int32_t block : {1, 7, 256})
            for (const auto& pieces : {std::vector<size_t>{1}, {3, 1, 100}, {977, 2}})
                EXPECT_TRUE(same(pushed(make(over, under, taps, block), x, pieces), whole))
                    << over << "/" << under << ", blocks of " << block;

        for (const int32_t block : {7, 256}) {
            const Resampler r = make(over, under, taps, block);
            Signal out;
            size_t taken = 0; // told by the phase: outputs made * under = samples * over + phase
            for (const uint32_t wanted : {1u, 10u, 0u, 300u, 3u, 77u, 500u}) {
                const size_t done = out.size();
                if (done + wanted + 1 > whole.size() * 9 / 10) break;
                Guarded<int16_t> made(wanted);
                const uint32_t need = ZVResampler32_InSamples(r, wanted);
                pull(r, made.data(), x.data() + taken, wanted);
                out.insert(out.end(), made.data(), made.data() + wanted);
                const size_t before = taken;
                taken = size_t(((int64_t(out.size()) + r->pending_count) * under - r->phase) / over);
                if (need <= uint32_t(block)) {
                    EXPECT_EQ(taken - before, need);
                }
            }
            EXPECT_GT(out.size(), 10u);
            EXPECT_TRUE(same(out, Signal(whole.begin(), whole.begin() + ptrdiff_t(out.size()))))
                << over << "/" << under << ", pulled in blocks of " << block;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, ResamplerKernel, testing::ValuesIn(processors),
                         [](const auto& info) { return info.param.name; });

TEST(Resampler, PushTakesEveryStepAndCountsWithoutAnOutput)
{
    const Resampler r = make(1, 1, 3), twin = make(1, 1, 3);
    const int16_t in[] = {100, 1, 200, 2, 300};
    Guarded<int16_t> out(3);
    EXPECT_EQ(push(r, out.data(), in, 5, 2), 3u);
    EXPECT_EQ(Signal(out.data(), out.data() + 3), (Signal{0, 99, 199}));
    EXPECT_EQ(push(twin, nullptr, in, 5, 2), 3u);
    EXPECT_EQ(push(r, out.data(), in, INT32_MIN, 1), 0u);
    EXPECT_EQ(pushed(r, Signal{0, 0}), (Signal{299, 0}));
    EXPECT_EQ(pushed(twin, Signal{0, 0}), (Signal{299, 0}));
}

TEST(Resampler, RawBlocksAndTheOwnBuffers)
{
    const Resampler r = make(3, 2, 31, 40), twin = make(3, 2, 31, 40);
    const Signal32 x = noise<int32_t>(40);
    std::copy(x.begin(), x.end(), r->input_write);
    std::copy(x.begin(), x.end(), twin->input_write);
    Guarded<int32_t> out(60);
    EXPECT_EQ(ZVResampler32_ProcessIn(r, nullptr, 0), 60u);
    EXPECT_EQ(ZVResampler32_ProcessIn(twin, out.data(), 40), 60u);
    EXPECT_TRUE(
        same(Signal32(r->output_buffer, r->output_buffer + 60), Signal32(out.data(), out.data() + 60)));
    EXPECT_TRUE(std::equal(x.end() - r->history_length, x.end(), r->input_area));
}

TEST(Resampler, PullKeepsTheRestPending)
{
    const Resampler r = make(4, 1, 33), twin = make(4, 1, 33);
    const std::vector<uint8_t> in = {200, 0, 10, 0, 90, 0, 40, 0};
    std::vector<uint8_t> out(12), wanted(16);
    push(twin, wanted.data(), in.data(), 8, 2);
    EXPECT_EQ(ZVResampler32_InSamples(r, 5), 2u);
    pull(r, out.data(), in.data(), 5, 2);
    EXPECT_EQ(r->pending_count, 3);
    EXPECT_EQ(r->pending_read, r->output_buffer + 5);
    for (const uint32_t n : {0, 2, 3}) EXPECT_EQ(ZVResampler32_InSamples(r, n), 0u) << n;
    EXPECT_EQ(ZVResampler32_InSamples(r, 4), 1u);
    pull(r, out.data() + 5, nullptr, 2, 2);
    EXPECT_EQ(r->pending_count, 1);
    pull(r, out.data() + 7, in.data() + 4, 5, 2);
    EXPECT_EQ(r->pending_count, 0);
    EXPECT_EQ(out, std::vector<uint8_t>(wanted.begin(), wanted.begin() + 12));
}

TEST(Resampler, ARestartKeepsTheHistory)
{
    const Resampler r = make(2, 3, 33), fresh = make(2, 3, 33);
    const Signal32 x = noise<int32_t>(100);
    pushed(r, Signal32(x.begin(), x.begin() + 50));
    r->pending_count = 4;
    const Signal32 history(r->input_area, r->input_write);
    ZVResampler32_Restart(r);
    EXPECT_EQ(r->phase, 0);
    EXPECT_EQ(r->pending_count, 0);
    std::ranges::copy(history, fresh->input_area);
    const Signal32 rest(x.begin() + 50, x.end());
    EXPECT_TRUE(same(pushed(r, rest), pushed(fresh, rest)));
}

TEST(Resampler, ARefusedSetterChangesNothing)
{
    using Set = std::function<void(ZVResampler32*)>;
    const Set sets[] = {[](ZVResampler32* r) { ZVResampler32_BufferSize(r, 1 << 20); },
                        [](ZVResampler32* r) { ZVResampler32_Over(r, 4000); },
                        [](ZVResampler32* r) { ZVResampler32_TapsNum(r, 1 << 20); },
                        [](ZVResampler32* r) { ZVResampler32_TapsNum(r, INT32_MAX); },
                        [](ZVResampler32* r) { ZVResampler32_Setup(r, 44100, 48000, 0, 1024); }};
    const Signal x = noise(200);
    for (const Set& set : sets) {
        const Resampler r = make(2, 3, 33), twin = make(2, 3, 33);
        Signal a(40), b(40);
        pull(r, a.data(), x.data(), 33), pull(twin, b.data(), x.data(), 33);
        const std::string before = test::bytes_of(*r);
        {
            const test::Refusing refusing;
            set(r);
        }
        EXPECT_EQ(test::bytes_of(*r), before);
        pull(r, a.data(), x.data() + 60, 40), pull(twin, b.data(), x.data() + 60, 40);
        EXPECT_EQ(a, b);
    }
    EXPECT_TRUE(zv::heap::heap_is_sound());
}

// A tone in the pass band through 44100 -> 48000: all but the tone itself (least squares) is noise.
TEST(Resampler, AToneStaysATone)
{
    const Resampler r = make();
    ZVResampler32_Setup(r, 44100, 48000, 0, 32);
    for (const double hz : {440.0, 5000.0, 15000.0}) {
        const Signal32 out = pushed(r, widened(test::tone(44100, hz, 44100, 30000)));
        double c = 0, s = 0, power = 0;
        const size_t first = 1000, count = 46000;
        for (size_t k = first; k < first + count; ++k) {
            const double y = out[k], w = 2 * std::numbers::pi * hz * double(k) / 48000;
            c += y * std::cos(w), s += y * std::sin(w), power += y * y;
        }
        const double tone = (c * c + s * s) * 2 / double(count), rest = std::max(power - tone, 1e-9 * power);
        EXPECT_NEAR(std::sqrt(tone * 2 / double(count)) / (30000.0 * 65536), 1, 0.001) << hz;
        EXPECT_GT(10 * std::log10(tone / rest), 70) << hz;
    }
}
} // namespace
