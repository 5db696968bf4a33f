#include "kernels.h"
#include <algorithm>
#include <cstring>
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace client {
// From CPUID itself: the compiler's own probe finds nothing on vendors that it doesn't know.
uint32_t wider_sets()
{
#if defined(__x86_64__) || defined(__i386__)
    constexpr uint64_t ymm_saved = 0x06, zmm_saved = 0xE6; // states in XCR0
    constexpr uint32_t needed1 = bit_OSXSAVE | bit_AVX | bit_FMA;
    constexpr uint32_t needed7 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
    const auto all = [](uint64_t bits, uint64_t wanted) { return (bits & wanted) == wanted; };
    uint32_t a, b, c, d, features7, more7, low, high;
    if (!__get_cpuid(1, &a, &b, &c, &d) || !all(c, needed1)) return 0;
    if (!__get_cpuid_count(7, 0, &a, &features7, &more7, &d) || !(features7 & bit_AVX2)) return 0;
    asm("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    const uint64_t saved = uint64_t(high) << 32 | low;
    if (!all(saved, ymm_saved)) return 0;
    if (!all(features7, needed7) || !all(saved, zmm_saved)) return avx2;
    return avx2 | avx512 | (more7 & bit_AVX512VNNI ? vnni : 0u);
#else
    return 0;
#endif
}

namespace {
constexpr uint32_t k5 = 0x20005001;                                         // AMD: K5,
constexpr uint32_t f5m6 = 0x20006000, f5m8 = 0x20006001, f5m9 = 0x20006002; // family 5 by model,
constexpr uint32_t f6 = 0x20007000, f15 = 0x20008000;                       // families 6 and 15

// Sets by the bits that show them, in the record's features and extended_features; WiderSet has other bits. SSE
// brings the extended MMX instructions too.
constexpr uint32_t mmx_ext_bit = 1u << 22, now_ext_bit = 1u << 30, now_bit = 1u << 31;
constexpr uint32_t mmx = ZV_CPU_MMX, sse2 = ZV_CPU_SSE2, mmx_ext = mmx | mmx_ext_bit;
constexpr uint32_t now = mmx | now_bit, now_ext = now | mmx_ext | now_ext_bit;

uint32_t sets_of(const ZVCPUInfo& cpu, uint32_t wider)
{
    const uint32_t by_sse = cpu.features & ZV_CPU_SSE ? mmx_ext_bit : 0;
    const uint32_t extended = cpu.extended_features & (mmx_ext_bit | now_ext_bit | now_bit);
    return (cpu.features & (mmx | sse2)) | extended | by_sse | wider;
}

template <class... Codes>
constexpr KernelCondition on(uint32_t sets, Codes... codes)
{
    return {.sets = sets, .codes = {codes...}};
}
constexpr KernelCondition has(uint32_t sets) { return {.sets = sets}; }
constexpr KernelCondition otherwise = {};

// clang-format off
constexpr KernelRow fir1616[] = {
    {on(0, k5),                 "scalar", "scalar"},
    {on(mmx, f5m6, f5m8, f5m9), "mmx4",   "MMX, 4 taps a pass"},
    {on(mmx, f6, f15),          "mmx16",  "MMX, 16 taps a pass"},
    {has(sse2 | vnni),          "vnni",   "AVX-512 VNNI"},
    {has(sse2 | avx512),        "avx512", "AVX-512"},
    {has(sse2 | avx2),          "avx2",   "AVX2"},
    {has(sse2),                 "sse2",   "SSE2, 16 taps a pass"},
    {has(mmx),                  "mmx8",   "MMX, 8 taps a pass"},
    {otherwise,                 "scalar", "scalar"},
};
constexpr KernelRow fir1632[] = {
    {on(0, k5),                 "scalar", "scalar"},
    {on(mmx, f5m6, f5m8, f5m9), "mmx4",   "MMX, 4 taps a pass"},
    {on(mmx, f6, f15),          "mmx16",  "MMX, 16, 8 and 4 taps a pass"},
    {has(sse2 | vnni),          "vnni",   "AVX-512 VNNI"},
    {has(sse2 | avx512),        "avx512", "AVX-512"},
    {has(sse2 | avx2),          "avx2",   "AVX2"},
    {has(sse2),                 "sse2",   "SSE2, 16 taps a pass"},
    {has(mmx),                  "mmx4",   "MMX, 4 taps a pass"},
    {otherwise,                 "scalar", "scalar"},
};
constexpr KernelRow fir3232[] = {
    {on(0, k5),                 "exact",        "scalar, exact form"},
    {on(mmx, f5m6, f5m8, f5m9), "high_shift",   "MMX by shift and pack, high-half form"},
    {on(mmx_ext, f6, f15),      "high_shuffle", "MMX by word shuffle, high-half form"},
    {has(mmx | vnni),           "high_vnni",    "AVX-512 VNNI, high-half form"},
    {has(mmx | avx512),         "high_avx512",  "AVX-512, high-half form"},
    {has(mmx | avx2),           "high_avx2",    "AVX2, high-half form"},
    {has(mmx),                  "high_unpack",  "MMX by word unpack, high-half form"},
    {otherwise,                 "exact",        "scalar, exact form"},
};
constexpr KernelRow process2[] = {
    {has(mmx),  "high",  "high-half form"},
    {otherwise, "exact", "exact form"},
};
constexpr KernelRow lms[] = {
    {on(mmx, f5m6, f5m8, f5m9), "mmx",     "MMX"},
    {on(mmx_ext, f6, f15),      "mmx_ext", "extended MMX"},
    {has(avx512),               "avx512",  "AVX-512"},
    {has(avx2),                 "avx2",    "AVX2"},
    {otherwise,                 "any",     "MMX or scalar by the MMX bit"},
};
constexpr KernelRow fft_double[] = {
    {has(sse2 | avx512), "avx512",   "AVX-512"},
    {has(sse2 | avx2),   "avx2",     "AVX2"},
    {has(sse2),          "sse2",     "SSE2"},
    {otherwise,          "portable", "portable"},
};
constexpr KernelRow fft_float[] = {
    {on(now, f5m8, f5m9),  "3dnow",     "3DNow!"},
    {on(now_ext, f6, f15), "3dnow_ext", "extended 3DNow!"},
    {has(sse2 | avx512),   "avx512",    "AVX-512"},
    {has(sse2 | avx2),     "avx2",      "AVX2"},
    {has(sse2),            "sse2",      "SSE2"},
    {otherwise,            "portable",  "portable"},
};
constexpr KernelRow tone_detector_corr[] = {
    {on(mmx, f5m6, f5m8, f5m9), "groups_mmx",    "MMX"},
    {has(mmx | vnni),           "groups_vnni",   "AVX-512 VNNI"},
    {has(mmx | avx512),         "groups_avx512", "AVX-512"},
    {has(mmx | avx2),           "groups_avx2",   "AVX2"},
    {has(mmx),                  "groups_mmx",    "MMX"},
    {otherwise,                 "plain_scalar",  "scalar"},
};
constexpr KernelRow whole[] = { // autocorrelation and envelope
    {on(now, f6),        "3dnow",    "3DNow!"},
    {has(sse2 | avx512), "avx512",   "AVX-512"},
    {has(sse2 | avx2),   "avx2",     "AVX2"},
    {otherwise,          "portable", "portable"},
};
constexpr KernelRow frequency[] = {
    {has(sse2 | avx512), "avx512",   "AVX-512"},
    {has(sse2 | avx2),   "avx2",     "AVX2"},
    {otherwise,          "portable", "portable"},
};
constexpr KernelRow fsk_corr_demod[] = {
    {has(sse2 | avx2), "avx2",  "AVX2"},
    {has(sse2),        "sse2",  "SSE2"},
    {otherwise,        "plain", "plain"},
};
constexpr KernelRow demodulator[] = {
#if __FLT_EVAL_METHOD__ == 0 // a library built for x87 registers has the plain form alone
    {has(avx512), "double_avx512", "AVX-512"},
    {has(avx2),   "double_avx2",   "AVX2"},
    {has(sse2),   "double_sse2",   "SSE2"},
#endif
    {otherwise,   "plain",         "plain"},
};
constexpr KernelRow resampler_16[] = {
    {has(sse2 | vnni), "avx512", "AVX-512 VNNI"},
    {has(sse2 | avx2), "avx2",   "AVX2"},
    {has(sse2),        "sse2",   "SSE2"},
    {otherwise,        "scalar", "scalar"},
};
constexpr KernelRow resampler_32[] = {
    {has(sse2 | avx2), "avx2",   "AVX2"},
    {otherwise,        "scalar", "scalar"},
};
constexpr KernelRow set_dword[] = {
    {on(mmx_ext, f6, f15), "past_caches", "extended MMX, past the caches"},
    {otherwise,            "words",       "plain"},
};

constexpr KernelFamily families[] = {
    {"ZVFIR1616", fir1616},
    {"ZVFIR1632", fir1632},
    {"ZVFIR3232", fir3232},
    {"ZVFIR3232_Process2", process2},
    {"ZVLMS1616", lms},
    {"ZVFFT", fft_double},
    {"ZVFFT2Float", fft_float},
    {"ZVDemodulator16", demodulator},
    {"ZVFSKCorrDemod16", fsk_corr_demod},
    {"ZVToneDetectorCorr16", tone_detector_corr},
    {"Correlate_Float_Float", whole},
    {"ExtractAmplitude_16_Float", whole},
    {"ExtractFrequency_16_Float", frequency},
    {"ZVResampler32, 16 bits", resampler_16},
    {"ZVResampler32, 32 bits", resampler_32},
    {"MemorySet_DWord", set_dword},
};
// clang-format on
} // namespace

std::span<const KernelFamily> kernel_families() { return families; }

const KernelFamily& kernel_family(const char* name)
{
    return *std::find_if(std::begin(families), std::end(families),
                         [=](const KernelFamily& family) { return std::strcmp(family.name, name) == 0; });
}

static bool applies(const KernelCondition& when, const ZVCPUInfo& cpu, uint32_t sets)
{
    const auto* end = std::find(when.codes, std::end(when.codes), 0u);
    return (when.codes == end || std::find(when.codes, end, cpu.classification) != end) &&
           (sets_of(cpu, sets) & when.sets) == when.sets;
}

const KernelRow& kernel_of(const KernelFamily& family, const ZVCPUInfo& cpu, uint32_t sets)
{
    return *std::find_if(family.rows.begin(), family.rows.end(),
                         [&](const KernelRow& row) { return applies(row.when, cpu, sets); });
}
} // namespace client
