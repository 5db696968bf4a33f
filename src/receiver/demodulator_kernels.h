// The demodulator's inner loops that have forms for wide registers. All rows give the same bits,
// but for what is said at synchronous.
#pragma once
#include "core/real.h"
#include "core/select.h"
#include "receiver/demodulator.h"
#include "receiver/oscillator.h"

namespace zv::demodulator {
// The state of the synchronous detector, and the largest phase step.
struct CarrierLoop {
    double phase, frequency, error;
    extended limit;
};

struct Kernels {
    const char* name;
    // count samples x times the oscillator's turns, as Q31 products rounded toward minus infinity.
    void (*mix)(const oscillator::Halves& turns, const int16_t* x, int16_t* i, int16_t* q, int32_t count);
    // The same for any frequency, by the long table: count turns from phase on.
    void (*turn)(const oscillator::Turn* table, const oscillator::Phase& phase, const int16_t* x, int16_t* i,
                 int16_t* q, int32_t count);
    // The detectors of modes 0 and 4.
    void (*envelope)(const Detection& block);
    void (*frequency)(const Detection& block, int32_t previous_i, int32_t previous_q);
    // The detector of mode 1. Sine and cosine may differ in the last of their 64 bits, and what follows from
    // them next to a tie.
    void (*synchronous)(CarrierLoop& loop, const Detection& block);
    // Samples times gain, rounded to integers and saturated to 16 bits, as left and right in turn. left may
    // be right.
    void (*frames)(int16_t* out, const int32_t* left, const int32_t* right, int32_t count, extended gain);
};
void synchronous_plain(CarrierLoop& loop, const Detection& block);
void synchronous_fma(CarrierLoop& loop, const Detection& block);

// The last row is the plain form in extended precision, for x87.
extern const Rows<const Kernels*> rows;
// The choice for the processor record as it stands.
inline const Kernels& kernels() { return *select(rows).kernel; }
} // namespace zv::demodulator
