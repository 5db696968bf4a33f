/* The processor: what it is, what it can do, and its fastest timer. The library fills one record at load;
 * kernels are chosen by it, so a client that writes classification, features or extended_features before the
 * choice forces a kernel. A kernel counts only where the bits show the instruction set that it is made for,
 * whatever the classification: some processors of a class, and most virtual ones, lack what the class is
 * known for. The choice falls
 *
 *   in Construct        FIR filters, and with them all objects that hold one; both kinds of spectrum; the FSK
 *                       correlator. The object keeps it for good
 *   with the tables     resampler: in Construct and whenever its taps are stored anew; correlating tone
 *                       detector: the layout of its table
 *   at the first call   ZVLMS1616_Process, Correlate_Float_Float, ExtractAmplitude_16_Float: the first of the
 *                       whole program, for all objects and for good
 *   at each call        ZVFIR3232_Process2, MemorySet_DWord, ExtractFrequency_16_Float; mixer, detectors and
 *                       output of the demodulator; the correlator of the correlating tone detector
 *
 * All else has one form for all processors. */
#ifndef ZOVEK_CPU_H
#define ZOVEK_CPU_H
#include <zovek/base.h>

ZV_BEGIN
/* Bits of features that the library reads. */
enum {
    ZV_CPU_TSC  = 1 << 4,  /* time-stamp counter */
    ZV_CPU_MMX  = 1 << 23,
    ZV_CPU_SSE  = 1 << 25, /* shows the extended MMX instructions too */
    ZV_CPU_SSE2 = 1 << 26
};

typedef struct ZVCPUInfo ZVCPUInfo;
struct ZVCPUInfo {
    uint64_t timer_frequency;   /* ticks a second of ZVCPUInfo_GetTimer */
    uint32_t signature;         /* CPUID leaf 1, A: family, model, stepping */
    uint32_t features;          /* CPUID leaf 1, D; on AMD K5 model 0 bit 9 moves to bit 13 */
    uint32_t features2;         /* CPUID leaf 1, C; untouched without CPUID */
    uint32_t classification;    /* 0xV000LLLL: V vendor (1 Intel, 2 AMD, 3 Cyrix, 4 Centaur, 5 Rise, 6 NexGen,
                                   7 UMC, 8 Transmeta), L line and variant; 0 if not listed */
    uint32_t extended_features; /* CPUID leaf 0x80000001, D; 0 if absent. On AMD's classes the library reads bits
                                   22 (extended MMX), 30 (extended 3DNow!) and 31 (3DNow!) */
    char     vendor[13];        /* CPUID leaf 0, zero-terminated; empty without CPUID */
    char     brand[49];         /* the processor's own name, else the name of its class, else empty */
};

/* The library's record, filled at load and never changed by the library afterwards. */
ZV_API ZVCPUInfo *_CPU(void);
/* Fills a record of the client's, timer measurement (5 million rounds of an empty loop) included, and
 * returns it. Null comes back as it is. */
ZV_API ZVCPUInfo *ZVCPUInfo_Init(ZVCPUInfo *record);
/* The present count of the time-stamp counter if record->features has ZV_CPU_TSC, else of the system's
 * performance counter. */
ZV_API uint64_t ZVCPUInfo_GetTimer(const ZVCPUInfo *record);
ZV_END
#endif
