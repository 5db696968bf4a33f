// zovek cpu: the processor record, and the kernel that each family chooses by it.
//
// The library exports no names of kernels, so the choice stands here a second time, in the words and the order
// of its documentation.
#include "command.h"
#include "text.h"
#include <cstdio>
#include <string>
#include <vector>
#include <zovek/cpu.h>

namespace client {
namespace {
// Instruction sets beyond the record's, as far as the operating system saves their registers.
struct WiderSets {
    bool avx2 = false, avx512 = false, vnni = false;
};

WiderSets wider_sets()
{
    WiderSets sets;
#if defined(__x86_64__) || defined(__i386__)
    sets.avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    sets.avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    sets.vnni = sets.avx512 && __builtin_cpu_supports("avx512vnni");
#endif
    return sets;
}

// Kernels of ZVFIR1616, ZVFIR1632 and ZVFIR3232, and the arithmetic of the last.
struct FirKernels {
    std::string k1616, k1632, k3232;
};

FirKernels fir_kernels(const ZVCPUInfo& cpu, const WiderSets& wider)
{
    const std::string exact = ", exact form", high = ", high-half form";
    const std::string widest = wider.vnni     ? "AVX-512 VNNI"
                               : wider.avx512 ? "AVX-512"
                               : wider.avx2   ? "AVX2"
                                              : "";
    const bool sse2 = cpu.features & ZV_CPU_SSE2, mmx = cpu.features & ZV_CPU_MMX;
    switch (cpu.classification) {
    case 0x20005001:
        return {"scalar", "scalar", "scalar" + exact}; // AMD K5
    case 0x20006000:                                   // AMD family 5, models 6 to 9
    case 0x20006001:
    case 0x20006002:
        return {"MMX, 4 taps a pass", "MMX, 4 taps a pass", "MMX by shift and pack" + high};
    case 0x20007000: // AMD family 6, family 15
    case 0x20008000:
        return {"MMX, 16 taps a pass", "MMX, 16, 8 and 4 taps a pass", "MMX by word shuffle" + high};
    }
    FirKernels kernels = {"scalar", "scalar", "scalar" + exact};
    if (mmx) kernels = {"MMX, 8 taps a pass", "MMX, 4 taps a pass", "MMX by word unpack" + high};
    if (sse2) kernels.k1616 = kernels.k1632 = "SSE2, 16 taps a pass";
    if (sse2 && !widest.empty()) kernels.k1616 = kernels.k1632 = widest;
    if (mmx && !widest.empty()) kernels.k3232 = widest + high;
    return kernels;
}

std::string hex(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

int show(bool json)
{
    const ZVCPUInfo& cpu = *_CPU();
    const WiderSets wider = wider_sets();
    const FirKernels fir = fir_kernels(cpu, wider);
    const bool past_caches = cpu.classification == 0x20007000 || cpu.classification == 0x20008000;
    const std::vector<std::pair<const char*, std::string>> kernels = {
        {"ZVFIR1616", fir.k1616},
        {"ZVFIR1632", fir.k1632},
        {"ZVFIR3232", fir.k3232},
        {"ZVFIR3232_Process2", cpu.features & ZV_CPU_MMX ? "high-half form" : "exact form"},
        {"MemorySet_DWord", past_caches ? "MMX, past the caches" : "plain"},
    };
    const std::vector<std::pair<const char*, std::string>> record = {
        {"vendor", cpu.vendor},
        {"brand", cpu.brand},
        {"signature", hex(cpu.signature)},
        {"classification", hex(cpu.classification)},
        {"features", hex(cpu.features)},
        {"features2", hex(cpu.features2)},
        {"extended_features", hex(cpu.extended_features)},
    };
    if (json) {
        JsonObject text, chosen;
        for (const auto& [name, value] : record) text.add(name, value);
        text.add("timer_frequency", int64_t(cpu.timer_frequency));
        text.add("avx2", wider.avx2).add("avx512", wider.avx512).add("avx512vnni", wider.vnni);
        for (const auto& [family, kernel] : kernels) chosen.add(family, kernel);
        std::printf("%s\n", text.add("kernels", chosen).text().c_str());
        return 0;
    }
    for (const auto& [name, value] : record) std::printf("%-20s%s\n", name, value.c_str());
    std::printf("%-20s%llu Hz\n", "timer_frequency", static_cast<unsigned long long>(cpu.timer_frequency));
    std::printf("%-20s%s%s%s\n\n", "wider sets", wider.avx2 ? "AVX2 " : "", wider.avx512 ? "AVX-512 " : "",
                wider.vnni ? "VNNI" : "");
    for (const auto& [family, kernel] : kernels) std::printf("%-20s%s\n", family, kernel.c_str());
    return 0;
}
} // namespace

Run add_cpu(CLI::App& app)
{
    const auto json = std::make_shared<bool>(false);
    app.add_flag("--json", *json, "as JSON");
    return [json] { return show(*json); };
}
} // namespace client
