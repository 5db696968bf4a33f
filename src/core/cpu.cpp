// What processor this is. The first half asks it, the second decides from the answers alone, and last its
// time-stamp counter is measured against the system's counter.
#include "core/cpu.h"
#include "core/cpu_tables.h"
#include "platform/platform.h"
#include <cpuid.h>
#include <cstring>
#include <x86intrin.h>

namespace zv {
// CPUID is there if bit 21 of the flags register can be changed. Every x86-64 processor has it.
static bool has_cpuid()
{
#if defined(__i386__)
    constexpr uint32_t id_flag = 1u << 21;
    uint32_t before, after;
    asm volatile("pushfl\n\t"
                 "popl %0\n\t"
                 "movl %0, %1\n\t"
                 "xorl %2, %1\n\t"
                 "pushl %1\n\t"
                 "popfl\n\t"
                 "pushfl\n\t"
                 "popl %1\n\t"
                 "pushl %0\n\t"
                 "popfl"
                 : "=&r"(before), "=&r"(after)
                 : "i"(id_flag)
                 : "cc");
    return ((before ^ after) & id_flag) != 0;
#else
    return true;
#endif
}

// One leaf as it comes: whether the processor reports it is the caller's question.
static Leaf cpuid(uint32_t leaf)
{
    Leaf answer;
    __cpuid_count(leaf, 0, answer.a, answer.b, answer.c, answer.d);
    return answer;
}

// XCR0, where leaf 1 says that the operating system uses XSAVE.
static uint64_t saved_states(const Leaf& signature)
{
    if (!(signature.c & bit_OSXSAVE)) return 0;
    uint32_t low, high;
    asm("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return uint64_t(high) << 32 | low;
}

Leaves read_processor()
{
    Leaves leaves = {.has_cpuid = has_cpuid()};
    if (!leaves.has_cpuid) return leaves;
    leaves.vendor = cpuid(0);
    leaves.signature = cpuid(1);
    leaves.highest = cpuid(0x80000000).a;
    if (leaves.highest >= 0x80000001) leaves.extended = cpuid(0x80000001);
    for (uint32_t n = 0; n < 3; n++)
        if (leaves.highest >= 0x80000002 + n) leaves.brand[n] = cpuid(0x80000002 + n);
    if (leaves.vendor.a >= 7) leaves.features7 = cpuid(7);
    leaves.saved_states = saved_states(leaves.signature);
    return leaves;
}

// The answers as they come.
static void take_over(const Leaves& leaves, ZVCPUInfo& record)
{
    const Leaf &vendor = leaves.vendor, &signature = leaves.signature;
    const uint32_t vendor_letters[3] = {vendor.b, vendor.d, vendor.c};
    memcpy(record.vendor, vendor_letters, 12);
    record.vendor[12] = 0;
    record.signature = signature.a;
    record.features = signature.d;
    record.features2 = signature.c;
    if (leaves.highest >= 0x80000001) record.extended_features = leaves.extended.d;
    for (uint32_t n = 0; n < 3 && leaves.highest >= 0x80000002 + n; n++) {
        memcpy(record.brand + 16 * n, &leaves.brand[n], 16);
        record.brand[16 * n + 16] = 0;
    }
}

static uint32_t classify(const ZVCPUInfo& record)
{
    for (const cpu::Class& row : cpu::classes)
        if (memcmp(record.vendor, row.vendor, 12) == 0 && (record.signature & row.mask) == row.value)
            return row.code;
    return 0;
}

// K5 model 0 reports global pages (bit 13) where its successors report the APIC (bit 9).
static void correct_features(ZVCPUInfo& record)
{
    constexpr uint32_t apic = 1 << 9, global_pages = 1 << 13;
    if (record.classification == amd_k5 && (record.signature & 0xF0) == 0 && (record.features & apic))
        record.features = (record.features & ~apic) | global_pages;
}

void decide(const Leaves& leaves, ZVCPUInfo& record)
{
    record.signature = record.features = record.classification = record.extended_features = 0;
    record.vendor[0] = record.brand[0] = 0;
    if (leaves.has_cpuid) {
        take_over(leaves, record);
        record.classification = classify(record);
        correct_features(record);
    }
    if (record.brand[0] != 0) return;
    for (const cpu::Name& row : cpu::names)
        if (row.code == record.classification) strcpy(record.brand, row.name);
}

uint32_t decide_wider_sets(const Leaves& leaves)
{
    constexpr uint64_t ymm_saved = 0x06, zmm_saved = 0xE6; // XMM and YMM; and masks, upper halves, upper ZMM
    constexpr uint32_t needed1 = bit_OSXSAVE | bit_AVX | bit_FMA;
    constexpr uint32_t needed7 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
    const auto all = [](uint64_t bits, uint64_t wanted) { return (bits & wanted) == wanted; };

    const Leaf& features7 = leaves.features7;
    if (!all(leaves.signature.c, needed1) || !all(features7.b, bit_AVX2) ||
        !all(leaves.saved_states, ymm_saved))
        return 0;
    if (!all(features7.b, needed7) || !all(leaves.saved_states, zmm_saved)) return avx2;
    return avx2 | avx512 | (all(features7.c, bit_AVX512VNNI) ? avx512vnni : 0u);
}

// Ticks a second of the time-stamp counter, over the run of an empty loop. Falls back to the system counter's
// rate if that counter stood still meanwhile.
static uint64_t measure_time_stamps()
{
    const uint64_t rate = platform::counter_rate();
    const uint64_t counter_start = platform::counter(), stamp_start = __rdtsc();
    for (uint32_t round = 5'000'000; round != 0; round--) asm volatile("" : "+r"(round));
    const auto counted = static_cast<uint32_t>(platform::counter() - counter_start);
    const auto stamps = static_cast<uint32_t>(__rdtsc() - stamp_start);
    return counted != 0 ? stamps * rate / counted : rate;
}
} // namespace zv

using namespace zv;

ZVCPUInfo* ZVCPUInfo_Init(ZVCPUInfo* record)
{
    if (!record) return nullptr;
    decide(read_processor(), *record);
    record->timer_frequency =
        record->features & ZV_CPU_TSC ? measure_time_stamps() : platform::counter_rate();
    return record;
}

uint64_t ZVCPUInfo_GetTimer(const ZVCPUInfo* record)
{
    return record->features & ZV_CPU_TSC ? __rdtsc() : platform::counter();
}
