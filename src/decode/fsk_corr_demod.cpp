// FSK correlator: the object, and a block in its plain form. sum += new product - the one a bit time ago, so
// the ring holds products and not samples: what leaves a sum is what entered it.
#include "decode/fsk_corr_demod.h"
#include "core/blocks.h"
#include "core/frame.h"

namespace zv::fsk_corr_demod {
Block::Block(ZVFSKCorrDemod* self, int16_t* out, uint32_t count)
    : self(self),
      in(self->buffer),
      out(out ? out : self->buffer),
      count(up_to_block(count, self->buffer_size)),
      tone_1{self->phase_1, 2 * pi * self->tone_1 / self->sampling_rate},
      tone_2{self->phase_2, 2 * pi * self->tone_2 / self->sampling_rate},
      sums{self->sum_1_cos, self->sum_1_sin, self->sum_2_sin, self->sum_2_cos},
      slots(self->window + self->window_index)
{
}

void Block::store()
{
    self->window_index = static_cast<uint32_t>(slots - self->window);
    self->phase_1 = static_cast<float>(tone_1.at(count));
    self->phase_2 = static_cast<float>(tone_2.at(count));
    self->sum_1_cos = sums[0];
    self->sum_1_sin = sums[1];
    self->sum_2_sin = sums[2];
    self->sum_2_cos = sums[3];
}

void correlate(Block& block, int64_t k)
{
    const extended x = block.in[k];
    extended products[4] = {};
    if (x != 0) {
        const Turn t1 = Turn::by(block.tone_1.at(k)), t2 = Turn::by(block.tone_2.at(k));
        products[0] = x * t1.c;
        products[1] = x * t1.s;
        products[2] = x * t2.s;
        products[3] = x * t2.c;
    }
    for (int j = 0; j < 4; ++j) {
        block.sums[j] = static_cast<float>(block.sums[j] + (products[j] - block.slots[j]));
        block.slots[j] = static_cast<float>(products[j]);
    }
}

int16_t result(const float* sums, int32_t n)
{
    const auto magnitude = [](extended a, extended b) { return sqrtl(a * a + b * b); };
    return to_nearest16((magnitude(sums[0], sums[1]) - magnitude(sums[2], sums[3])) / n);
}

Group::Group(const Block& block)
{
    const Turn step_1 = Turn::by(block.tone_1.step), step_2 = Turn::by(block.tone_2.step);
    Turn t1{1, 0}, t2{1, 0};
    for (int32_t j = 0; j < size; ++j, t1 = t1 * step_1, t2 = t2 * step_2) {
        const extended a[4] = {t1.c, t1.s, t2.s, t2.c}, b[4] = {-t1.s, t1.c, t2.c, -t2.s};
        for (int slot = 0; slot < 4; ++slot) {
            along[j][slot] = static_cast<double>(a[slot]);
            across[j][slot] = static_cast<double>(b[slot]);
        }
    }
    whole_1 = t1;
    whole_2 = t2;
}

void block_plain(ZVFSKCorrDemod* self, int16_t* out, uint32_t count)
{
    Block block(self, out, count);
    for (int64_t k = 0; k < block.count; ++k) {
        correlate(block, k);
        block.next_slots();
        block.out[k] = result(block.sums, self->samples_per_bit);
    }
    block.store();
}

// clang-format off
static constexpr Row<Kernel> table[] = {
    {has(sse2 | avx2), "avx2",  "AVX2",  block_avx2},
    {has(sse2),        "sse2",  "SSE2",  block_sse2},
    {otherwise,        "plain", "plain", block_plain},
};
// clang-format on
constinit const Rows<Kernel> rows = table;

// N for these rates.
static int32_t bit_length(float sampling_rate, float bit_rate)
{
    const auto n = static_cast<uint32_t>(to_nearest32(extended(sampling_rate) / bit_rate + 0.5L));
    return static_cast<int32_t>(std::max(n, 2u));
}

// Makes the window hold bits of n samples.
static bool reserve(ZVFSKCorrDemod* self, int32_t n)
{
    const uint64_t floats = 4 * uint64_t(static_cast<uint32_t>(n));
    if (self->window && floats <= self->window_capacity) return true;
    if (!grow(self->window, floats * sizeof(float))) return false;
    self->window_capacity = static_cast<uint32_t>(floats);
    return true;
}

static void rebuild(ZVFSKCorrDemod* self)
{
    const int32_t n = bit_length(self->sampling_rate, self->bit_rate);
    if (!reserve(self, n)) return;
    self->samples_per_bit = n;
    self->window_length = 4 * static_cast<uint32_t>(n);
    self->window_index = 0;
    MemorySet_DWord(self->window, 0, self->window_length);
    self->sum_1_cos = self->sum_1_sin = self->sum_2_sin = self->sum_2_cos = 0;
}

static bool reserve_buffer(ZVFSKCorrDemod* self, uint32_t size)
{
    return grow(self->buffer, uint64_t(size) * sizeof(int16_t));
}

static void resize(ZVFSKCorrDemod* self) { reserve_buffer(self, self->buffer_size); }

static bool build(ZVFSKCorrDemod* self)
{
    *self = {.kernel = select(rows).kernel,
             .buffer_size = 512,
             .sampling_rate = 22050,
             .tone_1 = 1200,
             .tone_2 = 2200,
             .bit_rate = 1200,
             .rebuild = rebuild,
             .resize = resize};
    self->rebuild(self);
    self->resize(self);
    return self->window && self->buffer;
}

// The sentence of both rates.
static void set_rate(ZVFSKCorrDemod* self, float& field, float value, float sampling_rate, float bit_rate)
{
    if (same_bits(field, value)) return;
    if (!reserve(self, bit_length(sampling_rate, bit_rate))) return;
    field = value;
    self->rebuild(self);
}
} // namespace zv::fsk_corr_demod

using namespace zv;

ZVFSKCorrDemod* ZVFSKCorrDemod16_Construct(ZVFSKCorrDemod* self)
{
    return construct(self, fsk_corr_demod::build, ZVFSKCorrDemod_Destruct);
}

void ZVFSKCorrDemod_Destruct(ZVFSKCorrDemod* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->buffer);
    MemoryFree(self->window);
    dismiss(self, flags);
}

void ZVFSKCorrDemod_BitRate(ZVFSKCorrDemod* self, float bit_rate)
{
    fsk_corr_demod::set_rate(self, self->bit_rate, bit_rate, self->sampling_rate, bit_rate);
}

void ZVFSKCorrDemod_SamplingRate(ZVFSKCorrDemod* self, float hz)
{
    fsk_corr_demod::set_rate(self, self->sampling_rate, hz, hz, self->bit_rate);
}

void ZVFSKCorrDemod_BufferSize(ZVFSKCorrDemod* self, uint32_t size)
{
    if (size == self->buffer_size || !fsk_corr_demod::reserve_buffer(self, size)) return;
    self->buffer_size = size;
    self->resize(self);
}

void ZVFSKCorrDemod16_Process_16_16(ZVFSKCorrDemod* self, const int16_t* in, int16_t* out, int32_t length,
                                    int32_t step)
{
    int32_t samples = whole_steps(length, step);
    const auto size = static_cast<int32_t>(std::min<uint32_t>(self->buffer_size, INT32_MAX));
    if (!out) samples = std::min(samples, size);
    in_blocks(in, samples, step, size, [&](const int16_t* piece, int32_t count) {
        gather(self->buffer, piece, count, step);
        self->kernel(self, out, static_cast<uint32_t>(count));
        out = advance(out, size_t(count));
    });
}
