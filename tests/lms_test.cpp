// The adaptive filter: every kernel against the plain model to the bit, and the object's sizes, streams and
// refusals.
#include "core/cpu.h"
#include "filter/lms_kernels.h"
#include "reference/lms.h"
#include "support/guarded.h"
#include "support/platform.h"
#include "support/processors.h"
#include "support/signals.h"
#include <gtest/gtest.h>

namespace {
using namespace test;
using namespace zv::lms;

struct Filter : ZVLMS1616 {
    explicit Filter(uint32_t taps = 31, uint32_t delay_samples = 0, uint32_t block = 1024)
    {
        ZVLMS1616_Construct(this);
        ZVLMS_TapsNum(this, taps);
        ZVLMS_DelaySize(this, delay_samples);
        ZVLMS_BufferSize(this, block);
    }
    ~Filter() { ZVLMS_Destruct(this, 0); }
    Signal process(const Signal& in, int32_t step = 1)
    {
        Signal out((in.size() + step - 1) / step);
        ZVLMS1616_Process_16_16(this, out.data(), in.data(), int32_t(in.size()), step);
        return out;
    }
    Signal taps() const { return {coefficients, coefficients + taps_count}; }
};

// A filter whose block ends at an unmapped page and starts full of not-a-number.
class GuardedFilter : public Filter {
public:
    GuardedFilter(uint32_t taps, uint32_t delay_samples, uint32_t block)
        : Filter(taps, delay_samples, block), own_(work_block), room_(bytes(), 0, 0xFF)
    {
        work_block = room_.data(); // no block of the heap's, so rebuild leaves it in its place
        rebuild(this);
    }
    ~GuardedFilter() { work_block = own_; }

private:
    size_t bytes() const
    {
        const auto* tables = reinterpret_cast<char*>(wide_tables(this).past);
        return size_t(tables - static_cast<char*>(work_block)) + wide_tables_bytes(taps_count);
    }
    void* own_;
    Guarded<char> room_;
};

// What comes out of work with every kernel that runs here, and with the one for any processor as it is
// without MMX.
template <class Work>
void with_each_kernel(Work work)
{
    auto kernels = running_here(rows);
    kernels.push_back({zv::otherwise, "any without MMX", "", lms_any});
    for (const auto& row : kernels) {
        SCOPED_TRACE(row.name);
        const OnProcessor as(0, &row == &kernels.back() ? 0 : _CPU()->features);
        lms_kernel = row.kernel;
        work();
    }
    lms_kernel = choose;
}

struct Setting {
    uint32_t taps, delay;
    float step_size, regularisation, leakage;
    bool output_error;
    float power = 0; // at the start
};
const float infinite = std::numeric_limits<float>::infinity();
const Setting settings[] = {
    {31, 0, 0.5f, 1, 0.5f, false},        // as constructed
    {31, 1, 0.02f, 1, 0.0001f, true},     // takes whistles off
    {127, 3, 0.1f, 10000, 0, false},      // adapts for good
    {1, 0, 0.5f, 1, 0.5f, true},          // the least filter
    {2, 1, 0.5f, 1, 0, false},            // even counts and multiples of the kernels' groups
    {4, 0, 1, 1, 0.25f, false},           //
    {8, 70, 0.7f, 0, 0.125f, true},       //
    {16, 1, 0.3f, 5, 0, false},           //
    {17, 2, 0.3f, 5, 0, true},            //
    {64, 0, 1.9f, 1, 0, false},           //
    {31, 1, 7, 1, 0, true},               // diverges: coefficients leave their range
    {31, 1, 1e7f, 1, 0.5f, false},        // far out of any range
    {9, 1, infinite, 1, 0.5f, false},     // not a number in silence
    {15, 1, 0, 1, 0, false},              // frozen
    {15, 1, 0.5f, -1, 0.5f, false},       // a divisor of 0 in silence
    {15, 0, 0.5f, -20000, 1e-9f, true},   // a divisor that passes 0
    {15, 0, 0.5f, 1, 1, true},            // no memory of a sample ago
    {15, 1, 0.5f, 1, 2.5f, false},        // coefficients that change sign
    {15, 1, 0.5f, 1, -1, false},          // that double
    {15, 1, 0.5f, 1, 5, false},           // that grow past what doubles may take
    {15, 1, 0.5f, 1, 0.5f, false, -3000}, // energy that has drifted below 0
    {15, 1, 0.5f, 1, 0.5f, false, 0.1f},  // and one that is no whole number
};

const std::vector<Signal>& signals()
{
    static const auto all = [] {
        Signal buried = tone(600, 700, 8000, 3000), gaps = noise(600, 3, 2000);
        const Signal hiss = noise(600, 4, 900);
        for (size_t k = 0; k < 600; ++k) buried[k] = int16_t(buried[k] + hiss[k]);
        std::fill_n(gaps.begin() + 150, 200, int16_t(0));
        return std::vector<Signal>{buried, noise(600), noise(600, 2, 3), gaps, Signal(600, -32768)};
    }();
    return all;
}

// What the model says of a setting and a signal in pieces.
struct Answer {
    std::vector<int16_t> out, taps;
    float power;
};
constexpr int pieces[] = {1, 2, 297, 300};

std::vector<Answer> answers(const Setting& s, const Signal& x)
{
    reference::Lms model;
    model.start(s.taps, s.delay);
    model.step_size = s.step_size;
    model.regularisation = s.regularisation;
    model.leakage = s.leakage;
    model.output_error = s.output_error;
    model.power = s.power;
    std::vector<Answer> all;
    auto from = x.begin();
    for (const int piece : pieces) {
        all.push_back({model.process({from, from + piece}), model.c, model.power});
        from += piece;
    }
    return all;
}

TEST(LmsKernels, EqualTheModelToTheBitInAnyPieces)
{
    const auto check = [](const Setting& s, const Signal& x, const std::vector<Answer>& wanted) {
        GuardedFilter filter(s.taps, s.delay, 300);
        filter.step_size = s.step_size;
        filter.regularisation = s.regularisation;
        filter.leakage = s.leakage;
        filter.output_error = s.output_error ? 0x100 : 0;
        filter.power = s.power;
        auto from = x.begin();
        for (const Answer& answer : wanted) {
            const Signal part(from, from + ptrdiff_t(answer.out.size()));
            from += ptrdiff_t(part.size());
            ASSERT_TRUE(same(filter.process(part), answer.out));
            ASSERT_TRUE(same(filter.taps(), answer.taps));
            ASSERT_EQ(filter.power, answer.power);
        }
        for (uint32_t k = s.taps; k < 4 * groups_past(s.taps); ++k) ASSERT_EQ(filter.coefficients[k], 0);
    };
    for (const Setting& s : settings)
        for (const Signal& x : signals()) {
            SCOPED_TRACE(testing::Message()
                         << "setting " << &s - settings << " signal " << &x - signals().data());
            const auto wanted = answers(s, x);
            with_each_kernel([&] { check(s, x, wanted); });
        }
}

// What a step of 3e-23 adds to 0.5 or 1.5 is lost in a double, which then sees a tie.
TEST(LmsKernels, TheLeastStepDecidesATie)
{
    for (const auto& [before, sample, after] :
         {std::tuple(1, 1000, 1), {1, -1000, 0}, {3, 1000, 2}, {3, -1000, 1}})
        with_each_kernel([&, from = before, x = sample, to = after] {
            Filter filter(1, 1);
            filter.process({1000});
            filter.coefficients[0] = int16_t(from);
            filter.step_size = 3e-23f;
            filter.process({int16_t(x)});
            EXPECT_EQ(filter.coefficients[0], to) << from << " " << x;
        });
}

TEST(Lms, PredictsWhatRepeats)
{
    Filter filter(2, 1);
    filter.leakage = 0;
    EXPECT_TRUE(same(filter.process(Signal(8, 1000)), {0, 0, 499, 750, 875, 937, 969, 984}));
    filter.step_size = 0; // a change between calls holds from the next sample on
    const Signal learnt = filter.taps();
    filter.process(Signal(16, 1000));
    EXPECT_TRUE(same(filter.taps(), learnt)); // no step and no leakage: nothing moves
    filter.leakage = 0.5f;
    filter.process(Signal(16, 1000));
    EXPECT_TRUE(same(filter.taps(), {0, 0}));
}

TEST(Lms, StreamsAreCutSteppedAndLeftInTheOwnBuffer)
{
    const Signal x = noise(50, 5, 8000);
    Signal pairs(99, -1);
    for (size_t k = 0; k < 50; ++k) pairs[2 * k] = x[k];
    Filter whole(5, 1), stepped(5, 1, 7), own(5, 1, 20);
    const Signal wanted = whole.process(x);
    EXPECT_TRUE(same(stepped.process(pairs, 2), wanted));
    ZVLMS1616_Process_16_16(&own, nullptr, x.data(), 50, 1);
    EXPECT_TRUE(
        same(Signal(own.output_buffer, own.output_buffer + 10), Signal(wanted.begin() + 40, wanted.end())));
    ZVLMS_BufferSize(&whole, 50);
    std::copy(x.begin(), x.end(), whole.input_write);
    ZVLMS1616_Process(&whole, nullptr, 0);
    EXPECT_TRUE(same(Signal(whole.output_buffer, whole.output_buffer + 50), wanted));
}

TEST(Lms, SettersClampKeepOrStartAnewAndSurviveRefusal)
{
    Filter filter;
    EXPECT_EQ(uintptr_t(filter.output_buffer) % 64, 0u);
    EXPECT_EQ(uintptr_t(filter.coefficients) % 64, 0u);
    const Signal x = noise(100, 6, 6000);
    Filter twin;
    filter.process(x), twin.process(x);
    ZVLMS_BufferSize(&filter, 1024), ZVLMS_TapsNum(&filter, 31), ZVLMS_DelaySize(&filter, 0);
    {
        const Refusing refusing;
        ZVLMS_BufferSize(&filter, 1u << 20), ZVLMS_TapsNum(&filter, 1u << 20),
            ZVLMS_DelaySize(&filter, 1u << 20);
        ZVLMS_BufferSize(&filter, ~0u), ZVLMS_TapsNum(&filter, ~0u), ZVLMS_DelaySize(&filter, ~0u);
    }
    EXPECT_EQ(filter.buffer_size, 1024u);
    EXPECT_EQ(filter.taps_count, 31u);
    EXPECT_EQ(filter.delay, 0u);
    EXPECT_TRUE(same(filter.process(x), twin.process(x))); // coefficients and history were left alone

    void (*const setters[])(ZVLMS1616*, uint32_t) = {ZVLMS_BufferSize, ZVLMS_TapsNum, ZVLMS_DelaySize};
    for (const auto set : setters) {
        set(&filter, 12);
        EXPECT_TRUE(same(filter.taps(), Signal(filter.taps_count)));
        EXPECT_EQ(filter.power, 0);
        Filter fresh(filter.taps_count, filter.delay, filter.buffer_size);
        EXPECT_TRUE(same(filter.process(x), fresh.process(x)));
    }
    ZVLMS_TapsNum(&filter, 0), ZVLMS_BufferSize(&filter, 0);
    EXPECT_EQ(filter.taps_count, 1u);
    EXPECT_EQ(filter.buffer_size, 1u);
}
} // namespace
