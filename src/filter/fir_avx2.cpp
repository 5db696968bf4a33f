// FIR convolution on AVX2: 64 results at a time at full rate, 8 when decimating.
#include "filter/fir.h"
#include "filter/fir_kernels.h"
#include <algorithm>
#include <immintrin.h>

#define ZV_SET ZV_AVX2
#define OP     ZV_SET ZV_INLINE

namespace zv::fir {
namespace {
using Vector = __m256i;
constexpr int lanes = 8, unroll = 4, group = 8;

OP Vector load(const void* p) { return _mm256_loadu_si256(static_cast<const Vector*>(p)); }
OP void put(void* p, Vector v) { _mm256_storeu_si256(static_cast<Vector*>(p), v); }
OP Vector first_pair(const int16_t* p) { return _mm256_set1_epi32(*p * 65536); }
OP Vector pairs(const int16_t* p)
{
    int32_t both;
    __builtin_memcpy(&both, p, sizeof both);
    return _mm256_set1_epi32(both);
}

OP Vector multiply_add(Vector sum, Vector a, Vector b)
{
    return _mm256_add_epi32(sum, _mm256_madd_epi16(a, b));
}

// Q30 to Q15: bits 15 to 30, those of odd results already in the upper half of their lane.
OP void store(int16_t* to, Vector even, Vector odd)
{
    put(to, _mm256_blend_epi16(_mm256_srli_epi32(even, 15), _mm256_slli_epi32(odd, 1), 0xAA));
}

OP void store(int32_t* to, Vector even, Vector odd)
{
    even = _mm256_slli_epi32(even, 1), odd = _mm256_slli_epi32(odd, 1);
    const Vector low = _mm256_unpacklo_epi32(even, odd), high = _mm256_unpackhi_epi32(even, odd);
    put(to, _mm256_permute2x128_si256(low, high, 0x20));
    put(to + lanes, _mm256_permute2x128_si256(low, high, 0x31));
}

OP Vector add_crosswise(Vector a, Vector b)
{
    return _mm256_add_epi32(_mm256_unpacklo_epi32(a, b), _mm256_unpackhi_epi32(a, b));
}

// Four rows to one: in each half, lane k holds the sum of row k's lanes of that half.
OP Vector fold(const Vector* rows)
{
    const Vector a = add_crosswise(rows[0], rows[1]), b = add_crosswise(rows[2], rows[3]);
    return _mm256_add_epi32(_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b));
}

OP Vector totals(const Vector (&rows)[group])
{
    const Vector a = fold(rows), b = fold(rows + 4);
    return _mm256_add_epi32(_mm256_permute2x128_si256(a, b, 0x20), _mm256_permute2x128_si256(a, b, 0x31));
}

OP void store(int32_t* to, Vector sums) { put(to, _mm256_slli_epi32(sums, 1)); }
OP void store(int16_t* to, Vector sums)
{
    const Vector q15 = _mm256_srai_epi32(_mm256_slli_epi32(sums, 1), 16);
    const Vector packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(q15, q15), 0x08);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(packed));
}

OP void pack(int16_t* to, const int32_t* from, int32_t count)
{
    for (int32_t k = 0; k < count; k += 2 * lanes) {
        const Vector low = _mm256_srai_epi32(load(from + k), 16);
        const Vector high = _mm256_srai_epi32(load(from + k + lanes), 16);
        put(to + k, _mm256_permute4x64_epi64(_mm256_packs_epi32(low, high), 0xD8));
    }
}

#include "filter/fir_wide.h"
} // namespace

ZV_SET void fir1616_avx2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_16<int16_t>(self, out, count, decimation);
}

ZV_SET void fir1632_avx2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_16<int32_t>(self, out, count, decimation);
}

ZV_SET void fir3232_high_avx2(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    convolve_high(self, out, count, decimation);
}
} // namespace zv::fir
