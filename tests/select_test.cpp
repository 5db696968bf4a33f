// The choice of kernels by processor, stated a second time, as names.
#include "filter/fir_kernels.h"
#include "filter/lms_kernels.h"
#include "resample/resampler.h"
#include "spectrum/fft_kernels.h"
#include "support/processors.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <zovek/fsk_corr_demod.h>
#include <zovek/tone_detector_corr.h>

namespace {
constexpr uint32_t mmx = 1 << 23, sse2 = 1 << 26, sse = 1 << 25, neither = 0, all = ~0u;
constexpr uint32_t avx2 = 1, avx512 = 2, vnni = 4;

struct FirChoice {
    uint32_t classification, features, sets;
    const char *k1616, *k1632, *k3232, *process2;
};

// clang-format off
constexpr FirChoice fir_choices[] = {
    // listed codes: whatever the wider sets, as far as their own set is there
    {0x20005001, all,        all,                    "scalar", "scalar", "exact",        "high"},
    {0x20005001, neither,    0,                      "scalar", "scalar", "exact",        "exact"},
    {0x20006000, all,        all,                    "mmx4",   "mmx4",   "high_shift",   "high"},
    {0x20006001, mmx,        0,                      "mmx4",   "mmx4",   "high_shift",   "high"},
    {0x20006002, neither,    0,                      "scalar", "scalar", "exact",        "exact"},
    {0x20007000, mmx | sse,  0,                      "mmx16",  "mmx16",  "high_shuffle", "high"},
    {0x20007000, mmx,        0,                      "mmx16",  "mmx16",  "high_unpack",  "high"},
    {0x20008000, all,        all,                    "mmx16",  "mmx16",  "high_shuffle", "high"},
    {0x20008000, mmx | sse2, avx2,                   "mmx16",  "mmx16",  "high_avx2",    "high"},
    {0x20008000, sse2,       avx2,                   "avx2",   "avx2",   "exact",        "exact"},
    {0x20008000, neither,    0,                      "scalar", "scalar", "exact",        "exact"},
    // then the features, even for codes that come further down
    {0x10000000, mmx | sse2, 0,                      "sse2",   "sse2",   "high_unpack",  "high"},
    {0,          mmx | sse2, avx2,                   "avx2",   "avx2",   "high_avx2",    "high"},
    {0,          mmx | sse2, avx2 | avx512,          "avx512", "avx512", "high_avx512",  "high"},
    {0x30005000, mmx | sse2, avx2 | avx512 | vnni,   "vnni",   "vnni",   "high_vnni",    "high"},
    {0,          sse2,       avx2,                   "avx2",   "avx2",   "exact",        "exact"},
    {0,          mmx,        avx2,                   "mmx8",   "mmx4",   "high_avx2",    "high"},
    {0x30005001, mmx,        0,                      "mmx8",   "mmx4",   "high_unpack",  "high"},
    {0x20006003, mmx,        0,                      "mmx8",   "mmx4",   "high_unpack",  "high"},
    // then the rest
    {0x30004002, neither,    all,                    "scalar", "scalar", "exact",        "exact"},
    {0,          ~mmx & ~sse2, all,                  "scalar", "scalar", "exact",        "exact"},
};
// clang-format on

std::string name_of(zv::fir::Kernel kernel)
{
    const auto* found = std::find_if(std::begin(zv::fir::all_kernels), std::end(zv::fir::all_kernels),
                                     [=](const auto& named) { return named.run == kernel; });
    return found == std::end(zv::fir::all_kernels) ? "none" : found->name;
}

TEST(Select, FirKernels)
{
    using Construct = ZVFIR* (*)(ZVFIR*);
    for (const FirChoice& row : fir_choices) {
        SCOPED_TRACE(testing::Message()
                     << std::hex << row.classification << ' ' << row.features << ' ' << row.sets);
        const test::OnProcessor as(row.classification, row.features, row.sets);
        const auto chosen = [](Construct construct) {
            ZVFIR fir;
            construct(&fir);
            ZVFIR_Destruct(&fir, 0);
            return name_of(fir.kernel);
        };
        EXPECT_EQ(chosen(ZVFIR1616_Construct), std::string("fir1616_") + row.k1616);
        EXPECT_EQ(chosen(ZVFIR1632_Construct), std::string("fir1632_") + row.k1632);
        EXPECT_EQ(chosen(ZVFIR3232_Construct), std::string("fir3232_") + row.k3232);
        const bool exact = std::string(row.process2) == "exact";
        EXPECT_EQ(zv::fir::process2(), exact ? zv::fir::process2_exact : zv::fir::process2_high);
    }
}
struct FftChoice {
    uint32_t classification, features, extended, sets;
    const char *single, *twice;
};
constexpr uint32_t now = test::amd_3dnow, now_ext = test::amd_3dnow_ext, mmx_ext = test::amd_mmx_ext;

// clang-format off
constexpr FftChoice fft_choices[] = {
    // listed codes with 3DNow! and what comes with it
    {0x20006001, all,              now,                     avx2 | avx512, "3dnow",     "avx512"},
    {0x20006002, mmx,              now,                     0,             "3dnow",     "portable"},
    {0x20007000, mmx,              now | now_ext | mmx_ext, 0,             "3dnow_ext", "portable"},
    {0x20008000, mmx | sse | sse2, now | now_ext,           0,             "3dnow_ext", "sse2"},
    // and without, as most virtual ones are
    {0x20006002, mmx,              ~now,                    0,             "portable",  "portable"},
    {0x20007000, mmx | sse | sse2, now,                     0,             "sse2",      "sse2"},
    {0x20007000, neither,          now | now_ext | mmx_ext, 0,             "portable",  "portable"},
    {0x20008000, mmx | sse | sse2, now_ext | mmx_ext,       avx2,          "avx2",      "avx2"},
    {0x20008000, mmx | sse | sse2, 0,                       avx2 | avx512, "avx512",    "avx512"},
    // the others
    {0x20006000, mmx,              all,                     avx2 | avx512, "portable",  "portable"},
    {0x20005001, sse2,             0,                       0,             "sse2",      "sse2"},
    {0x10000000, sse2,             all,                     avx2,          "avx2",      "avx2"},
    {0x20000000, sse2,             all,                     avx2 | avx512, "avx512",    "avx512"},
    {0x10006003, ~sse2,            0,                       avx2 | avx512, "portable",  "portable"},
};
// clang-format on

TEST(Select, Spectra)
{
    for (const FftChoice& row : fft_choices) {
        SCOPED_TRACE(testing::Message()
                     << std::hex << row.classification << ' ' << row.features << ' ' << row.extended);
        const test::OnProcessor as(row.classification, row.features, row.sets, row.extended);
        const zv::fft::Kernel& chosen = zv::fft::choose_float();
        EXPECT_STREQ(chosen.name, row.single);
        EXPECT_STREQ(zv::fft::choose_double().name, row.twice);
        ZVFFT fft;
        ZVFFT2Float_Construct(&fft);
        ZVFFT_Destruct(&fft, 0);
        EXPECT_EQ(fft.compute_16, chosen.real_16);
        EXPECT_EQ(fft.compute_32, chosen.real_32);
        EXPECT_EQ(fft.compute_band_16, chosen.band_16);
        EXPECT_EQ(fft.compute_band_32, chosen.band_32);
    }
}

// An object keeps what its Construct chose when the record changes afterwards, by whatever setter it is rebuilt; some
// choose at the first call, at a rebuild or at each call.
TEST(Select, HappensWhenTheHeadersSay)
{
    const uint32_t features = _CPU()->features;
    constexpr uint32_t k5 = 0x20005001;
    ZVFIR* const fir = ZVFIR3232_Construct(nullptr);
    ZVFFT* const fft = ZVFFT2Float_Construct(nullptr);
    ZVFFT* const twice = ZVFFT_Construct(nullptr);
    ZVFSKCorrDemod* const fsk = ZVFSKCorrDemod16_Construct(nullptr);
    ZVLMS1616* const lms = ZVLMS1616_Construct(nullptr);
    ZVResampler32* const resampler = ZVResampler32_Construct(nullptr);
    ZVToneDetectorCorr* const tone = ZVToneDetectorCorr16_Construct(nullptr);
    const auto fir_kernel = fir->kernel;
    const auto fft_kernel = fft->compute_16;
    const auto *row = zv::fft::private_of(fft)->kernel, *twice_row = zv::fft::private_of(twice)->kernel;
    const auto fsk_kernel = fsk->kernel;
    const auto resampler_kernel = zv::resampler::tables_of(resampler).wide;
    zv::lms::lms_kernel = zv::lms::choose;
    ZVLMS1616_Process(lms, nullptr, 1);
    const auto lms_kernel = zv::lms::lms_kernel.load();
    {
        const test::OnProcessor as(k5, neither, 0);
        ZVFIR_TapsNum(fir, 63);
        EXPECT_EQ(fir->kernel, fir_kernel);
        EXPECT_EQ(zv::fir::process2(), zv::fir::process2_exact);
        ZVFFT2Float_BufferSize(fft, 1024), ZVFFT_BufferSize(twice, 1024);
        EXPECT_EQ(fft->compute_16, fft_kernel);
        EXPECT_EQ(zv::fft::private_of(fft)->kernel, row);
        EXPECT_EQ(zv::fft::private_of(twice)->kernel, twice_row);
        ZVFSKCorrDemod_BitRate(fsk, 300);
        EXPECT_EQ(fsk->kernel, fsk_kernel);
        ZVLMS1616* const later = ZVLMS1616_Construct(nullptr);
        ZVLMS1616_Process(later, nullptr, 1);
        EXPECT_EQ(zv::lms::lms_kernel.load(), lms_kernel);
        ZVLMS_Destruct(later, 1);
        ZVResampler32_TapsNum(resampler, 63);
        EXPECT_EQ(zv::resampler::tables_of(resampler).wide, zv::resampler::wide_scalar);
        const int16_t first = tone->table[0];
        ZVToneDetectorCorr_ToneLength(tone, 0.01F);
        EXPECT_NE(tone->table[0], 0); // the layout without MMX
        EXPECT_EQ(first == 0, (features & mmx) != 0);
    }
    ZVResampler32_TapsNum(resampler, 127);
    EXPECT_EQ(zv::resampler::tables_of(resampler).wide, resampler_kernel);
    ZVFIR_Destruct(fir, 1), ZVFFT_Destruct(fft, 1), ZVFFT_Destruct(twice, 1), ZVFSKCorrDemod_Destruct(fsk, 1);
    ZVLMS_Destruct(lms, 1), ZVResampler32_Destruct(resampler, 1), ZVToneDetectorCorr_Destruct(tone, 1);
}
} // namespace
