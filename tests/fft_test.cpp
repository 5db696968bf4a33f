// Spectrum objects: sizes, tables, windows, and spectra of both kinds against plain sums.
#include "reference/dft.h"
#include "spectrum/fft_kernels.h"
#include "support/guarded.h"
#include "support/platform.h"
#include "support/processors.h"
#include "support/spectra.h"
#include <zovek/memory.h>

namespace {
using namespace test;

template <class Real>
class FftOf : public testing::Test {
};
using Kinds = testing::Types<double, float>;
TYPED_TEST_SUITE(FftOf, Kinds);

// --- Objects ---

TEST(Fft, ANewObjectHasItsAreasInOrder)
{
    const Fft<double> twice;
    EXPECT_EQ(twice->storage_bytes, 15360u);
    EXPECT_TRUE(!twice->compute_16 && !twice->compute_32 && !twice->compute_band_16 &&
                !twice->compute_band_32);
    const Fft<float> single;
    EXPECT_EQ(single->storage_bytes, 0u);
    EXPECT_TRUE(single->compute_16 && single->compute_32 && single->compute_band_16 &&
                single->compute_band_32);

    const auto at = [](const auto& fft, const void* area) {
        return static_cast<const char*>(area) - reinterpret_cast<const char*>(fft->bit_reverse);
    };
    for (const ZVFFT* fft : {twice.self, single.self}) {
        EXPECT_EQ(fft->buffer_size, 512u);
        EXPECT_EQ(fft->half_size, 256u);
        EXPECT_EQ(fft->window_type, 0);
        EXPECT_EQ(uintptr_t(fft->bit_reverse) % 64, 0u);
    }
    EXPECT_EQ(at(twice, twice->twiddle), 1024);
    EXPECT_EQ(at(twice, twice->work), 3072);
    EXPECT_EQ(at(twice, twice->module), 7168);
    EXPECT_EQ(at(twice, twice->im), 9216);
    EXPECT_EQ(at(twice, twice->re), 11264);
    EXPECT_EQ(at(twice, twice->window), 13312); // + 2048 = 15360
    EXPECT_EQ(at(single, single->module), 1024);
    EXPECT_EQ(at(single, single->im), 2048);
    EXPECT_EQ(at(single, single->re), 3072);
    EXPECT_EQ(at(single, single->twiddle), 4096);
    EXPECT_EQ(at(single, single->work), 6144);
    EXPECT_EQ(at(single, single->window), 8192); // + 2048 = 10240
}

TEST(Fft, SizesAreRoundedUpToPowersOfTwo)
{
    struct Row {
        uint32_t request, twice, single;
    };
    constexpr Row rows[] = {
        {0, 512, 4},        {1, 512, 4},          {2, 512, 4},           {3, 4, 4},
        {5, 8, 8},          {100, 128, 128},      {1000, 1024, 1024},    {1024, 1024, 1024},
        {1025, 2048, 2048}, {1u << 30, 512, 512}, {0xFFFFFFFF, 512, 512}}; // no such memory
    for (const Row& row : rows) {
        EXPECT_EQ(Fft<double>(row.request)->buffer_size, row.twice) << row.request;
        EXPECT_EQ(Fft<float>(row.request)->buffer_size, row.single) << row.request;
        EXPECT_EQ(Fft<float>(row.request)->half_size, row.single / 2) << row.request;
    }
}

TYPED_TEST(FftOf, ANewSizeClearsTheResultsAndTheSameSizeKeepsThem)
{
    Fft<TypeParam> fft(1024, ZVWindowType_Hann);
    const Signal x = noise(2048);
    fft.compute(x.data(), 1024);
    const Bins before = fft.bins();
    fft.resize(600);
    ZVFFT_WindowType(fft.self, ZVWindowType_Blackman);
    EXPECT_EQ(fft.bins(), before);
    const uint32_t* block = fft->bit_reverse;
    for (const uint32_t size : {512u, 1024u, 4u, 1024u}) {
        fft.resize(size);
        EXPECT_EQ(fft.bins(), Bins(size / 2)) << size;
        EXPECT_TRUE(module_fits(fft)) << size;
        EXPECT_NEAR(fft->window[size / 2 - 1], 50.0 / 21, 1e-6) << size;
        EXPECT_EQ(fft->bit_reverse, block) << size;
    }
    EXPECT_EQ(fft->storage_bytes, fft.twice ? 30720u : 0u);
}

TYPED_TEST(FftOf, ARefusalLeavesTheObjectAsItWas)
{
    Fft<TypeParam> fft(256, ZVWindowType_Hann);
    const Signal x = noise(256);
    fft.compute(x.data(), 256);
    const std::string record = test::bytes_of(*fft.self);
    const Bins before = fft.bins();
    {
        const Refusing refusing;
        fft.resize(1 << 20);
    }
    EXPECT_EQ(test::bytes_of(*fft.self), record);
    EXPECT_EQ(fft.bins(), before);
    fft.compute(x.data(), 256);
    EXPECT_EQ(fft.bins(), before);
}

// --- Tables ---

TYPED_TEST(FftOf, TwiddlesCoverHalfATurnAndIndicesAreReversed)
{
    for (uint32_t size = 4; size <= 16384; size *= 2) {
        const Fft<TypeParam> fft(size);
        const uint32_t half = size / 2, bits = uint32_t(std::countr_zero(half));
        for (uint32_t n = 0; n < half; ++n) {
            uint32_t reversed = 0;
            for (uint32_t bit = 0; bit < bits; ++bit) reversed |= (n >> bit & 1) << (bits - 1 - bit);
            ASSERT_EQ(fft->bit_reverse[n], reversed) << size << ' ' << n;
            const long double angle = -std::numbers::pi_v<long double> * n / half;
            ASSERT_NEAR(fft->twiddle[2 * n], sinl(angle), 3.1e-8) << size << ' ' << n; // half an ulp below 1
            ASSERT_NEAR(fft->twiddle[2 * n + 1], cosl(angle), 3.1e-8) << size << ' ' << n;
        }
    }
}

TYPED_TEST(FftOf, WindowsHaveTheirShapeAndMean)
{
    struct Row {
        int32_t type;
        double first, before_peak, peak, behind_peak, last; // 0, 6, 7, 8, 15 of 16
    };
    constexpr Row rows[] = {{ZVWindowType_Rectangular, 1, 1, 1, 1, 1},
                            {ZVWindowType_Triangular, 0, 0.75, 0.875, 0.875, 0},
                            {ZVWindowType_Hann, 0.0761205, 1.9238795, 2, 1.9238795, 0},
                            {ZVWindowType_Hamming, 0.2129915, 1.7870085, 1.8518518, 1.7870085, 0.1481481},
                            {ZVWindowType_Blackman, 0.0348304, 2.2345430, 2.3809524, 2.2345430, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.type);
        const Fft<TypeParam> fft(16, row.type);
        const float* w = fft->window;
        const double wanted[] = {row.first, row.before_peak, row.peak, row.behind_peak, row.last};
        for (int k = 0; const int n : {0, 6, 7, 8, 15}) EXPECT_NEAR(w[n], wanted[k++], 1e-6) << n;
        EXPECT_EQ(w[15] == 0, row.last == 0);
        ZVFFT_WindowType(fft.self, 5);
        ZVFFT_WindowType(fft.self, -1);
        EXPECT_EQ(fft->window_type, row.type);

        for (uint32_t size = 4; size <= 65536; size *= 4) {
            const Fft<TypeParam> sized(size, row.type);
            double sum = 0;
            for (uint32_t n = 0; n < size; ++n) sum += sized->window[n];
            EXPECT_NEAR(sum / size, row.type == 1 ? (size / 2.0 - 1) / size : 1.0, 3e-8) << size;
        }
    }
}

// --- Spectra ---

TEST(Fft, LevelsOfABand)
{
    Fft<float> fft(64);
    const Signal constant(64, 1000), x = noise(64);
    fft.band(constant.data(), 64, 0, 1);
    EXPECT_EQ(fft.re(0), 0);
    EXPECT_EQ(fft.im(0), 64000);
    EXPECT_EQ(fft.module(0), 4096000000.0f);
    EXPECT_NEAR(fft.module(1), 0, 1e-3);
    for (const auto& [first, last] : {std::pair{3u, 9u}, {0u, 31u}, {31u, 31u}}) {
        fft.compute(x.data(), 64);
        const Bins whole = fft.bins();
        fft.band(x.data(), 64, first, last);
        for (uint32_t k = 0; k < 32; ++k) {
            const bool inside = k >= first && k <= last;
            const float factor =
                k == 0 ? 1 : 2; // the band isn't doubled, its parts stand the other way round
            EXPECT_NEAR(factor * fft.im(k), inside ? whole[k].real() : 0, 1) << k;
            EXPECT_NEAR(factor * fft.re(k), inside ? whole[k].imag() : 0, 1) << k;
            const double power = double(fft.re(k)) * fft.re(k) + double(fft.im(k)) * fft.im(k);
            EXPECT_NEAR(fft.module(k), power, 1e-6 * power) << k;
        }
    }
}

// Relative error of the whole spectrum, in dB. Twiddles rounded to float limit a ZVFFT. The limits of a
// ZVFFT2Float are the errors of FFTW 3.3.10's r2c in single precision under a Hann window, averaged over
// many such signals; kernels without fused multiply-add may have 1 dB more.
struct Limit {
    uint32_t size;
    double twice, single;
};
constexpr Limit limits[] = {{4, -150, -150},      {8, -145, -147.9},    {16, -140, -144.7},
                            {64, -140, -141.3},   {128, -140, -140.7},  {512, -138, -139.4},
                            {1024, -138, -138.7}, {4096, -137, -137.0}, {16384, -136, -136.6},
                            {65536, -135, -135.5}};

template <class Real, class Sample>
void spectra_fit(const Limit& limit, int32_t window)
{
    SCOPED_TRACE(testing::Message() << limit.size << " samples, window " << window << ", " << sizeof(Sample));
    Fft<Real> fft(limit.size, window);
    const uint32_t half = limit.size / 2;
    const double spare = runs_here(ZV_CPU_SSE2, zv::avx2) ? 0 : 1;
    const double bound = fft.twice ? limit.twice : limit.single + spare;
    std::vector<size_t> some; // all bins, or a spread over them with both ends
    for (size_t n = 0; n < std::min(half, 64u); ++n)
        some.push_back(half <= 64 ? n : (n * half * 5 / 64 + n) % half);
    if (half > 64) some.insert(some.end(), {half - 1, half / 2, half / 2 - 1, half / 2 + 1});
    const auto check = [&](const Bins& wanted, const char* name) {
        const Bins all = fft.bins();
        Bins got;
        for (const size_t k : some) got.push_back(all[k]);
        EXPECT_LT(error_db(got, wanted), bound) << name;
        EXPECT_TRUE(module_fits(fft)) << name;
    };
    const auto x = noise<Sample>(limit.size, limit.size), y = noise<Sample>(half, 99);
    fft.compute(x.data(), limit.size + 7);
    check(reference::spectrum(x, fft->window, some), "real");
    EXPECT_EQ(fft.im(0), 0);
    const std::vector<Sample> i(x.begin(), x.begin() + half);
    fft.compute(i.data(), y.data(), limit.size);
    check(reference::spectrum(i, y, fft->window, some), "I/Q");
}

TYPED_TEST(FftOf, SpectraEqualThePlainSum)
{
    for (const Limit& limit : limits)
        for (const int32_t window : {ZVWindowType_Rectangular, ZVWindowType_Hann}) {
            spectra_fit<TypeParam, int16_t>(limit, window);
            if (limit.size <= 4096) spectra_fit<TypeParam, int32_t>(limit, window);
        }
}

// From 2^21 points on the table of factors is no exact mirror of itself, and each bin has its own: against
// the plain form, which knows of no mirror.
TEST(Fft, EachBinOfManyPointsHasItsOwnFactor)
{
    using namespace zv::fft;
    constexpr uint32_t size = 1 << 21;
    const Signal x = noise(size);
    const auto spectrum = [&](const Kernel& kernel) {
        Fft<double> fft(make_double(nullptr, kernel), size, ZVWindowType_Rectangular);
        fft.compute(x.data(), size);
        return fft.bins();
    };
    const Bins plain = spectrum(double_portable);
    for (const auto& row : running_here(double_rows))
        EXPECT_LT(error_db(spectrum(*row.kernel), plain), -300) << row.name;
}

// A block that is cut short, at the end of a page, is one that ends in zeros; a longer one is cut.
TYPED_TEST(FftOf, CountsBesideTheSize)
{
    for (const uint32_t size : {8u, 64u, 512u, 2048u}) {
        Fft<TypeParam> fft(size, ZVWindowType_Hamming);
        const Signal32 x = noise<int32_t>(size), y = noise<int32_t>(size, 5);
        for (const uint32_t count : {0u, 1u, size / 2 - 1, size / 2, size - 1, size}) {
            SCOPED_TRACE(testing::Message() << count << " of " << size);
            Guarded<int32_t> a(count), b(count);
            std::copy_n(x.data(), count, a.data());
            std::copy_n(y.data(), count, b.data());
            const auto padded = [&](const Signal32& from) {
                Signal32 to(size);
                std::copy_n(from.data(), count, to.data());
                return to;
            };
            const auto equal = [&](auto short_call, auto whole_call) {
                short_call();
                const Bins got = fft.bins();
                whole_call();
                EXPECT_EQ(got, fft.bins());
            };
            equal([&] { fft.compute(a.data(), count); }, [&] { fft.compute(padded(x).data(), size); });
            equal([&] { fft.compute(a.data(), b.data(), count); },
                  [&] { fft.compute(padded(x).data(), padded(y).data(), 0xFFFFFFFF); });
            if (fft.twice) continue;
            equal([&] { fft.band(a.data(), count, 1, 2); }, [&] { fft.band(padded(x).data(), size, 1, 2); });
        }
    }
}

TEST(Fft, ModuleOfAnyTwoArrays)
{
    const Fft<double> twice;
    const Fft<float> single;
    const std::vector<double> threes(256, 3), fours(256, -4);
    const std::vector<float> threes_f(256, 3), fours_f(256, -4);
    ZVFFT_Compute_Module(twice.self, threes.data(), fours.data());
    ZVFFT2Float_Compute_Module(single.self, threes_f.data(), fours_f.data());
    for (size_t k = 0; k < 256; ++k) {
        ASSERT_EQ(twice.module(k), 6.25);
        ASSERT_EQ(single.module(k), 6.25f);
    }
}
} // namespace
