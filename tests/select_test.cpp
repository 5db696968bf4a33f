// The choice of kernels by processor, stated a second time, as names; and that the list of kernels tells what
// objects take.
#include "core/cpu_tables.h"
#include "filter/fir_kernels.h"
#include "filter/lms_kernels.h"
#include "kernel_list.h"
#include "resample/resampler.h"
#include "spectrum/fft_kernels.h"
#include "support/processors.h"
#include <algorithm>
#include <array>
#include <cfloat>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <zovek/fsk_corr_demod.h>
#include <zovek/tone_detector_corr.h>

namespace {
constexpr uint32_t mmx = ZV_CPU_MMX, sse = ZV_CPU_SSE, sse2 = ZV_CPU_SSE2, all = ~0u; // features
constexpr uint32_t now = test::amd_3dnow, now_ext = test::amd_3dnow_ext, mmx_ext = test::amd_mmx_ext;
constexpr uint32_t avx2 = 1, avx512 = avx2 | 2, vnni = avx512 | 4; // wider sets
constexpr uint32_t k5 = 0x20005001, f5m6 = 0x20006000, f5m8 = 0x20006001, f5m9 = 0x20006002;
constexpr uint32_t f6 = 0x20007000, f15 = 0x20008000;

// A processor, and the names of its kernels in this order: FIR 16 -> 16, 16 -> 32, 32 -> 32, every second
// sample, LMS; spectra in double and in float, demodulator, FSK correlator; tone correlator, autocorrelation,
// amplitude, frequency; resampler of 16 and of 32 bits, fill.
struct Choice {
    uint32_t classification, features, extended, sets;
    const char* kernels;
};

// clang-format off
constexpr Choice choices[] = {
    // listed classes: whatever the wider sets, as far as their own set is there
    {k5, all, all, vnni, "scalar scalar exact high avx512  avx512 avx512 double_avx512 avx2 "
                         "groups_vnni avx512 avx512 avx512  avx512 avx2 words"},
    {k5, 0, 0, 0, "scalar scalar exact exact any  portable portable plain plain "
                  "plain_scalar portable portable portable  scalar scalar words"},
    {f5m6, all, all, vnni, "mmx4 mmx4 high_shift high mmx  avx512 avx512 double_avx512 avx2 "
                           "groups_mmx avx512 avx512 avx512  avx512 avx2 words"},
    {f5m6, sse2, now, avx2, "avx2 avx2 exact exact avx2  avx2 avx2 double_avx2 avx2 "
                            "plain_scalar avx2 avx2 avx2  avx2 avx2 words"},
    {f5m8, mmx, now, 0, "mmx4 mmx4 high_shift high mmx  portable 3dnow plain plain "
                        "groups_mmx portable portable portable  scalar scalar words"},
    {f5m8, all, now, avx512, "mmx4 mmx4 high_shift high mmx  avx512 3dnow double_avx512 avx2 "
                             "groups_mmx avx512 avx512 avx512  avx2 avx2 words"},
    {f5m9, mmx, now, 0, "mmx4 mmx4 high_shift high mmx  portable 3dnow plain plain "
                        "groups_mmx portable portable portable  scalar scalar words"},
    {f5m9, mmx, ~now, 0, "mmx4 mmx4 high_shift high mmx  portable portable plain plain "
                         "groups_mmx portable portable portable  scalar scalar words"},
    {f5m9, 0, all, 0, "scalar scalar exact exact any  portable portable plain plain "
                      "plain_scalar portable portable portable  scalar scalar words"},
    {f6, mmx | sse, now | now_ext, 0, "mmx16 mmx16 high_shuffle high mmx_ext  portable 3dnow_ext plain plain "
                                      "groups_mmx 3dnow 3dnow portable  scalar scalar past_caches"},
    {f6, mmx, now | now_ext | mmx_ext, 0, "mmx16 mmx16 high_shuffle high mmx_ext  portable 3dnow_ext plain plain "
                                          "groups_mmx 3dnow 3dnow portable  scalar scalar past_caches"},
    {f6, mmx, now | now_ext, 0, "mmx16 mmx16 high_unpack high any  portable portable plain plain "
                                "groups_mmx 3dnow 3dnow portable  scalar scalar words"},
    {f6, mmx | sse | sse2, now, avx2, "mmx16 mmx16 high_shuffle high mmx_ext  avx2 avx2 double_avx2 avx2 "
                                      "groups_avx2 3dnow 3dnow avx2  avx2 avx2 past_caches"},
    {f6, all, ~now, avx512, "mmx16 mmx16 high_shuffle high mmx_ext  avx512 avx512 double_avx512 avx2 "
                            "groups_avx512 avx512 avx512 avx512  avx2 avx2 past_caches"},
    {f6, sse, all, 0, "scalar scalar exact exact any  portable portable plain plain "
                      "plain_scalar portable portable portable  scalar scalar words"},
    {f15, mmx | sse | sse2, now | now_ext, 0, "mmx16 mmx16 high_shuffle high mmx_ext  sse2 3dnow_ext double_sse2 sse2 "
                                              "groups_mmx portable portable portable  sse2 scalar past_caches"},
    {f15, mmx | sse | sse2, 0, 0, "mmx16 mmx16 high_shuffle high mmx_ext  sse2 sse2 double_sse2 sse2 "
                                  "groups_mmx portable portable portable  sse2 scalar past_caches"},
    {f15, all, all, vnni, "mmx16 mmx16 high_shuffle high mmx_ext  avx512 3dnow_ext double_avx512 avx2 "
                          "groups_vnni avx512 avx512 avx512  avx512 avx2 past_caches"},
    {f15, mmx | sse2, now_ext, avx2, "mmx16 mmx16 high_avx2 high avx2  avx2 avx2 double_avx2 avx2 "
                                     "groups_avx2 avx2 avx2 avx2  avx2 avx2 words"},
    {f15, sse2, 0, avx2, "avx2 avx2 exact exact avx2  avx2 avx2 double_avx2 avx2 "
                         "plain_scalar avx2 avx2 avx2  avx2 avx2 words"},
    // the others by what they have, and whatever of 3DNow!
    {0, 0, 0, 0, "scalar scalar exact exact any  portable portable plain plain "
                 "plain_scalar portable portable portable  scalar scalar words"},
    {0x30005001, mmx, 0, 0, "mmx8 mmx4 high_unpack high any  portable portable plain plain "
                            "groups_mmx portable portable portable  scalar scalar words"},
    {0x20006003, mmx, all, 0, "mmx8 mmx4 high_unpack high any  portable portable plain plain "
                              "groups_mmx portable portable portable  scalar scalar words"},
    {0x20007001, all, all, 0, "sse2 sse2 high_unpack high any  sse2 sse2 double_sse2 sse2 "
                              "groups_mmx portable portable portable  sse2 scalar words"},
    {0x10000000, mmx | sse2, all, avx2, "avx2 avx2 high_avx2 high avx2  avx2 avx2 double_avx2 avx2 "
                                        "groups_avx2 avx2 avx2 avx2  avx2 avx2 words"},
    {0x20000000, all, all, avx512, "avx512 avx512 high_avx512 high avx512  avx512 avx512 double_avx512 avx2 "
                                   "groups_avx512 avx512 avx512 avx512  avx2 avx2 words"},
    {0x30005000, mmx | sse2, 0, vnni, "vnni vnni high_vnni high avx512  avx512 avx512 double_avx512 avx2 "
                                      "groups_vnni avx512 avx512 avx512  avx512 avx2 words"},
    // sets that come without those before them
    {0, sse2, 0, 0, "sse2 sse2 exact exact any  sse2 sse2 double_sse2 sse2 "
                    "plain_scalar portable portable portable  sse2 scalar words"},
    {0, sse2, 0, vnni, "vnni vnni exact exact avx512  avx512 avx512 double_avx512 avx2 "
                       "plain_scalar avx512 avx512 avx512  avx512 avx2 words"},
    {0, mmx, 0, avx2, "mmx8 mmx4 high_avx2 high avx2  portable portable double_avx2 plain "
                      "groups_avx2 portable portable portable  scalar scalar words"},
    {0, mmx, 0, avx512, "mmx8 mmx4 high_avx512 high avx512  portable portable double_avx512 plain "
                        "groups_avx512 portable portable portable  scalar scalar words"},
    {0, ~mmx & ~sse2, all, vnni, "scalar scalar exact exact avx512  portable portable double_avx512 plain "
                                 "plain_scalar portable portable portable  scalar scalar words"},
};
// clang-format on

// What the list tells of the processor as it stands.
std::map<std::string, zv::ChosenKernel> listed()
{
    std::map<std::string, zv::ChosenKernel> kernels;
    for (const zv::KernelFamily& family : zv::kernel_families())
        kernels[family.name] = family.choose(*_CPU(), zv::wider_sets);
    return kernels;
}

std::vector<std::string> names_in_order()
{
    std::vector<std::string> names;
    for (const zv::KernelFamily& family : zv::kernel_families())
        names.emplace_back(family.choose(*_CPU(), zv::wider_sets).name);
    return names;
}

std::vector<std::string> wanted(const Choice& choice)
{
    std::istringstream words(choice.kernels);
    std::vector<std::string> names{std::istream_iterator<std::string>(words), {}};
    constexpr size_t demodulator = 7;
    if (FLT_EVAL_METHOD != 0) names[demodulator] = "plain"; // x87 has that form alone
    return names;
}

// What objects hold that are made now, by the list's names of their families.
std::map<std::string, const void*> held()
{
    std::map<std::string, const void*> kernels;
    const auto hold = [&](const char* family, auto kernel) {
        kernels[family] = reinterpret_cast<const void*>(kernel);
    };
    const auto fir = [&](const char* family, ZVFIR* (*construct)(ZVFIR*)) {
        ZVFIR filter;
        hold(family, construct(&filter)->kernel);
        ZVFIR_Destruct(&filter, 0);
    };
    fir("ZVFIR1616", ZVFIR1616_Construct);
    fir("ZVFIR1632", ZVFIR1632_Construct);
    fir("ZVFIR3232", ZVFIR3232_Construct);
    ZVFFT fft;
    hold("ZVFFT", zv::fft::private_of(ZVFFT_Construct(&fft))->kernel);
    ZVFFT_Destruct(&fft, 0);
    const zv::fft::Kernel& single = *zv::fft::private_of(ZVFFT2Float_Construct(&fft))->kernel;
    hold("ZVFFT2Float", &single);
    EXPECT_EQ(fft.compute_16, single.real_16);
    EXPECT_EQ(fft.compute_32, single.real_32);
    EXPECT_EQ(fft.compute_band_16, single.band_16);
    EXPECT_EQ(fft.compute_band_32, single.band_32);
    ZVFFT_Destruct(&fft, 0);
    ZVFSKCorrDemod fsk;
    hold("ZVFSKCorrDemod16", ZVFSKCorrDemod16_Construct(&fsk)->kernel);
    ZVFSKCorrDemod_Destruct(&fsk, 0);
    ZVResampler32 resampler;
    ZVResampler32_Over(ZVResampler32_Construct(&resampler), 2);
    hold("ZVResampler32, 16 bits", zv::resampler::tables_of(&resampler).narrow);
    hold("ZVResampler32, 32 bits", zv::resampler::tables_of(&resampler).wide);
    ZVResampler32_Destruct(&resampler, 0);
    return kernels;
}

TEST(Select, IsAsStatedAndWhatObjectsTake)
{
    for (const Choice& row : choices) {
        SCOPED_TRACE(testing::Message() << std::hex << row.classification << ' ' << row.features << ' '
                                        << row.extended << ' ' << row.sets);
        // Of all kernels only the fill runs here, in the constructors, so sets that this machine lacks do no
        // harm.
        const bool fills = test::runs_here(test::sse) || wanted(row).back() != "past_caches";
        const test::OnProcessor as(row.classification, row.features, row.sets, row.extended);
        EXPECT_EQ(names_in_order(), wanted(row));
        if (!fills) continue;
        const auto list = listed();
        for (const auto& [family, kernel] : held()) EXPECT_EQ(list.at(family).kernel, kernel) << family;
    }
}

// What of a processor's sets a kernel's name tells that it runs.
bool has_set_of(const std::string& name, const ZVCPUInfo& cpu, uint32_t wider)
{
    constexpr struct {
        const char* part;
        uint32_t features, extended, wider;
    } sets[] = {
        {"mmx", mmx, 0, 0},
        {"high", mmx, 0, 0},
        {"mmx_ext", mmx, mmx_ext, 0},
        {"high_shuffle", mmx, mmx_ext, 0},
        {"past_caches", mmx, mmx_ext, 0},
        {"3dnow", mmx, now, 0},
        {"3dnow_ext", mmx, now | now_ext | mmx_ext, 0},
        {"sse2", sse2, 0, 0},
        {"avx2", 0, 0, avx2},
        {"avx512", 0, 0, avx512},
        {"vnni", 0, 0, vnni},
    };
    const uint32_t by_sse = cpu.features & sse ? mmx_ext : 0;
    return std::all_of(std::begin(sets), std::end(sets), [&](const auto& set) {
        return name.find(set.part) == std::string::npos ||
               ((set.features & ~cpu.features) | (set.extended & ~(cpu.extended_features | by_sse)) |
                (set.wider & ~wider)) == 0;
    });
}

// On every class with and without each set: a name stands for one kernel, whose sets are there.
TEST(Select, GivesNoProcessorASetThatItLacks)
{
    std::vector<std::array<uint32_t, 3>> processors; // features, extended features, wider sets
    for (const uint32_t features : {0u, mmx, sse2, mmx | sse2, mmx | sse | sse2})
        for (const uint32_t extended : {0u, mmx_ext, now, now | now_ext, all})
            for (const uint32_t sets : {0u, avx2, avx512, vnni})
                processors.push_back({features, extended, sets});
    std::vector<uint32_t> codes = {0};
    for (const auto& row : zv::cpu::classes) codes.push_back(row.code);
    std::map<std::string, std::map<std::string, const void*>> kernels;
    for (const uint32_t code : codes)
        for (const auto& [features, extended, sets] : processors) {
            const test::OnProcessor as(code, features, sets, extended);
            for (const auto& [family, chosen] : listed()) {
                ASSERT_TRUE(has_set_of(chosen.name, *_CPU(), sets))
                    << family << ": " << chosen.name << std::hex << " on " << code << ' ' << features << ' '
                    << extended << ' ' << sets;
                const auto known = kernels[family].emplace(chosen.name, chosen.kernel).first;
                ASSERT_EQ(known->second, chosen.kernel) << family << ": " << chosen.name;
            }
        }
    for (const auto& [family, named] : kernels) {
        std::vector<const void*> all_of_it;
        for (const auto& [name, kernel] : named) all_of_it.push_back(kernel);
        std::sort(all_of_it.begin(), all_of_it.end());
        EXPECT_EQ(std::adjacent_find(all_of_it.begin(), all_of_it.end()), all_of_it.end()) << family;
    }
}

// An object keeps what its Construct chose when the record changes afterwards, by whatever setter it is
// rebuilt; some choose at the first call, at a rebuild or at each call.
TEST(Select, HappensWhenTheHeadersSay)
{
    const uint32_t features = _CPU()->features;
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
    EXPECT_EQ(lms_kernel, select(zv::lms::rows).kernel);
    {
        const test::OnProcessor as(k5, 0, 0);
        ZVFIR_TapsNum(fir, 63);
        EXPECT_EQ(fir->kernel, fir_kernel);
        EXPECT_EQ(select(zv::fir::rows_process2).kernel, zv::fir::process2_exact);
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
