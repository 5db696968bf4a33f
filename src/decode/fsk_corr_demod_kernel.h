// A block of the FSK correlator on vectors of four doubles, the four products of a sample in one. A kernel's
// file defines ZV_SET (at least SSE2), includes this one and calls run(). All of it is internal to that file,
// because each set compiles its own.
//
// Bounds of the error, with u = 2^-53: a factor is along * c + across * s, four factors and three operations,
// each rounded once, so a product is good to 7 u |x|; the phases, which both forms round in extended
// precision, add 2^-62 of the largest phase times |x|; a sum adds 2 u (|sum| + |old product| + |x|). A result
// is good to 2^-34.
#include "core/ties.h"
#include "decode/fsk_corr_demod.h"
#include <algorithm>
#include <emmintrin.h>

namespace zv::fsk_corr_demod {
namespace {
using Quad = double __attribute__((vector_size(32), may_alias));
using QuadBits = int64_t __attribute__((vector_size(32)));
using Pair = double __attribute__((vector_size(16), may_alias));
using Floats = float __attribute__((vector_size(16), may_alias));

// The running sums, rounded to float as the plain form does it, but held as doubles.
struct Sums {
    Quad v;
    // A sample by its factors. False, and no change, where the plain form has to decide. relative is the
    // error of a product over |x|.
    ZV_SET ZV_INLINE bool correlate(float* slots, double x, const Quad& factors, double relative)
    {
        constexpr QuadBits magnitude = QuadBits{} + INT64_MAX;
        const Quad all_x = {x, x, x, x};
        const Quad product = factors * all_x, error = Quad(QuadBits(all_x) & magnitude) * relative;
        const Quad old = __builtin_convertvector(*(const Floats*)slots, Quad);
        const Quad sum = v + (product - old);
        const Quad sum_error =
            (Quad(QuadBits(sum) & magnitude) + Quad(QuadBits(old) & magnitude)) * 0x1p-51 + error;
        const Floats low = __builtin_convertvector(product - error, Floats);
        const Floats high = __builtin_convertvector(product + error, Floats);
        const Floats sum_low = __builtin_convertvector(sum - sum_error, Floats);
        const Floats sum_high = __builtin_convertvector(sum + sum_error, Floats);
        const __m128i sure = (__m128i)((low == high) & (sum_low == sum_high));
        if (_mm_movemask_epi8(sure) != 0xFFFF) return false;
        *(Floats*)slots = high;
        v = Quad((QuadBits(sum) + (int64_t(1) << 28)) & -(int64_t(1) << 29)); // no tie: halves may go up
        return true;
    }
    // The squared magnitudes at tone 1 and tone 2.
    ZV_SET ZV_INLINE void powers(double* two) const
    {
        const Quad square = v * v;
        *(Pair*)two =
            __builtin_shufflevector(square, square, 0, 2) + __builtin_shufflevector(square, square, 1, 3);
    }
    ZV_SET ZV_INLINE void load(const float* from) { v = __builtin_convertvector(*(const Floats*)from, Quad); }
    ZV_SET ZV_INLINE void store(float* to) const { *(Floats*)to = __builtin_convertvector(v, Floats); }
};

// The results of a group, if none of them comes near a tie.
ZV_SET ZV_INLINE bool results(const double* powers, double scale, int16_t* out)
{
    alignas(32) double magnitude[2 * Group::size];
    for (int32_t j = 0; j < 2 * Group::size; ++j) magnitude[j] = __builtin_sqrt(powers[j]);
    int32_t sure = 1;
    for (int32_t j = 0; j < Group::size; ++j) {
        // Up by 32768, so that cutting rounds down; that bit goes off again at the end.
        const double up = (magnitude[2 * j] - magnitude[2 * j + 1]) * scale + 32768.5;
        const auto whole = static_cast<int32_t>(up);
        sure &= (std::fabs(up - whole - 0.5) < ties::sure_rest(0x1p-30)) & (whole < 65536);
        out[j] = static_cast<int16_t>(whole ^ 32768);
    }
    return sure;
}

ZV_SET ZV_INLINE void run(ZVFSKCorrDemod* self, int16_t* out, uint32_t count)
{
    Block block(self, out, count);
    const Group group(block);
    const extended reach = std::max({fabsl(block.tone_1.start), fabsl(block.tone_1.at(block.count)),
                                     fabsl(block.tone_2.start), fabsl(block.tone_2.at(block.count))});
    const auto relative = static_cast<double>(0x1p-50L + reach * 0x1p-61L);
    const double scale = 1.0 / self->samples_per_bit;
    Turn z1, z2;
    Sums sums;
    sums.load(block.sums);
    float *slots = block.slots, *const end = self->window + self->window_length;

    for (int64_t k = 0; k < block.count; k += Group::size) {
        const bool anew = k % 512 == 0;
        z1 = anew ? Turn::by(block.tone_1.at(k)) : z1 * group.whole_1;
        z2 = anew ? Turn::by(block.tone_2.at(k)) : z2 * group.whole_2;
        const auto c1 = static_cast<double>(z1.c), s1 = static_cast<double>(z1.s);
        const auto c2 = static_cast<double>(z2.c), s2 = static_cast<double>(z2.s);
        const Quad c{c1, c1, c2, c2}, s{s1, s1, s2, s2};
        const auto samples = static_cast<int32_t>(std::min<int64_t>(block.count - k, Group::size));
        alignas(32) double powers[2 * Group::size] = {};
        alignas(16) float all[Group::size][4];
        const int16_t* in = block.in + k;
        for (int32_t j = 0; j < samples; ++j) {
            const Quad factors = *(const Quad*)group.along[j] * c + *(const Quad*)group.across[j] * s;
            if (!sums.correlate(slots, in[j], factors, relative)) {
                sums.store(block.sums);
                block.slots = slots;
                correlate(block, k + j);
                sums.load(block.sums);
            }
            sums.powers(powers + 2 * j);
            sums.store(all[j]);
            slots = slots + 4 == end ? self->window : slots + 4;
        }
        int16_t group_out[Group::size];
        if (!results(powers, scale, group_out))
            for (int32_t j = 0; j < samples; ++j) group_out[j] = result(all[j], self->samples_per_bit);
        std::copy_n(group_out, samples, block.out + k);
    }
    sums.store(block.sums);
    block.slots = slots;
    block.store();
}
} // namespace
} // namespace zv::fsk_corr_demod
