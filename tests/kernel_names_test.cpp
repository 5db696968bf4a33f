// The client's list of kernels says what the library chooses, on every classification, with and without MMX, 3DNow!,
// SSE2 and the wider sets, and nowhere a kernel of a set that the processor lacks.
#include "core/cpu_tables.h"
#include "core/memory_kernels.h"
#include "decode/extract_kernels.h"
#include "decode/fsk_corr_demod.h"
#include "decode/tone_detector_corr_kernels.h"
#include "filter/fir_kernels.h"
#include "filter/lms_kernels.h"
#include "kernels.h"
#include "receiver/demodulator_kernels.h"
#include "resample/resampler.h"
#include "spectrum/fft_kernels.h"
#include "support/processors.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {
template <class Named, class Run>
std::string name_in(const Named& list, Run run)
{
    const auto* found =
        std::find_if(std::begin(list), std::end(list), [=](const auto& n) { return n.run == run; });
    return found == std::end(list) ? "none" : found->name;
}

template <class Run>
struct Named {
    const char* name;
    Run run;
};

std::string fir(zv::fir::Kernel kernel) { return name_in(zv::fir::all_kernels, kernel).substr(8); }

std::string process2()
{
    const Named<zv::fir::Process2> names[] = {{"exact", zv::fir::process2_exact},
                                              {"high", zv::fir::process2_high}};
    return name_in(names, zv::fir::process2());
}

std::string fsk_corr_demod()
{
    using namespace zv::fsk_corr_demod;
    const Named<Kernel> names[] = {{"plain", block_plain}, {"sse2", block_sse2}, {"avx2", block_avx2}};
    ZVFSKCorrDemod demodulator;
    ZVFSKCorrDemod16_Construct(&demodulator);
    ZVFSKCorrDemod_Destruct(&demodulator, 0);
    return name_in(names, demodulator.kernel);
}

std::string correlate()
{
    using namespace zv::extract;
    const Named<Correlate> names[] = {{"portable", correlate_portable},
                                      {"avx2", correlate_avx2},
                                      {"avx512", correlate_avx512},
                                      {"3dnow", correlate_3dnow}};
    return name_in(names, correlate_for_processor());
}

std::string amplitude()
{
    using namespace zv::extract;
    const Named<Amplitude> names[] = {{"portable", amplitude_portable},
                                      {"avx2", amplitude_avx2},
                                      {"avx512", amplitude_avx512},
                                      {"3dnow", amplitude_3dnow}};
    return name_in(names, amplitude_for_processor());
}

std::string frequency()
{
    using namespace zv::extract;
    const Named<Frequencies> names[] = {
        {"portable", frequencies_portable}, {"avx2", frequencies_avx2}, {"avx512", frequencies_avx512}};
    return name_in(names, frequencies_for_processor());
}

std::string tone_detector_corr(uint32_t features)
{
    using namespace zv::tone_detector_corr;
    const Layout layout = features & ZV_CPU_MMX ? Layout::groups : Layout::plain;
    return name_in(all_correlators, correlator_for(layout));
}

std::string lms()
{
    using namespace zv::lms;
    const Named<Kernel> names[] = {{"mmx", lms_mmx},
                                   {"mmx_ext", lms_mmx_ext},
                                   {"any", lms_any},
                                   {"avx2", lms_avx2},
                                   {"avx512", lms_avx512}};
    return name_in(names, kernel_for_processor());
}

struct Resampler {
    std::string narrow, wide;
};
Resampler resampler()
{
    using namespace zv::resampler;
    const Named<Kernel> names[] = {{"scalar", nullptr},   {"scalar", wide_scalar},
                                   {"sse2", narrow_sse2}, {"avx2", narrow_avx2},
                                   {"avx2", wide_avx2},   {"avx512", narrow_lanes_avx512}};
    ZVResampler32 self;
    ZVResampler32_Construct(&self);
    ZVResampler32_Over(&self, 2);
    const Resampler result = {name_in(names, tables_of(&self).narrow), name_in(names, tables_of(&self).wide)};
    ZVResampler32_Destruct(&self, 0);
    return result;
}

// What of a processor's sets a kernel's name tells that it runs.
bool has_set_of(const std::string& name, const ZVCPUInfo& cpu, uint32_t wider)
{
    using namespace test;
    constexpr uint32_t mmx = ZV_CPU_MMX, sse2 = ZV_CPU_SSE2;
    constexpr struct {
        const char* part;
        uint32_t features, extended, wider;
    } sets[] = {
        {"mmx", mmx, 0, 0},
        {"high", mmx, 0, 0},
        {"mmx_ext", mmx, amd_mmx_ext, 0},
        {"high_shuffle", mmx, amd_mmx_ext, 0},
        {"past_caches", mmx, amd_mmx_ext, 0},
        {"3dnow", mmx, amd_3dnow, 0},
        {"3dnow_ext", mmx, amd_3dnow_ext | amd_mmx_ext, 0},
        {"sse2", sse2, 0, 0},
        {"avx2", 0, 0, zv::avx2},
        {"avx512", 0, 0, zv::avx512},
        {"vnni", 0, 0, zv::avx512vnni},
    };
    const uint32_t by_sse = cpu.features & sse ? amd_mmx_ext : 0;
    return std::all_of(std::begin(sets), std::end(sets), [&](const auto& set) {
        return name.find(set.part) == std::string::npos ||
               ((set.features & ~cpu.features) | (set.extended & ~(cpu.extended_features | by_sse)) |
                (set.wider & ~wider)) == 0;
    });
}

TEST(KernelNames, AreTheLibrarysChoiceAndOfTheProcessorsSets)
{
    std::vector<uint32_t> codes = {0};
    for (const auto& row : zv::cpu::classes) codes.push_back(row.code);
    // Of all kernels only the fill runs here, in the constructors, so sets that this machine lacks do no harm.
    if (!test::runs_here(test::sse))
        std::erase_if(codes, [](uint32_t code) { return code == zv::amd_f6 || code == zv::amd_f15; });
    std::vector<std::array<uint32_t, 3>> processors; // features, extended features, wider sets
    for (const uint32_t features : {0u, ZV_CPU_MMX + 0u, ZV_CPU_SSE2 + 0u, ZV_CPU_MMX | ZV_CPU_SSE2 | 0u,
                                    ZV_CPU_MMX | ZV_CPU_SSE | ZV_CPU_SSE2 | 0u})
        for (const uint32_t extended :
             {0u, test::amd_mmx_ext, test::amd_3dnow, test::amd_3dnow | test::amd_3dnow_ext, ~0u})
            for (const uint32_t sets : {0u, 1u, 3u, 7u}) processors.push_back({features, extended, sets});
    for (const uint32_t code : codes)
        for (const auto& [features, extended, sets] : processors) {
            const test::OnProcessor as(code, features, sets, extended);
            std::map<std::string, std::string> chosen = {
                {"ZVFIR1616", fir(zv::fir::kernel_1616())},
                {"ZVFIR1632", fir(zv::fir::kernel_1632())},
                {"ZVFIR3232", fir(zv::fir::kernel_3232())},
                {"ZVFIR3232_Process2", process2()},
                {"ZVLMS1616", lms()},
                {"ZVFFT", zv::fft::choose_double().name},
                {"ZVFFT2Float", zv::fft::choose_float().name},
                {"ZVDemodulator16", zv::demodulator::kernels().name},
                {"ZVFSKCorrDemod16", fsk_corr_demod()},
                {"ZVToneDetectorCorr16", tone_detector_corr(features)},
                {"Correlate_Float_Float", correlate()},
                {"ExtractAmplitude_16_Float", amplitude()},
                {"ExtractFrequency_16_Float", frequency()},
                {"ZVResampler32, 16 bits", resampler().narrow},
                {"ZVResampler32, 32 bits", resampler().wide},
                {"MemorySet_DWord",
                 zv::memory::fill_for_processor() == zv::memory::fill_past_caches ? "past_caches" : "words"},
            };
            std::map<std::string, std::string> listed;
            for (const client::KernelFamily& family : client::kernel_families())
                listed[family.name] = client::kernel_of(family, *_CPU(), zv::wider_sets).name;
            const auto trace = testing::Message()
                               << std::hex << code << ' ' << features << ' ' << extended << ' ' << sets;
            ASSERT_EQ(listed, chosen) << trace;
            for (const auto& [family, kernel] : chosen)
                ASSERT_TRUE(has_set_of(kernel, *_CPU(), sets)) << family << ": " << kernel << " on " << trace;
        }
}

TEST(KernelNames, TheClientFindsTheSameWiderSets) { EXPECT_EQ(client::wider_sets(), zv::wider_sets); }
} // namespace
