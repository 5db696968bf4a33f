// Spectrum objects of both kinds: one block with tables, arrays and the kernel's private tables; and the
// transforms in double precision, which go to the kernel that was chosen when the object was made.
#include "core/frame.h"
#include "core/window.h"
#include "spectrum/plain.h"
#include <algorithm>
#include <bit>

namespace zv::fft {
static void build_window(ZVFFT* self)
{
    const uint32_t size = self->buffer_size, half = self->half_size;
    const auto from_peak = [&](uint32_t n) { return 2 * pi * (extended(half) - 1 - n) / size; };
    const int32_t type = self->window_type;
    for (uint32_t n = 0; n < size; ++n) {
        extended w = 1;
        if (type == ZVWindowType_Triangular) w = extended(n < half ? n : size - 1 - n) / half;
        if (type == ZVWindowType_Hann) w = 2 * window::hann(from_peak(n)); // each over its first coefficient
        if (type == ZVWindowType_Hamming) w = window::hamming(from_peak(n)) * 50 / 27;
        if (type == ZVWindowType_Blackman) w = window::blackman(from_peak(n)) * 50 / 21;
        self->window[n] = static_cast<float>(w);
    }
}

static void build_tables(ZVFFT* self)
{
    const uint32_t half = self->half_size;
    turn_by(-pi / half, half, [=](uint32_t n, extended c, extended s) {
        self->twiddle[2 * n] = static_cast<float>(s);
        self->twiddle[2 * n + 1] = static_cast<float>(c);
    });
    self->bit_reverse[0] = 0; // each half repeats the entries before it with one more bit
    for (uint32_t filled = 1, bit = half / 2; filled < half; filled *= 2, bit /= 2)
        for (uint32_t n = 0; n < filled; ++n) self->bit_reverse[filled + n] = self->bit_reverse[n] + bit;
}

// Factors of both private tables. Bins k = M j + tile + lane; the stage of span m = M 2^s turns block c,
// which holds the bins with j = c reversed, by twiddle[(H / m) (k mod m)].
template <class Factor>
static void build_private(const ZVFFT* self, uint32_t lanes, Factor* out)
{
    const uint32_t half = self->half_size, vectors = half / lanes;
    for (uint32_t c = 0; c < vectors / 2; ++c)
        for (uint32_t part = 0; part < 2; ++part) *out++ = self->twiddle[2 * self->bit_reverse[c] + part];

    for (uint32_t tile = 0; tile < vectors; tile += lanes)
        for (uint32_t blocks = 1; blocks < lanes; blocks *= 2)
            for (uint32_t c = 0; c < blocks; ++c)
                for (uint32_t part = 0; part < 2; ++part)
                    for (uint32_t lane = 0; lane < lanes; ++lane) {
                        const uint32_t reversed = self->bit_reverse[c] / (half / blocks);
                        const uint32_t k = vectors * reversed + tile + lane;
                        *out++ = self->twiddle[2 * k * (lanes / blocks) + part];
                    }
}

// Bytes of one vector's tables, in whole cache lines.
static uint64_t table_bytes(const Vector& vector, uint64_t half)
{
    if (half < uint64_t(vector.lanes) * vector.lanes || vector.lanes == 0) return 0;
    return to_line(half / vector.lanes * (2 * vector.lanes - 1) * vector.lane_bytes);
}

static bool same(const Vector& a, const Vector& b)
{
    return a.lanes == b.lanes && a.lane_bytes == b.lane_bytes;
}

// With what rounding up to whole cache lines may take.
static uint64_t private_bytes(const Kernel& kernel, uint64_t half)
{
    const uint64_t pairs = same(kernel.pairs, kernel.real) ? 0 : table_bytes(kernel.pairs, half);
    return 64 + sizeof(Private) + table_bytes(kernel.real, half) + pairs;
}

static void build_tables_of(const ZVFFT* self, const Vector& vector, void* out)
{
    if (table_bytes(vector, self->half_size) == 0) return;
    if (vector.lane_bytes == sizeof(float))
        build_private(self, vector.lanes, static_cast<float*>(out));
    else
        build_private(self, vector.lanes, static_cast<double*>(out));
}

// Angles are summed up, so large tables hold a few factors that the sum's drift has brought to the next
// float: 7 of them at 2^21 samples, none below.
static bool mirrors(const ZVFFT* self)
{
    const uint32_t half = self->half_size;
    for (uint32_t k = 1; k < half / 2; ++k) {
        const float *here = self->twiddle + 2 * k, *there = self->twiddle + 2 * (half - k);
        if (here[0] != there[0] || here[1] != -there[1]) return false;
    }
    return true;
}

static void build_private_tables(const ZVFFT* self, const Kernel& kernel)
{
    Private* own = private_of(self);
    char* tables = reinterpret_cast<char*>(own + 1);
    *own = {.kernel = &kernel, .real = tables, .pairs = tables, .mirrors = mirrors(self)};
    build_tables_of(self, kernel.real, own->real);
    if (same(kernel.pairs, kernel.real)) return;
    own->pairs = tables + table_bytes(kernel.real, self->half_size);
    build_tables_of(self, kernel.pairs, own->pairs);
}

// Of the public areas: index, twiddles and window, and five halves of Real.
template <class Real>
static constexpr uint32_t bytes_a_sample = 10 + 5 * sizeof(Real) / 2;

template <class Real>
static void place(ZVFFT* self, uint32_t size)
{
    const size_t half = size / 2;
    self->buffer_size = size;
    self->half_size = size / 2;
    auto* next = reinterpret_cast<char*>(self->bit_reverse + half);
    const auto area = [&](auto*& pointer, size_t bytes) {
        pointer = reinterpret_cast<std::remove_reference_t<decltype(pointer)>>(next);
        next += bytes;
    };
    constexpr bool tables_first = sizeof(Real) == 8;
    if (tables_first) area(self->twiddle, 2 * half * sizeof(float));
    if (tables_first) area(self->work, 2 * half * sizeof(Real));
    area(self->module, half * sizeof(Real));
    area(self->im, half * sizeof(Real));
    area(self->re, half * sizeof(Real));
    if (!tables_first) area(self->twiddle, 2 * half * sizeof(float));
    if (!tables_first) area(self->work, 2 * half * sizeof(Real));
    area(self->window, size * sizeof(float));
}

template <class Real>
bool resize(ZVFFT* self, uint32_t size, const Kernel& kernel)
{
    const uint64_t bytes = bytes_a_sample<Real> * uint64_t(size), behind = private_bytes(kernel, size / 2);
    const bool grown = sizeof(Real) == 8 ? grow(self->bit_reverse, self->storage_bytes, bytes, behind)
                                         : grow(self->bit_reverse, bytes + behind);
    if (!grown) return false;
    place<Real>(self, size);
    build_tables(self);
    build_private_tables(self, kernel);
    silence(static_cast<Real*>(self->module), 3 * size_t(self->half_size)); // im and re follow
    build_window(self);
    return true;
}

template bool resize<float>(ZVFFT*, uint32_t, const Kernel&);
template bool resize<double>(ZVFFT*, uint32_t, const Kernel&);

ZVFFT* make_double(ZVFFT* self, const Kernel& kernel)
{
    const auto build = [&](ZVFFT* fft) {
        *fft = {};
        return resize<double>(fft, 512, kernel);
    };
    return construct(self, build, ZVFFT_Destruct);
}
} // namespace zv::fft

using namespace zv;

ZVFFT* ZVFFT_Construct(ZVFFT* self) { return fft::make_double(self, *select(fft::double_rows).kernel); }

void ZVFFT_Destruct(ZVFFT* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->bit_reverse);
    dismiss(self, flags);
}

void ZVFFT_BufferSize(ZVFFT* self, uint32_t size)
{
    if (size < 3) return;
    size = std::bit_ceil(std::min(size, 1u << 30));
    if (size != self->buffer_size) fft::resize<double>(self, size, *fft::private_of(self)->kernel);
}

void ZVFFT_WindowType(ZVFFT* self, int32_t type)
{
    if (type < ZVWindowType_Rectangular || type > ZVWindowType_Blackman) return;
    if (change(self->window_type, type)) fft::build_window(self);
}

void ZVFFT_Compute_16(ZVFFT* self, const int16_t* samples, uint32_t count)
{
    fft::private_of(self)->kernel->real_16(self, samples, count);
}

void ZVFFT_Compute_32(ZVFFT* self, const int32_t* samples, uint32_t count)
{
    fft::private_of(self)->kernel->real_32(self, samples, count);
}

void ZVFFT_ComputeComplex_IQ_16(ZVFFT* self, const int16_t* i_samples, const int16_t* q_samples,
                                uint32_t count)
{
    fft::private_of(self)->kernel->pair_16(self, i_samples, q_samples, count);
}

void ZVFFT_ComputeComplex_IQ_32(ZVFFT* self, const int32_t* i_samples, const int32_t* q_samples,
                                uint32_t count)
{
    fft::private_of(self)->kernel->pair_32(self, i_samples, q_samples, count);
}

void ZVFFT_Compute_Module(ZVFFT* self, const double* a, const double* b) { fft::plain::module(self, a, b); }
