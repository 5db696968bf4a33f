// All rows of the table of transforms that run here give the same spectrum. Runs under an emulated
// processor too, to reach the rows that this machine lacks.
#include "spectrum/fft_kernels.h"
#include "support/processors.h"
#include "support/spectra.h"
#include <string>

namespace {
using namespace test;
namespace fft = zv::fft;

using Row = zv::Row<const fft::Kernel*>;

class FftKernel : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        if (!GetParam().when.has_sets(*_CPU(), zv::wider_sets))
            GTEST_SKIP() << "this processor lacks the instructions of " << GetParam().name;
    }
};

// A row's distance from the portable one, which rounds at its stores only.
template <class Real>
double real_db(const Row& row)
{
    return sizeof(Real) == 8 ? -300 : std::string(row.name).starts_with("3dnow") ? -130 : -133;
}

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
        SCOPED_TRACE(testing::Message() << row.name << ", " << size << " samples of " << sizeof(Sample));
        Fft<Real> got(make(nullptr, *row.kernel), size, ZVWindowType_Blackman);
        Fft<Real> plain(make(nullptr, portable), size, ZVWindowType_Blackman);
        const auto compare = [&](double limit, auto compute) {
            compute(got);
            compute(plain);
            EXPECT_LT(error_db(got.bins(), plain.bins()), limit);
            EXPECT_TRUE(module_fits(got));
        };
        compare(real_db<Real>(row), [&](auto& f) { f.compute(x.data(), size); });
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

// All but the portable row, the last one.
auto vectors(zv::Rows<const fft::Kernel*> rows) { return testing::ValuesIn(rows.begin(), rows.end() - 1); }
std::string name(const testing::TestParamInfo<Row>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Float, FftKernel, vectors(fft::float_rows), name);
INSTANTIATE_TEST_SUITE_P(Double, FftKernel, vectors(fft::double_rows), name);

} // namespace
