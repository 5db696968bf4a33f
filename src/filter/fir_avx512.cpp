// FIR convolution on AVX-512 (F, BW), without and with VNNI: 256 results at a time at full rate, 16 when
// decimating. VNNI's multiply-add has a latency of 5, two a cycle: 16 sums in flight keep it busy.
#include "core/avx512.h"
#include "filter/fir.h"
#include "filter/fir_kernels.h"
#include <algorithm>

#define ZV_SET ZV_AVX512
#define OP     ZV_SET ZV_INLINE

namespace zv::fir {
namespace {
using Vector = __m512i;
constexpr int lanes = 16, unroll = 8, group = 16;

OP Vector load(const void* p) { return _mm512_loadu_si512(p); }
OP void put(void* p, Vector v) { _mm512_storeu_si512(p, v); }
OP Vector first_pair(const int16_t* p) { return _mm512_set1_epi32(*p * 65536); }
OP Vector pairs(const int16_t* p)
{
    int32_t both;
    __builtin_memcpy(&both, p, sizeof both);
    return _mm512_set1_epi32(both);
}

// Q30 to Q15: bits 15 to 30, those of odd results already in the upper half of their lane.
OP void store(int16_t* to, Vector even, Vector odd)
{
    put(to, _mm512_mask_blend_epi16(0xAAAAAAAA, _mm512_srli_epi32(even, 15), _mm512_slli_epi32(odd, 1)));
}

OP void store(int32_t* to, Vector even, Vector odd)
{
    even = _mm512_slli_epi32(even, 1), odd = _mm512_slli_epi32(odd, 1);
    const Vector low = _mm512_set_epi32(23, 7, 22, 6, 21, 5, 20, 4, 19, 3, 18, 2, 17, 1, 16, 0);
    const Vector high = _mm512_add_epi32(low, _mm512_set1_epi32(8));
    put(to, _mm512_permutex2var_epi32(even, low, odd));
    put(to + lanes, _mm512_permutex2var_epi32(even, high, odd));
}

OP Vector add_crosswise(Vector a, Vector b)
{
    return _mm512_add_epi32(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b));
}

// Four rows to one: in each quarter, lane k holds the sum of row k's lanes of that quarter.
OP Vector fold(const Vector* rows)
{
    const Vector a = add_crosswise(rows[0], rows[1]), b = add_crosswise(rows[2], rows[3]);
    return _mm512_add_epi32(_mm512_unpacklo_epi64(a, b), _mm512_unpackhi_epi64(a, b));
}

// Quarters 0 and 1, 2 and 3 of a, then those of b, added up.
OP Vector add_quarters(Vector a, Vector b)
{
    return _mm512_add_epi32(_mm512_shuffle_i32x4(a, b, 0x88), _mm512_shuffle_i32x4(a, b, 0xDD));
}

OP Vector totals(const Vector (&rows)[group])
{
    return add_quarters(add_quarters(fold(rows), fold(rows + 4)),
                        add_quarters(fold(rows + 8), fold(rows + 12)));
}

OP void store(int32_t* to, Vector sums) { put(to, _mm512_slli_epi32(sums, 1)); }
OP void store(int16_t* to, Vector sums)
{
    const __m256i q15 = _mm512_cvtepi32_epi16(_mm512_srli_epi32(sums, 15));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), q15);
}

OP void pack(int16_t* to, const int32_t* from, int32_t count)
{
    for (int32_t k = 0; k < count; k += 2 * lanes) {
        const __m256i low = _mm512_cvtepi32_epi16(_mm512_srli_epi32(load(from + k), 16));
        const __m256i high = _mm512_cvtepi32_epi16(_mm512_srli_epi32(load(from + k + lanes), 16));
        put(to + k, _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1));
    }
}

namespace plain {
using zv::plain::multiply_add;
#include "filter/fir_wide.h"
} // namespace plain

namespace vnni {
using zv::vnni::multiply_add;
#include "filter/fir_wide.h"
} // namespace vnni
} // namespace

ZV_SET void fir1616_avx512(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    plain::convolve_16<int16_t>(self, out, count, decimation);
}

ZV_SET void fir1632_avx512(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    plain::convolve_16<int32_t>(self, out, count, decimation);
}

ZV_SET void fir3232_high_avx512(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    plain::convolve_high(self, out, count, decimation);
}

ZV_SET void fir1616_vnni(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    vnni::convolve_16<int16_t>(self, out, count, decimation);
}

ZV_SET void fir1632_vnni(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    vnni::convolve_16<int32_t>(self, out, count, decimation);
}

ZV_SET void fir3232_high_vnni(ZVFIR* self, void* out, int32_t count, int32_t decimation)
{
    vnni::convolve_high(self, out, count, decimation);
}
} // namespace zv::fir
