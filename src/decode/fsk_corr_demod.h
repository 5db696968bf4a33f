// What the kernels of the FSK correlator share: the plain form of each step, in extended precision, and the
// oscillators' turns.
//
// Every kernel stores what the plain form stores, to the bit (core/ties.h).
#pragma once
#include "core/real.h"
#include "core/select.h"
#include <zovek/fsk_corr_demod.h>

namespace zv::fsk_corr_demod {
using Kernel = void (*)(ZVFSKCorrDemod* self, int16_t* out, uint32_t count);
extern const Rows<Kernel> rows;
void block_plain(ZVFSKCorrDemod*, int16_t*, uint32_t);
void block_sse2(ZVFSKCorrDemod*, int16_t*, uint32_t);
void block_avx2(ZVFSKCorrDemod*, int16_t*, uint32_t);

// Phase of the block's sample k.
struct Oscillator {
    extended start, step; // radians, radians a sample
    extended at(int64_t k) const { return start + extended(k) * step; }
};

// What a block works on, read from the object once; store() writes the state back.
struct Block {
    ZVFSKCorrDemod* self;
    const int16_t* in;
    int16_t* out;
    int64_t count;
    Oscillator tone_1, tone_2;
    float sums[4]; // in the order of the ring's slots
    float* slots;  // of the oldest sample

    Block(ZVFSKCorrDemod* self, int16_t* out, uint32_t count);
    void next_slots()
    {
        slots += 4;
        if (slots == self->window + self->window_length) slots = self->window;
    }
    void store();
};

// Sample k: x cos p1, x sin p1, x sin p2, x cos p2 take the place of the oldest products in slots and sums.
void correlate(Block& block, int64_t k);
// The difference of the magnitudes over N, as a 16-bit sample.
int16_t result(const float* sums, int32_t n);

// exp(j angle), to turn by.
struct Turn {
    extended c, s;
    static Turn by(extended angle) { return {cosl(angle), sinl(angle)}; }
    Turn operator*(Turn t) const { return {c * t.c - s * t.s, s * t.c + c * t.s}; }
};

// The oscillators over a group of samples. With z the turn at the group's start, the factors of its sample j
// are along[j] * (c1, c1, c2, c2) + across[j] * (s1, s1, s2, s2), in the order of the slots.
struct Group {
    static constexpr int32_t size = 32;
    alignas(32) double along[size][4], across[size][4];
    Turn whole_1, whole_2; // by a whole group
    explicit Group(const Block& block);
};
} // namespace zv::fsk_corr_demod
