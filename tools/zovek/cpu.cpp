// zovek cpu: the processor record, and the kernel that each family chooses by it.
#include "command.h"
#include "line/options.h"
#include "selftest/kernels.h"
#include "words/words.h"
#include <cstdio>
#include <string>
#include <vector>
#include <zovek/cpu.h>

namespace client {
using namespace words;
namespace {
std::string hex(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

int show(bool json)
{
    const ZVCPUInfo& cpu = *_CPU();
    const WiderSets sets = wider_sets();
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
        text.add("avx2", sets.avx2).add("avx512", sets.avx512).add("avx512vnni", sets.vnni);
        for (const FamilyKernel& kernel : kernels()) chosen.add(kernel.family, kernel.words);
        std::printf("%s\n", text.add("kernels", chosen).text().c_str());
        return 0;
    }
    for (const auto& [name, value] : record) std::printf("%-20s%s\n", name, value.c_str());
    std::printf("%-20s%llu Hz\n", "timer_frequency", static_cast<unsigned long long>(cpu.timer_frequency));
    std::printf("%-20s%s%s%s\n\n", "wider sets", sets.avx2 ? "AVX2 " : "", sets.avx512 ? "AVX-512 " : "",
                sets.vnni ? "VNNI" : "");
    for (const FamilyKernel& kernel : kernels()) std::printf("%-28s%s\n", kernel.family, kernel.words);
    return 0;
}
} // namespace

Run add_cpu(CommandLine& line)
{
    const auto json = std::make_shared<bool>(false);
    line.flag("--json", *json, "as JSON");
    return [json] { return show(*json); };
}
} // namespace client
