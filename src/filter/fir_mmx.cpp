// FIR convolution on MMX: one multiply-add takes a block of 4 taps. Sums wrap at 32 bits as the scalar
// kernels' do, so the results agree to the bit whatever the order of adding. Taps are zero behind the last
// one, so passes take whole blocks: what the last pass reads past the span, up to 15 samples, counts nothing.
#include "core/mmx.h"
#include "filter/fir_kernels.h"

namespace zv::fir {
using namespace mmx_ops;

// ---- 16-bit taps and samples ----
ZV_MMX ZV_INLINE DWords block(const int16_t* taps, const int16_t* x)
{
    return multiply_add(load4(taps), load4(x));
}

ZV_MMX ZV_NOINLINE static uint32_t dot_4(const int16_t* taps, const int16_t* x, int32_t count)
{
    DWords total = {};
    for (int32_t t = 0; t < count; t += 4) total = add(total, block(taps + t, x + t));
    return sum(total);
}

// A single block first where the number of blocks is odd.
ZV_MMX ZV_NOINLINE static uint32_t dot_8(const int16_t* taps, const int16_t* x, int32_t count)
{
    DWords even = {}, odd = {};
    int32_t t = 0;
    if ((count + 3) / 4 % 2) {
        even = block(taps, x);
        t = 4;
    }
    for (; t < count; t += 8) {
        even = add(even, block(taps + t, x + t));
        odd = add(odd, block(taps + t + 4, x + t + 4));
    }
    return sum(add(even, odd));
}

ZV_MMX ZV_INLINE DWords blocks_4(const int16_t* taps, const int16_t* x)
{
    return add(add(block(taps, x), block(taps + 4, x + 4)),
               add(block(taps + 8, x + 8), block(taps + 12, x + 12)));
}

ZV_MMX ZV_NOINLINE static uint32_t dot_16(const int16_t* taps, const int16_t* x, int32_t count)
{
    DWords total = {};
    for (int32_t t = 0; t < count; t += 16) total = add(total, blocks_4(taps + t, x + t));
    return sum(total);
}

// Passes of 16 as long as they are full, then 8 and 4 for the rest.
ZV_MMX ZV_NOINLINE static uint32_t dot_16_8_4(const int16_t* taps, const int16_t* x, int32_t count)
{
    DWords total = {};
    int32_t left = (count + 3) / 4 * 4;
    for (; left >= 16; left -= 16, taps += 16, x += 16) total = add(total, blocks_4(taps, x));
    if (left & 8) {
        total = add(total, add(block(taps, x), block(taps + 4, x + 4)));
        taps += 8, x += 8;
    }
    if (left & 4) total = add(total, block(taps, x));
    return sum(total);
}

using Dot16 = uint32_t (*)(const int16_t* taps, const int16_t* x, int32_t count);

template <Dot16 dot>
static ZV_INLINE void convolve_1616(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const MmxScope mmx;
    const auto* taps = static_cast<const int16_t*>(self->taps);
    convolve<int16_t, int16_t>(self, out, count, decimation, [=, n = self->taps_count](const int16_t* x) {
        return q30_to_q15(dot(taps, x, n));
    });
}

template <Dot16 dot>
static ZV_INLINE void convolve_1632(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const MmxScope mmx;
    const auto* taps = static_cast<const int16_t*>(self->taps);
    convolve<int16_t, int32_t>(self, out, count, decimation, [=, n = self->taps_count](const int16_t* x) {
        return q30_to_q31(dot(taps, x, n));
    });
}

void fir1616_mmx4(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_1616<dot_4>(self, out, count, decimation);
}

void fir1616_mmx8(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_1616<dot_8>(self, out, count, decimation);
}

void fir1616_mmx16(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_1616<dot_16>(self, out, count, decimation);
}

void fir1632_mmx4(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_1632<dot_4>(self, out, count, decimation);
}

void fir1632_mmx16(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_1632<dot_16_8_4>(self, out, count, decimation);
}

// ---- Upper halves of 32-bit taps and samples, 4 a pass ----
// Each form brings the upper words of four values together, in an order of its own: taps and samples are
// treated alike, so the products are the same.
ZV_MMX ZV_INLINE Words upper_by_shift(DWords a, DWords b)
{
    return narrow(shift_right<16>(a), shift_right<16>(b));
}

ZV_MMX ZV_INLINE Words upper_by_unpack(DWords a, DWords b)
{
    const Words low = low_words(Words(a), Words(b)), high = high_words(Words(a), Words(b));
    return Words(high_pair(DWords(low), DWords(high)));
}

ZV_MMX_EXT ZV_INLINE Words upper_by_shuffle(DWords a, DWords b)
{
    constexpr int upper_first = 0b01'01'11'01; // words 1 and 3 to the front
    return Words(low_pair(DWords(shuffled<upper_first>(Words(a))), DWords(shuffled<upper_first>(Words(b)))));
}

ZV_MMX ZV_NOINLINE static uint32_t dot_shift(const int32_t* taps, const int32_t* x, int32_t count)
{
    DWords total = {};
    for (int32_t t = 0; t < count; t += 4)
        total = add(total, multiply_add(upper_by_shift(load2(taps + t), load2(taps + t + 2)),
                                        upper_by_shift(load2(x + t), load2(x + t + 2))));
    return sum(total);
}

ZV_MMX ZV_NOINLINE static uint32_t dot_unpack(const int32_t* taps, const int32_t* x, int32_t count)
{
    DWords total = {};
    for (int32_t t = 0; t < count; t += 4)
        total = add(total, multiply_add(upper_by_unpack(load2(taps + t), load2(taps + t + 2)),
                                        upper_by_unpack(load2(x + t), load2(x + t + 2))));
    return sum(total);
}

ZV_MMX_EXT ZV_NOINLINE static uint32_t dot_shuffle(const int32_t* taps, const int32_t* x, int32_t count)
{
    DWords total = {};
    for (int32_t t = 0; t < count; t += 4)
        total = add(total, multiply_add(upper_by_shuffle(load2(taps + t), load2(taps + t + 2)),
                                        upper_by_shuffle(load2(x + t), load2(x + t + 2))));
    return sum(total);
}

// Upper words of from[0], from[2], from[4], from[6].
ZV_MMX ZV_INLINE Words upper_of_every_second(const int32_t* from)
{
    return upper_by_unpack(low_pair(load2(from), load2(from + 2)),
                           low_pair(load2(from + 4), load2(from + 6)));
}

ZV_MMX ZV_NOINLINE static uint32_t dot_every_second(const int32_t* taps, const int32_t* x, int32_t count)
{
    DWords total = {};
    for (int32_t t = 0; t < count; t += 8)
        total = add(total, multiply_add(upper_of_every_second(taps + t), upper_of_every_second(x + t)));
    return sum(total);
}

using Dot32 = uint32_t (*)(const int32_t* taps, const int32_t* x, int32_t count);

template <Dot32 dot>
static ZV_INLINE void convolve_high(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    const MmxScope mmx;
    const auto* taps = static_cast<const int32_t*>(self->taps);
    convolve<int32_t, int32_t>(self, out, count, decimation, [=, n = self->taps_count](const int32_t* x) {
        return q30_to_q31(dot(taps, x, n));
    });
}

void fir3232_high_shift(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_high<dot_shift>(self, out, count, decimation);
}

void fir3232_high_shuffle(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_high<dot_shuffle>(self, out, count, decimation);
}

void fir3232_high_unpack(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_high<dot_unpack>(self, out, count, decimation);
}

void process2_high(ZVFIR* self, int32_t* out, int32_t count, int32_t phase)
{
    const MmxScope mmx;
    convolve2(self, out, count, phase, [n = self->taps_count](const int32_t* taps, const int32_t* x) {
        return q30_to_q31(dot_every_second(taps, x, n));
    });
}
} // namespace zv::fir
