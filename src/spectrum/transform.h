// The transform on vectors, as a template over their width and type. Included by each instruction set's
// file behind its vocabulary (core/wide.h).
//
// It is the flow graph of the plain form, butterfly by butterfly and factor by factor, but other places in
// memory. H points in natural order are M vectors of W lanes. The first log2(M) stages combine whole
// vectors: in place, without shuffles, all butterflies of a block with one factor; then vector r holds the
// terms of bins k = c, c + M, ..., c being r reversed. The last log2(W) stages take a tile of W consecutive
// c, turn it (W x W), run over registers with a vector of factors each, and give W runs of W bins in
// natural order.
//
// In work a vector of W real parts is followed by one of W imaginary parts. V is the vector in registers,
// Real what the arrays hold: floats with vectors of doubles round only once every pass.
#include "spectrum/plain.h"
#include <bit>
#include <utility>

namespace zv::fft {
namespace {
using namespace wide;

// Radix-2 stages that the registers hold.
constexpr int stages_a_pass = sizeof(Reals) == 64 ? 3 : 2;

template <class V>
constexpr Vector vector_of = {width<V>, sizeof(Lane<V>)};

template <class V>
struct Complex {
    V re, im;
};

// --- Memory: any type there, V in registers ---

template <class V, class Real>
ZV_SET ZV_INLINE Complex<V> load_complex(const Real* from)
{
    return {load<V>(from), load<V>(from + width<V>)};
}

template <class V, class Real>
ZV_SET ZV_INLINE void store_complex(Real* to, Complex<V> z)
{
    store(to, z.re);
    store(to + width<V>, z.im);
}

// Rows and columns change places: log2(W) perfect shuffles of the rows.
template <class V>
ZV_SET ZV_INLINE void turn(V (&rows)[width<V>])
{
    constexpr int w = width<V>;
#pragma GCC unroll 4
    for (int step = 1; step < w; step *= 2) {
        V next[w];
#pragma GCC unroll 8
        for (int r = 0; r < w / 2; ++r) {
            next[2 * r] = low(rows[r], rows[r + w / 2]);
            next[2 * r + 1] = high(rows[r], rows[r + w / 2]);
        }
#pragma GCC unroll 16
        for (int r = 0; r < w; ++r) rows[r] = next[r];
    }
}

// --- Arithmetic ---

// a + b e and a - b e, e = cs + i sn. In doubles the difference comes from 2 a less the sum; floats can't
// afford the sum's rounding error in it.
template <class V>
ZV_SET ZV_INLINE void butterfly(Complex<V>& a, Complex<V>& b, V sn, V cs)
{
    if constexpr (fused && sizeof(Lane<V>) == sizeof(double)) {
        const V two = all<V>(2);
        const Complex<V> sum = {madd(b.re, cs, nmadd(b.im, sn, a.re)), madd(b.im, cs, madd(b.re, sn, a.im))};
        b = {msub(two, a.re, sum.re), msub(two, a.im, sum.im)};
        a = sum;
    } else if constexpr (fused) {
        const Complex<V> sum = {madd(b.re, cs, nmadd(b.im, sn, a.re)), madd(b.im, cs, madd(b.re, sn, a.im))};
        b = {nmadd(b.re, cs, madd(b.im, sn, a.re)), nmadd(b.im, cs, nmadd(b.re, sn, a.im))};
        a = sum;
    } else {
        const Complex<V> t = {b.re * cs - b.im * sn, b.im * cs + b.re * sn};
        b = {a.re - t.re, a.im - t.im};
        a = {a.re + t.re, a.im + t.im};
    }
}

template <class V>
ZV_SET ZV_INLINE V quarter_power(V re, V im)
{
    return all<V>(0.25) * madd(re, re, im * im);
}

// What a store and a load of Real make of it.
template <class Real, class V>
ZV_SET ZV_INLINE V stored(V value)
{
    Lanes<Real, width<V>> lanes;
    narrow(value, lanes);
    return widen(lanes);
}

// --- Where the first pass reads, and where the last one writes ---

template <class V, class Real>
struct WorkVectors {
    const Real* work;
    ZV_SET ZV_INLINE Complex<V> operator()(size_t n) const
    {
        return load_complex<V>(work + 2 * width<V> * n);
    }
};

template <class V, class Sample>
struct RealVectors {
    const Sample* x;
    const float* w;
    ZV_SET ZV_INLINE Complex<V> operator()(size_t n) const
    {
        const size_t t = 2 * width<V> * n, u = t + width<V>;
        const V first = load<V>(x + t) * load<V>(w + t), second = load<V>(x + u) * load<V>(w + u);
        return {even(first, second), odd(first, second)};
    }
};

template <class V, class Sample>
struct PairVectors {
    Pairs<Sample> x;
    const float* w;
    ZV_SET ZV_INLINE Complex<V> operator()(size_t n) const
    {
        const size_t p = width<V> * n;
        const V window = even(load<V>(w + 2 * p), load<V>(w + 2 * p + width<V>));
        return {load<V>(x.i + p) * window, load<V>(x.q + p) * window};
    }
};

// Z in natural order, for unpacking.
template <class Real>
struct Natural {
    Real *re, *im;
    template <class V>
    ZV_SET ZV_INLINE void operator()(size_t k, Complex<V> z) const
    {
        store(re + k, z.re);
        store(im + k, z.im);
    }
};

// Slots of an I/Q spectrum, finished.
template <class Real>
struct Slots {
    Real *re, *im, *module;
    size_t quarter;
    template <class V>
    ZV_SET ZV_INLINE void operator()(size_t k, Complex<V> z) const
    {
        const size_t slot = k ^ quarter;
        store(re + slot, z.re);
        store(im + slot, z.im);
        store(module + slot, quarter_power(stored<Real>(z.re), stored<Real>(z.im)));
    }
};

// --- Passes ---

// `stages` stages at once, on vectors that come from `source` and go to work. Before them `blocks` blocks are
// done; block c of stage s takes factor c.
template <int stages, class V, class Source, class Real>
ZV_SET ZV_INLINE void pass(Source source, Real* work, size_t vectors, size_t blocks, const Lane<V>* turned)
{
    constexpr int n = 1 << stages;
    const size_t block = vectors / blocks, apart = block / n;
    for (size_t c = 0; c < blocks; ++c) {
        Complex<V> factor[n - 1]; // im is the sine
#pragma GCC unroll 8
        for (int f = 1; f < n; ++f) {
            const int level = std::bit_width(unsigned(f)) - 1; // the stage's factors follow each other
            const Lane<V>* pair = turned + 2 * ((c << level) + f - (1 << level));
            factor[f - 1] = {all<V>(pair[1]), all<V>(pair[0])};
        }
        for (size_t v = c * block; v < c * block + apart; ++v) {
            Complex<V> z[n];
#pragma GCC unroll 8
            for (int i = 0; i < n; ++i) z[i] = source(v + i * apart);
#pragma GCC unroll 3
            for (int s = 0; s < stages; ++s) {
#pragma GCC unroll 4
                for (int i = 0; i < n / 2; ++i) {
                    const int span = n >> (s + 1), group = i / span, a = group * 2 * span + i % span;
                    const Complex<V> e = factor[(1 << s) + group - 1];
                    butterfly(z[a], z[a + span], e.im, e.re);
                }
            }
#pragma GCC unroll 8
            for (int i = 0; i < n; ++i) store_complex(work + 2 * width<V> * (v + i * apart), z[i]);
        }
    }
}

template <class V, class Source, class Real>
ZV_SET ZV_INLINE void pass_of(int stages, Source source, Real* work, size_t vectors, size_t blocks,
                              const Lane<V>* turned)
{
    if (stages == 1) pass<1, V>(source, work, vectors, blocks, turned);
    if (stages == 2) pass<2, V>(source, work, vectors, blocks, turned);
    if constexpr (stages_a_pass == 3)
        if (stages == 3) pass<3, V>(source, work, vectors, blocks, turned);
}

// How many of the stages left the next pass takes; never a single one where it can be avoided.
constexpr int next_stages(int left)
{
    return left <= stages_a_pass ? left : left == stages_a_pass + 1 ? 2 : stages_a_pass;
}

constexpr int reversed(int n, int count)
{
    int result = 0;
    for (int bit = 1; bit < count; bit *= 2) result = 2 * result + (n / bit) % 2;
    return result;
}

// The last log2(W) stages, tile by tile.
template <class V, class Real, class Sink>
ZV_SET ZV_INLINE void finish_tiles(const ZVFFT* self, const Real* work, size_t vectors, const Lane<V>* factor,
                                   Sink sink)
{
    constexpr int w = width<V>;
    for (size_t tile = 0; tile < vectors; tile += w) {
        V re[w], im[w];
#pragma GCC unroll 16
        for (int i = 0; i < w; ++i) {
            const size_t vector = self->bit_reverse[tile + i] / w;
            re[i] = load<V>(work + 2 * w * vector);
            im[i] = load<V>(work + 2 * w * vector + w);
        }
        turn(re);
        turn(im);
        Complex<V> z[w];
#pragma GCC unroll 16
        for (int i = 0; i < w; ++i) z[i] = {re[i], im[i]};
#pragma GCC unroll 4
        for (int span = w / 2; span > 0; span /= 2) {
#pragma GCC unroll 8
            for (int a = 0; a < w; a += 2 * span) {
                const V sn = load<V>(factor), cs = load<V>(factor + w);
                factor += 2 * w;
#pragma GCC unroll 8
                for (int i = a; i < a + span; ++i) butterfly(z[i], z[i + span], sn, cs);
            }
        }
#pragma GCC unroll 16
        for (int i = 0; i < w; ++i) sink(tile + vectors * reversed(i, w), z[i]);
    }
}

template <class V, class Real, class Source, class Sink>
ZV_SET ZV_INLINE void transform(const ZVFFT* self, const void* tables, Source source, Real* work, Sink sink)
{
    const size_t vectors = self->half_size / width<V>;
    const auto* turned = static_cast<const Lane<V>*>(tables);
    int left = std::countr_zero(vectors), stages = next_stages(left);
    pass_of<V>(stages, source, work, vectors, 1, turned);
    size_t blocks = size_t(1) << stages;
    for (left -= stages; left > 0; left -= stages, blocks <<= stages) {
        stages = next_stages(left);
        pass_of<V>(stages, WorkVectors<V, Real>{work}, work, vectors, blocks, turned);
    }
    finish_tiles<V>(self, work, vectors, turned + vectors, sink);
}

// Unpacking and power in one sweep over bins k and H - k, which come from the same sums. re and im hold Z and
// get the result. The mirrored side is stored one step late, when its lowest bin is known, so that all of
// memory is read and written in whole vectors. Where the factors of H - k are those of k in a mirror, they
// needn't be read, and both bins come from one turn.
template <bool mirrors, class V, class Real>
ZV_SET ZV_INLINE void unpack(ZVFFT* self)
{
    constexpr size_t w = width<V>;
    const size_t half = self->half_size, middle = half / 2;
    auto *re = static_cast<Real*>(self->re), *im = static_cast<Real*>(self->im);
    auto* module = static_cast<Real*>(self->module);
    const float* twiddle = self->twiddle;
    const auto finish = [=](size_t k, Complex<V> z) ZV_SET {
        store(re + k, z.re);
        store(im + k, z.im);
        store(module + k, quarter_power(stored<Real>(z.re), stored<Real>(z.im)));
    };
    const Lane<V> centre_re = re[middle], centre_im = im[middle]; // its own mirror
    const Complex<V> centre = {all<V>(2 * centre_re + twiddle[half + 1] * (2 * centre_im)),
                               all<V>(twiddle[half] * (2 * centre_im))};

    // Factors of w bins from k on, the sine as im.
    const auto factors = [=](size_t k) ZV_SET {
        const V pairs = load<V>(twiddle + 2 * k), more_pairs = load<V>(twiddle + 2 * k + w);
        return Complex<V>{odd(pairs, more_pairs), even(pairs, more_pairs)};
    };
    // i e (a - conj(b)) from its sums and differences.
    const auto turned = [](Complex<V> e, V sum_im, V dif_re) ZV_SET {
        return Complex<V>{madd(e.re, sum_im, e.im * dif_re), nmadd(e.re, dif_re, e.im * sum_im)};
    };

    Complex<V> above = {all<V>(re[0]), all<V>(im[0])}, held = above; // Z[H] is Z[0]
    Complex<V> factors_above = {all<V>(-1), all<V>(0)};              // half a turn
    for (size_t k = 0; k < middle; k += w) {
        const Complex<V> a = {load<V>(re + k), load<V>(im + k)};
        const Complex<V> below = {load<V>(re + half - k - w), load<V>(im + half - k - w)};
        const Complex<V> b = {mirror(below.re, above.re), mirror(below.im, above.im)};
        above = below;
        const V sum_re = a.re + b.re, dif_im = a.im - b.im, sum_im = a.im + b.im, dif_re = a.re - b.re;
        const Complex<V> t = turned(factors(k), sum_im, dif_re);
        Complex<V> mirrored = {sum_re - t.re, t.im - dif_im};
        if constexpr (!mirrors) {
            const Complex<V> e = factors(half - k - w);
            const Complex<V> own = {mirror(e.re, factors_above.re), mirror(e.im, factors_above.im)};
            factors_above = e;
            const Complex<V> u = turned(own, sum_im, -dif_re);
            mirrored = {sum_re + u.re, u.im - dif_im};
        }
        if (k > 0) finish(half - k, {mirror(held.re, mirrored.re), mirror(held.im, mirrored.im)});
        held = mirrored;
        finish(k, {sum_re + t.re, dif_im + t.im});
    }
    finish(middle, {mirror(held.re, centre.re), mirror(held.im, centre.im)});
    re[0] *= Real(0.5); // bin 0 isn't doubled
    im[0] = 0;
    module[0] *= Real(0.25);
}

// --- Kernels: V for the passes, U for unpacking ---

template <class V, class U, class Real, class Sample>
ZV_SET ZV_ENTRY void real(ZVFFT* self, const Sample* samples, uint32_t count)
{
    constexpr uint32_t w = width<V>;
    if (self->half_size < w * w) {
        double room[2 * w * w];
        return plain::real<Real>(self, samples, count, room);
    }
    const RealVectors<V, Sample> source = {real_block(self, samples, count), self->window};
    const Natural<Real> sink = {static_cast<Real*>(self->re), static_cast<Real*>(self->im)};
    transform<V>(self, private_of(self)->real, source, static_cast<Real*>(self->work), sink);
    if (private_of(self)->mirrors)
        unpack<true, U, Real>(self);
    else
        unpack<false, U, Real>(self);
}

template <class V, class Real, class Sample>
ZV_SET ZV_ENTRY void pairs(ZVFFT* self, const Sample* i, const Sample* q, uint32_t count)
{
    constexpr uint32_t w = width<V>;
    if (self->half_size < w * w) {
        double room[2 * w * w];
        return plain::pairs<Real>(self, i, q, count, room);
    }
    const PairVectors<V, Sample> source = {pair_block(self, i, q, count), self->window};
    const Slots<Real> sink = {static_cast<Real*>(self->re), static_cast<Real*>(self->im),
                              static_cast<Real*>(self->module), self->half_size / 2};
    transform<V>(self, private_of(self)->pairs, source, static_cast<Real*>(self->work), sink);
}

// The set's row of either kind. Without fused products, I/Q pairs in float stay on the floating-point unit.
constexpr Kernel float_row()
{
    Kernel row = {.real_16 = real<Floats, Reals, float>,
                  .real_32 = real<Floats, Reals, float>,
                  .band_16 = band_16,
                  .band_32 = band_32,
                  .real = vector_of<Floats>};
    if constexpr (fused) {
        row.pair_16 = pairs<Reals, float>;
        row.pair_32 = pairs<Reals, float>;
        row.pairs = vector_of<Reals>;
    } else {
        row.pair_16 = plain::pair_kernel<float>;
        row.pair_32 = plain::pair_kernel<float>;
    }
    return row;
}

constexpr Kernel double_row()
{
    return {.real_16 = real<Reals, Reals, double>,
            .real_32 = real<Reals, Reals, double>,
            .pair_16 = pairs<Reals, double>,
            .pair_32 = pairs<Reals, double>,
            .real = vector_of<Reals>,
            .pairs = vector_of<Reals>};
}
} // namespace
} // namespace zv::fft
