// Every FIR kernel that runs here against the plain sum it stands for, to the bit. The filter's block ends at
// an unmapped page and starts full of noise, so a read or write too far, or a result that depends on what
// lies behind the span, is seen.
#include "filter/fir.h"
#include "filter/fir_kernels.h"
#include "reference/fir.h"
#include "support/guarded.h"
#include "support/processors.h"
#include "support/signals.h"
#include <algorithm>
#include <memory>

namespace {
using namespace test;

// A filter moved, pointers and all, into a block of the size that it owns, at the end of a page.
template <class Value>
class Filter {
public:
    Filter(ZVFIR* (*construct)(ZVFIR*), const std::vector<Value>& taps, int32_t block, unsigned char fill)
        : fir_(construct(nullptr))
    {
        ZVFIR_TapsNum(fir_, int32_t(taps.size()));
        ZVFIR_BufferSize(fir_, block);
        const size_t bytes = size_t(fir_->storage_bytes + zv::fir::slack(fir_->storage_bytes));
        block_ = std::make_unique<Guarded<char>>((bytes + 63) / 64 * 64, 0, fill);
        for (void** field : {&fir_->taps, &fir_->history, &fir_->history_write, &fir_->out_buffer})
            *field = block_->data() + (static_cast<char*>(*field) - static_cast<char*>(fir_->storage));
        const size_t padding =
            (64 / sizeof(Value) - taps.size() % (64 / sizeof(Value))) % (64 / sizeof(Value));
        auto* to = std::copy(taps.begin(), taps.end(), static_cast<Value*>(fir_->taps));
        std::fill_n(to, padding, Value(0));
        std::fill_n(static_cast<Value*>(fir_->history), taps.size(), Value(0));
    }
    ~Filter() { ZVFIR_Destruct(fir_, 1); }

    // Sends samples in; results to memory that ends at an unmapped page, or by a null out.
    template <class Result, class Run>
    void take(const Value* samples, size_t count, size_t results, bool own_output, std::vector<Result>& out,
              Run run)
    {
        std::copy_n(samples, count, static_cast<Value*>(fir_->history_write));
        Guarded<Result> to(results);
        run(fir_, own_output ? nullptr : to.data(), int32_t(count));
        const Result* from = own_output ? static_cast<const Result*>(fir_->out_buffer) : to.data();
        out.insert(out.end(), from, from + results);
    }

private:
    ZVFIR* fir_;
    std::unique_ptr<Guarded<char>> block_;
};

// One stream through a kernel in blocks of many sizes, some with samples left over, which are dropped.
template <class Result, class Value>
std::vector<Result> run(zv::fir::Kernel kernel, ZVFIR* (*construct)(ZVFIR*), const std::vector<Value>& taps,
                        const std::vector<Value>& x, int32_t decimation)
{
    Filter<Value> filter(construct, taps, 301 * decimation, 0xA5);
    std::vector<Result> out;
    size_t at = 0, turn = 0;
    for (const size_t results : {1, 2, 7, 15, 16, 33, 64, 129, 257, 300}) {
        const size_t whole = results * size_t(decimation), count = whole + turn % size_t(decimation);
        std::vector<Value> samples(x.begin() + ptrdiff_t(at), x.begin() + ptrdiff_t(at + whole));
        samples.resize(count, Value(-12345)); // left over
        filter.take(samples.data(), count, results, turn++ % 3 == 1, out,
                    [&](ZVFIR* fir, void* to, int32_t n) { kernel(fir, to, n, decimation); });
        at += whole;
    }
    return out;
}

constexpr size_t stream = 1 + 2 + 7 + 15 + 16 + 33 + 64 + 129 + 257 + 300; // results

using Case = std::tuple<int, int>; // taps, decimation
class FirKernels : public testing::TestWithParam<Case> {
protected:
    template <class Result, class Value, class Reference>
    void check(const std::vector<zv::Row<zv::fir::Kernel>>& kernels, ZVFIR* (*construct)(ZVFIR*),
               Reference reference)
    {
        const auto [count, decimation] = GetParam();
        const auto lowest = std::numeric_limits<Value>::min();
        const size_t length = stream * size_t(decimation);
        const std::vector<Value> loud(length, lowest), taps = noise<Value>(size_t(count), 7);
        const std::pair<std::vector<Value>, std::vector<Value>> signals[] = {
            {taps, noise<Value>(length, 1)}, {taps, loud}, {std::vector<Value>(size_t(count), lowest), loud}};
        for (const auto& [h, x] : signals) {
            const std::vector<Result> wanted = reference(h, x, decimation, std::vector<Value>{});
            for (const auto& row : kernels) {
                SCOPED_TRACE(row.name);
                EXPECT_TRUE(same(run<Result>(row.kernel, construct, h, x, decimation), wanted));
                volatile long double one = 1; // the floating-point unit is usable
                EXPECT_EQ(one * 3 / 2, 1.5L);
            }
        }
    }
};

TEST_P(FirKernels, EqualThePlainSum)
{
    using namespace zv::fir;
    auto high = running_here(rows_3232);
    const auto first_exact =
        std::partition(high.begin(), high.end(), [](const auto& row) { return row.kernel != fir3232_exact; });
    const std::vector exact(first_exact, high.end());
    high.erase(first_exact, high.end());
    check<int16_t, int16_t>(running_here(rows_1616), ZVFIR1616_Construct, reference::fir1616);
    check<int32_t, int16_t>(running_here(rows_1632), ZVFIR1632_Construct, reference::fir1632);
    check<int32_t, int32_t>(exact, ZVFIR3232_Construct, reference::fir3232_exact);
    check<int32_t, int32_t>(high, ZVFIR3232_Construct, reference::fir3232_high);
}

INSTANTIATE_TEST_SUITE_P(All, FirKernels,
                         testing::Combine(testing::Values(3, 5, 7, 15, 31, 33, 47, 63, 127, 511),
                                          testing::Values(1, 2, 3, 7, 8, 50)),
                         [](const auto& info) {
                             return std::to_string(std::get<0>(info.param)) + "_by_" +
                                    std::to_string(std::get<1>(info.param));
                         });

// Half the products: samples of one parity alone count, and a null out, a count of 0 and odd blocks are as
// for any kernel.
TEST(FirProcess2, EqualsTheSumOverEverySecondSample)
{
    for (const int count : {3, 5, 7, 29, 31, 33, 127})
        for (const int32_t first_phase : {0, 1}) {
            SCOPED_TRACE(testing::Message() << count << " taps, phase " << first_phase);
            const auto taps = noise<int32_t>(size_t(count), 3), x = noise<int32_t>(1 + 2 + 33 + 64 + 100, 4);
            const auto stream = [&](zv::fir::Process2 process2) {
                Filter<int32_t> filter(ZVFIR3232_Construct, taps, 100, 0x5A);
                std::vector<int32_t> out;
                int32_t phase = first_phase;
                for (const size_t n : {1, 2, 33, 64, 100}) {
                    filter.take(&x[out.size()], n, n, n == 33, out, [&](ZVFIR* fir, int32_t* to, int32_t k) {
                        process2(fir, to, k == 100 ? 0 : k, phase);
                    });
                    phase ^= int32_t(n & 1);
                }
                return out;
            };
            // place 0 of the stream is history slot N-1, whose index is even
            const auto wanted = [&](auto reference) {
                return reference(taps, x, first_phase, reference::Samples32{});
            };
            EXPECT_TRUE(same(stream(zv::fir::process2_exact), wanted(reference::fir3232_process2_exact)));
            if (runs_here(ZV_CPU_MMX)) {
                EXPECT_TRUE(same(stream(zv::fir::process2_high), wanted(reference::fir3232_process2_high)));
            }
        }
}

} // namespace
