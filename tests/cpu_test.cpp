// Identification of processors: each one's class, features and name from its CPUID answers, the wider sets,
// and the record and timer of the processor at hand.
#include "core/cpu.h"
#include "platform/platform.h"
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {
zv::Leaves leaves_of(const char* vendor, uint32_t signature, uint32_t features = 0)
{
    zv::Leaves leaves = {
        .has_cpuid = true, .signature = {.a = signature, .d = features}, .highest = 0x80000000};
    memcpy(&leaves.vendor.b, vendor, 4);
    memcpy(&leaves.vendor.d, vendor + 4, 4);
    memcpy(&leaves.vendor.c, vendor + 8, 4);
    return leaves;
}

ZVCPUInfo decided(const zv::Leaves& leaves)
{
    ZVCPUInfo record;
    memset(&record, 0x55, sizeof record); // whatever stood there
    zv::decide(leaves, record);
    return record;
}

TEST(Processor, HasAClassAndAName)
{
    const char *amd = "AuthenticAMD", *cyrix = "CyrixInstead", *centaur = "CentaurHauls",
               *intel = "GenuineIntel", *rise = "RiseRiseRise", *nexgen = "NexGenDriven",
               *transmeta = "GenuineTMx86", *umc = "UMC UMC UMC ";
    const struct {
        const char* vendor;
        uint32_t signature, code;
        const char* name;
    } processors[] = {
        {amd, 0x4F3, 0x20004000, "AMD 486"},
        {amd, 0x500, 0x20005001, "AMD K5"},
        {amd, 0x51F, 0x20005001, "AMD K5"},
        {amd, 0x1524, 0x20005001, "AMD K5"},
        {amd, 0x530, 0x20005001, "AMD K5"},
        {amd, 0x540, 0x20000000, "AMD CPU"},
        {amd, 0x562, 0x20006000, ""},
        {amd, 0x570, 0x20006000, ""},
        {amd, 0x58C, 0x20006001, ""},
        {amd, 0x591, 0x20006002, ""},
        {amd, 0x5A0, 0x20000000, "AMD CPU"},
        {amd, 0x6A0, 0x20007000, ""},
        {amd, 0xF4A, 0x20008000, ""},
        {amd, 0x000F0F00, 0x20008000, ""},        // the extended model does not matter,
        {amd, 0x00100F42, 0x20000000, "AMD CPU"}, // the extended family does
        {cyrix, 0x440, 0x30004002, "Cyrix MediaGX"},
        {cyrix, 0x450, 0x30000000, "Cyrix CPU"},
        {cyrix, 0x524, 0x30005000, "Cyrix 6x86"},
        {cyrix, 0x540, 0x30005001, "Cyrix 6x86-GXm"},
        {cyrix, 0x601, 0x30006001, "Cyrix 6x86-MX"},
        {cyrix, 0x610, 0x30000000, "Cyrix CPU"},
        {centaur, 0x541, 0x40005000, "Centaur/IDT C6"},
        {centaur, 0x58A, 0x40005001, "Centaur/IDT C2"},
        {centaur, 0x595, 0x40005002, "Centaur/IDT C3"},
        {centaur, 0x660, 0x40000000, "Centaur/IDT CPU"},
        {intel, 0x480, 0x10004000, "Intel 486"},
        {intel, 0x543, 0x10005000, "Intel Pentium"},
        {intel, 0x600, 0x10000000, "Intel CPU"},
        {intel, 0x617, 0x10006000, "Intel PentiumPro"},
        {intel, 0x633, 0x10006001, "Intel PentiumII"},
        {intel, 0x640, 0x10000000, "Intel CPU"},
        {intel, 0x652, 0x10006001, "Intel PentiumII"},
        {intel, 0x665, 0x10006002, "Intel Celeron"},
        {intel, 0x673, 0x10006003, "Intel PentiumIII"},
        {intel, 0x686, 0x10006003, "Intel PentiumIII"},
        {intel, 0x695, 0x10006004, ""},
        {intel, 0x6A1, 0x10006003, "Intel PentiumIII"},
        {intel, 0x6B4, 0x10006003, "Intel PentiumIII"},
        {intel, 0xF29, 0x10006005, ""},
        {intel, 0x00100F00, 0x10000000, "Intel CPU"},
        {transmeta, 0x543, 0x80005000, ""},
        {transmeta, 0x600, 0x80000000, ""},
        {nexgen, 0x123, 0x60004000, "Nexen 5x86"},
        {rise, 0x504, 0x50005000, "Rise mP6"},
        {rise, 0x510, 0x50000000, "Rise CPU"},
        {rise, 0x521, 0x50005000, "Rise mP6"},
        {umc, 0x412, 0x70004000, "UMC 486"},
        {"GenuineClone", 0x686, 0, "Unknown"},
        {"GenuineInteL", 0x686, 0, "Unknown"},
    };
    for (const auto& [vendor, signature, code, name] : processors) {
        SCOPED_TRACE(std::string(vendor) + " " + std::to_string(signature));
        const ZVCPUInfo record = decided(leaves_of(vendor, signature, 0x0183FBFF));
        EXPECT_EQ(record.classification, code);
        EXPECT_STREQ(record.brand, name);
        EXPECT_STREQ(record.vendor, vendor);
        EXPECT_EQ(record.signature, signature);
    }
}

TEST(Processor, WithoutCpuidIsUnknown)
{
    zv::Leaves leaves = leaves_of("GenuineIntel", 0x686, 0xFFFFFFFF);
    leaves.has_cpuid = false;
    const ZVCPUInfo record = decided(leaves);
    EXPECT_EQ(record.signature | record.features | record.classification | record.extended_features, 0u);
    EXPECT_EQ(record.features2, 0x55555555u) << "left as it was";
    EXPECT_STREQ(record.vendor, "");
    EXPECT_STREQ(record.brand, "Unknown");
}

TEST(Processor, FeatureBit9OfTheFirstK5MovesToBit13)
{
    EXPECT_EQ(decided(leaves_of("AuthenticAMD", 0x500, 0x0201)).features, 0x2001u);
    EXPECT_EQ(decided(leaves_of("AuthenticAMD", 0x50F, 0x0201)).features, 0x2001u) << "any stepping";
    EXPECT_EQ(decided(leaves_of("AuthenticAMD", 0x500, 0x0001)).features, 0x0001u) << "nothing to move";
    EXPECT_EQ(decided(leaves_of("AuthenticAMD", 0x510, 0x0201)).features, 0x0201u);
    EXPECT_EQ(decided(leaves_of("GenuineIntel", 0x500, 0x0201)).features, 0x0201u);
}

TEST(Processor, NamesItselfAsFarAsItsLeavesReach)
{
    zv::Leaves leaves = leaves_of("GenuineIntel", 0x686);
    leaves.extended.d = 0x20100800;
    memcpy(leaves.brand, "   Some Processor of forty-eight letters @ 1 GHz", 48);
    const struct {
        uint32_t highest, extended_features;
        const char* brand;
    } rows[] = {
        {0x686, 0, "Intel PentiumIII"}, // no extended leaves at all
        {0x80000000, 0, "Intel PentiumIII"},
        {0x80000001, 0x20100800, "Intel PentiumIII"},
        {0x80000002, 0x20100800, "   Some Processo"},
        {0x80000003, 0x20100800, "   Some Processor of forty-eight"},
        {0x80000008, 0x20100800, "   Some Processor of forty-eight letters @ 1 GHz"},
    };
    for (const auto& [highest, extended_features, brand] : rows) {
        leaves.highest = highest;
        EXPECT_EQ(decided(leaves).extended_features, extended_features) << highest;
        EXPECT_STREQ(decided(leaves).brand, brand) << highest;
    }
}

TEST(WiderSets, NeedTheirInstructionsAndTheirSavedRegisters)
{
    zv::Leaves full = leaves_of("GenuineIntel", 0x906F2);
    full.signature.c = 1u << 12 | 1u << 27 | 1u << 28;                          // FMA, OSXSAVE, AVX
    full.features7 = {.b = 1u << 5 | 1u << 16 | 1u << 17 | 1u << 30 | 1u << 31, // AVX2, AVX-512 F, DQ, BW, VL
                      .c = 1u << 11};                                           // VNNI
    full.saved_states = 0xE7;
    const uint32_t all = zv::avx2 | zv::avx512 | zv::avx512vnni;
    EXPECT_EQ(zv::decide_wider_sets(full), all);
    EXPECT_EQ(zv::decide_wider_sets({}), 0u);

    const auto without = [&](auto take_away) {
        zv::Leaves leaves = full;
        take_away(leaves);
        return zv::decide_wider_sets(leaves);
    };
    for (const int bit : {12, 27, 28})
        EXPECT_EQ(without([=](zv::Leaves& l) { l.signature.c &= ~(1u << bit); }), 0u) << bit;
    EXPECT_EQ(without([](zv::Leaves& l) { l.features7.b &= ~(1u << 5); }), 0u);
    for (const int bit : {16, 17, 30, 31})
        EXPECT_EQ(without([=](zv::Leaves& l) { l.features7.b &= ~(1u << bit); }), zv::avx2) << bit;
    EXPECT_EQ(without([](zv::Leaves& l) { l.features7.c = 0; }), zv::avx2 | zv::avx512);
    for (const uint32_t state : {0x02, 0x04})
        EXPECT_EQ(without([=](zv::Leaves& l) { l.saved_states &= ~state; }), 0u) << state;
    for (const uint32_t state : {0x20, 0x40, 0x80})
        EXPECT_EQ(without([=](zv::Leaves& l) { l.saved_states &= ~state; }), zv::avx2) << state;
}

// The compiler's own probe knows the sets, the operating system the vendor.
TEST(ThisProcessor, IsAsOthersSeeIt)
{
    EXPECT_EQ((zv::wider_sets & zv::avx2) != 0,
              __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"));
    EXPECT_EQ((zv::wider_sets & zv::avx512) != 0,
              __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl"));
    EXPECT_EQ((_CPU()->features & ZV_CPU_MMX) != 0, __builtin_cpu_supports("mmx") != 0);
    EXPECT_EQ((_CPU()->features & ZV_CPU_SSE2) != 0, __builtin_cpu_supports("sse2") != 0);
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.starts_with("vendor_id")) {
            EXPECT_TRUE(line.ends_with(_CPU()->vendor)) << line;
        }
}

TEST(Load, IdentifiesAtTheFirstAttachOnly)
{
    const ZVCPUInfo at_start = *_CPU();
    ASSERT_EQ(zv::load_count, 1);
    EXPECT_NE(at_start.timer_frequency, 0u);
    _CPU()->classification = 0xF;
    zv::attach();
    EXPECT_EQ(_CPU()->classification, 0xFu);
    zv::detach();
    zv::detach();
    EXPECT_EQ(zv::load_count, 0);
    zv::attach();
    EXPECT_EQ(_CPU()->classification, at_start.classification);
    EXPECT_STREQ(_CPU()->brand, at_start.brand);
}

TEST(Timer, RunsAtItsFrequency)
{
    using namespace std::chrono;
    EXPECT_EQ(ZVCPUInfo_Init(nullptr), nullptr);
    double error = 1; // the best of some tries, as another program may get in between
    for (int attempt = 0; attempt < 10 && error > 0.01; attempt++) {
        ZVCPUInfo record;
        ASSERT_EQ(ZVCPUInfo_Init(&record), &record);
        const auto start = steady_clock::now();
        const uint64_t first = ZVCPUInfo_GetTimer(&record);
        std::this_thread::sleep_for(milliseconds(20));
        const double ticks = double(ZVCPUInfo_GetTimer(&record) - first);
        const double seconds = duration<double>(steady_clock::now() - start).count();
        error = std::min(error, std::abs(ticks / seconds / double(record.timer_frequency) - 1));
    }
    EXPECT_LT(error, 0.01);
}

TEST(Timer, IsTheSystemsWithoutTimeStamps)
{
    const ZVCPUInfo record = {.features = ~uint32_t(ZV_CPU_TSC)};
    const uint64_t before = zv::platform::counter(), now = ZVCPUInfo_GetTimer(&record);
    EXPECT_LE(before, now);
    EXPECT_LE(now, zv::platform::counter());
}
} // namespace
