// The delay line at both widths against the plain model, through its open fields and under refusal.
#include "filter/delay_line.h"
#include "reference/delay_line.h"
#include "support/platform.h"
#include "support/signals.h"
#include <gtest/gtest.h>
#include <zovek/delay_line.h>

namespace {
using namespace test;

template <class Sample>
struct Calls;
template <>
struct Calls<int16_t> {
    static constexpr auto construct = ZVDelayLine16_Construct;
    static constexpr auto process = ZVDelayLine16_Process;
    static constexpr auto stream = ZVDelayLine16_Process_16_16;
};
template <>
struct Calls<int32_t> {
    static constexpr auto construct = ZVDelayLine32_Construct;
    static constexpr auto process = ZVDelayLine32_Process;
    static constexpr auto stream = ZVDelayLine32_Process_32_32;
};

template <class Sample>
class DelayLine : public testing::Test {
protected:
    using Call = Calls<Sample>;
    using Stream = std::vector<Sample>;
    DelayLine() { Call::construct(&line); }
    ~DelayLine() override { ZVDelayLine_Destruct(&line, 0); }

    Stream stream(const Stream& in, int32_t step = 1)
    {
        Stream out((in.size() + step - 1) / step);
        Call::stream(&line, out.data(), in.data(), int32_t(in.size()), step);
        return out;
    }
    ZVDelayLine line;
};
using Widths = testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(DelayLine, Widths);

TYPED_TEST(DelayLine, EqualsTheModelInPiecesOfAnySize)
{
    using Sample = TypeParam;
    for (const int32_t block : {1, 7, 64, 1024})
        for (const int32_t delay : {0, 1, 5, 63, 64, 200}) {
            ZVDelayLine_BufferSize(&this->line, block);
            ZVDelayLine_Delay(&this->line, delay);
            this->line.rebuild(&this->line); // silence, where neither size was new
            reference::DelayLine<Sample> model;
            model.set_delay(delay);
            for (const size_t piece : {1u, 3u, 150u, 64u, 513u}) {
                const auto x = noise<Sample>(piece, uint32_t(piece + delay));
                ASSERT_TRUE(same(this->stream(x), model.process(x))) << block << " " << delay << " " << piece;
            }
        }
}

TYPED_TEST(DelayLine, StepsRoundUpAndNothingElseIsRead)
{
    using Sample = TypeParam;
    const std::vector<Sample> eight = {1, -1, 2, -1, 3, -1, 4, -1}, wanted = {0, 1, 2, 3};
    EXPECT_TRUE(same(this->stream(eight, 2), wanted));
    ZVDelayLine_Delay(&this->line, 0);
    ZVDelayLine_Delay(&this->line, 1);
    EXPECT_TRUE(same(this->stream({1, -1, 2, -1, 3, -1, 4}, 2), wanted));
    Sample untouched = 9;
    for (const int32_t length : {0, -5})
        TestFixture::Call::stream(&this->line, &untouched, eight.data(), length, 1);
    EXPECT_EQ(untouched, 9);
    TestFixture::Call::stream(&this->line, this->stream(eight).data(), eight.data(), 1,
                              INT32_MAX); // one step, started
}

TYPED_TEST(DelayLine, NullOutAndOwnInputAreaServeParents)
{
    using Sample = TypeParam;
    ZVDelayLine_BufferSize(&this->line, 4);
    const std::vector<Sample> six = {1, 2, 3, 4, 5, 6};
    TestFixture::Call::stream(&this->line, nullptr, six.data(), 6, 1);
    const auto* area = static_cast<const Sample*>(this->line.output_area);
    EXPECT_EQ(area[0], 4); // the last piece, 5 and 6, one sample late
    EXPECT_EQ(area[1], 5);
    auto* input = static_cast<Sample*>(this->line.input_position);
    for (int k = 0; k < 4; ++k) input[k] = Sample(10 + k);
    TestFixture::Call::process(&this->line, nullptr, 0);
    EXPECT_EQ(std::vector<Sample>(area, area + 4), (std::vector<Sample>{6, 10, 11, 12}));
}

// A client's own rebuild hides the width. Room that is reserved then leaves the layout and the history as
// they stand.
TYPED_TEST(DelayLine, AClientsRebuildKeepsTheLayout)
{
    auto& line = this->line;
    ZVDelayLine_Delay(&line, 5);
    static void (*own)(ZVDelayLine*);
    own = line.rebuild;
    line.rebuild = [](ZVDelayLine* self) { own(self); };
    auto* first = static_cast<TypeParam*>(line.storage);
    for (int k = 0; k < 5; ++k) first[k] = TypeParam(k + 1);
    ASSERT_TRUE(zv::delay_line::reserve(&line, 5000, 77));
    first = static_cast<TypeParam*>(line.storage);
    EXPECT_EQ(line.input_position, first + 5);
    EXPECT_EQ(line.output_area, first + 5 + 1024);
    EXPECT_EQ(first[4], 5);
    const test::Refusing refusing;
    ZVDelayLine_BufferSize(&line, 5000);
    EXPECT_EQ(line.output_area, first + 5 + 5000);
}

TYPED_TEST(DelayLine, SettersClampKeepOrClearTheHistoryAndSurviveRefusal)
{
    using Sample = TypeParam;
    ZVDelayLine& line = this->line;
    this->stream({5, 6, 7});
    ZVDelayLine_Delay(&line, 1);
    ZVDelayLine_BufferSize(&line, 1024);
    {
        const Refusing refusing;
        ZVDelayLine_Delay(&line, 50'000'000);
        ZVDelayLine_BufferSize(&line, INT32_MAX);
    }
    EXPECT_EQ(line.delay, 1);
    EXPECT_EQ(line.buffer_size, 1024);
    EXPECT_EQ(this->stream({8})[0], 7); // all of these left the history alone
    ZVDelayLine_Delay(&line, 2);
    EXPECT_EQ(this->stream({9})[0], 0);
    ZVDelayLine_Delay(&line, -3);
    ZVDelayLine_BufferSize(&line, 0);
    EXPECT_EQ(line.delay, 0);
    EXPECT_EQ(line.buffer_size, 1);
    EXPECT_EQ(line.storage_bytes, (2 * 1024 + 2) * sizeof(Sample)); // never shrinks
    const auto x = noise<Sample>(9);
    EXPECT_TRUE(same(this->stream(x), x));
}
} // namespace
