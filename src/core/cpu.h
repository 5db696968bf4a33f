// The processor as the rest of the library sees it: codes and sets that select kernels, and the two halves of
// identification, reading the processor and deciding what it is.
#pragma once
#include <cstdint>
#include <zovek/cpu.h>

namespace zv {
// Classification codes by which kernels are chosen.
inline constexpr uint32_t amd_k5 = 0x20005001;
inline constexpr uint32_t amd_f5m6 = 0x20006000; // family 5, models 6 and 7
inline constexpr uint32_t amd_f5m8 = 0x20006001;
inline constexpr uint32_t amd_f5m9 = 0x20006002;
inline constexpr uint32_t amd_f6 = 0x20007000;
inline constexpr uint32_t amd_f15 = 0x20008000;
inline constexpr uint32_t cyrix_mediagx = 0x30004002;
inline constexpr uint32_t cyrix_6x86 = 0x30005000;
inline constexpr uint32_t cyrix_gxm = 0x30005001;

// Instruction sets by the bits that show them, no two of which are the same: in the record's features and
// extended_features, and in wider_sets.
enum Set : uint32_t {
    baseline = 0, // what every processor has that the library is built for
    // of wider_sets
    avx2 = 1,       // with FMA
    avx512 = 2,     // F, BW, DQ, VL
    avx512vnni = 4, // with avx512
    // of features
    mmx = ZV_CPU_MMX,
    sse2 = ZV_CPU_SSE2,
    // of extended_features, with what they stand on
    mmx_ext = mmx | 1u << 22,
    amd_3dnow = mmx | 1u << 31,
    amd_3dnow_ext = amd_3dnow | mmx_ext | 1u << 30,
};
constexpr Set operator|(Set a, Set b) { return Set(uint32_t(a) | uint32_t(b)); }

// The sets beyond the record's, each present only if the operating system saves its registers too. Found at
// load; tests write the word to force or forbid a row.
extern uint32_t wider_sets;

// The bits of all sets that a processor has. SSE brings the extended MMX instructions, whatever their own bit
// says.
constexpr uint32_t sets_of(const ZVCPUInfo& cpu, uint32_t wider)
{
    constexpr uint32_t of_features = mmx | sse2, mmx_ext_bit = mmx_ext & ~uint32_t(mmx);
    constexpr uint32_t of_extended = amd_3dnow_ext & ~uint32_t(mmx), of_wider = avx2 | avx512 | avx512vnni;
    return (cpu.features & of_features) | (cpu.features & ZV_CPU_SSE ? mmx_ext_bit : 0) |
           (cpu.extended_features & of_extended) | (wider & of_wider);
}

// Answers of one processor: CPUID leaf by leaf as A, B, C, D.
struct Leaf {
    uint32_t a, b, c, d;
};
struct Leaves {
    bool has_cpuid;
    Leaf vendor;           // leaf 0
    Leaf signature;        // leaf 1
    uint32_t highest;      // leaf 0x80000000, A
    Leaf extended;         // leaf 0x80000001
    Leaf brand[3];         // leaves 0x80000002 to 0x80000004
    Leaf features7;        // leaf 7, subleaf 0; zeros where leaf 0 doesn't reach it
    uint64_t saved_states; // XCR0: register states that the operating system saves; 0 if it can't be read
};

// The first half: asks the processor.
Leaves read_processor();
// The second half: fills the record from the answers, but for timer_frequency.
void decide(const Leaves& leaves, ZVCPUInfo& record);
// The wider sets that the answers and the saved states allow.
uint32_t decide_wider_sets(const Leaves& leaves);

// Load notifications, of processes and, where the system tells, of threads. The first attach fills the record
// and wider_sets; nothing has to be undone at the last detach.
extern int32_t load_count;
void attach();
void detach();
} // namespace zv
