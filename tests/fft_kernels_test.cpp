// All rows of the table of transforms that run here give the same spectrum. Runs under an emulated
// processor too, to reach the rows that this machine lacks.
#include "spectrum/fft_kernels.h"
#include "support/processors.h"
#include "support/spectra.h"
#include <string>

namespace {
using namespace test;
namespace fft = zv::fft;

struct Row {
    const fft::Kernel* kernel;
    uint32_t extended_features; // bits of CPUID leaf 0x80000001, D
    uint32_t features, sets;
    double real_db; // against the portable row, which rounds at its stores only
};
constexpr uint32_t sse2 = ZV_CPU_SSE2;
const Row singles[] = {{&fft::float_3dnow, amd_3dnow, 0, 0, -130},
                       {&fft::float_3dnow_ext, amd_3dnow | amd_3dnow_ext, 0, 0, -130},
                       {&fft::float_sse2, 0, sse2, 0, -133},
                       {&fft::float_avx2, 0, sse2, zv::avx2, -133},
                       {&fft::float_avx512, 0, sse2, zv::avx512, -133}};
const Row doubles[] = {{&fft::double_sse2, 0, sse2, 0, -300},
                       {&fft::double_avx2, 0, sse2, zv::avx2, -300},
                       {&fft::double_avx512, 0, sse2, zv::avx512, -300}};

class FftKernel : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        const Row& row = GetParam();
        if ((_CPU()->extended_features & row.extended_features) != row.extended_features ||
            !runs_here(row.features, row.sets))
            GTEST_SKIP() << "this processor lacks the instructions of " << row.kernel->name;
    }
};

template <class Sample>
void compare_band(Fft<float>& got, Fft<float>& plain, const std::vector<Sample>& x, uint32_t size)
{
    const uint32_t first = size / 8, last = std::min(first + 5, size / 2 - 1);
    got.band(x.data(), size, first, last);
    plain.band(x.data(), size, first, last);
    EXPECT_LT(error_db(got.bins(), plain.bins()), -135);
}

template <class Real, class Make, class Sample>
void same_spectra(const Row& row, const fft::Kernel& portable, Make make, const std::vector<Sample>& x,
                  const std::vector<Sample>& y)
{
    for (uint32_t size = 4; size <= 4096; size *= 2) {
        SCOPED_TRACE(testing::Message()
                     << row.kernel->name << ", " << size << " samples of " << sizeof(Sample));
        Fft<Real> got(make(nullptr, *row.kernel), size, ZVWindowType_Blackman);
        Fft<Real> plain(make(nullptr, portable), size, ZVWindowType_Blackman);
        const auto compare = [&](double limit, auto compute) {
            compute(got);
            compute(plain);
            EXPECT_LT(error_db(got.bins(), plain.bins()), limit);
            EXPECT_TRUE(module_fits(got));
        };
        compare(row.real_db, [&](auto& f) { f.compute(x.data(), size); });
        compare(sizeof(Real) == 8 ? -300 : -137, [&](auto& f) { f.compute(x.data(), y.data(), size / 2); });
        if constexpr (sizeof(Real) == 4) compare_band(got, plain, x, size);
        // A kernel that uses MMX registers leaves the floating-point unit usable.
        EXPECT_EQ(sqrtl(static_cast<long double>(size) * size), size);
    }
}

TEST_P(FftKernel, GivesThePortableSpectrum)
{
    const auto run = [](const auto& x, const auto& y) {
        const Row& row = GetParam();
        if (row.kernel->band_16)
            same_spectra<float>(row, fft::float_portable, fft::make_float, x, y);
        else
            same_spectra<double>(row, fft::double_portable, fft::make_double, x, y);
    };
    run(noise(4096, 3), noise(4096, 4));
    run(noise<int32_t>(4096, 5), noise<int32_t>(4096, 6));
}

std::string name(const testing::TestParamInfo<Row>& info) { return info.param.kernel->name; }
INSTANTIATE_TEST_SUITE_P(Float, FftKernel, testing::ValuesIn(singles), name);
INSTANTIATE_TEST_SUITE_P(Double, FftKernel, testing::ValuesIn(doubles), name);

// The processor at hand, as it is: a spectrum through the exports runs, whatever its row is.
TEST(FftKernels, ThisProcessorRunsItsRow)
{
    RecordProperty("row", fft::choose_float().name);
    Fft<float> single(1024, ZVWindowType_Hann);
    Fft<double> twice(1024, ZVWindowType_Hann);
    const Signal x = noise(1024);
    single.compute(x.data(), 1024);
    twice.compute(x.data(), 1024);
    EXPECT_LT(error_db(single.bins(), twice.bins()), -130) << fft::choose_float().name;
}
} // namespace
