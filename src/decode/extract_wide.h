// Autocorrelation on wide vectors, once for all sets, in the words of core/wide.h. Each set's file includes
// it behind them.
//
// Products of floats are exact in double.
#include "decode/extract_loops.h"

namespace zv::extract {
namespace {
using namespace wide;
constexpr int32_t lanes = width<Reals>;

// Sum of a[k] b[k] in double: four vectors of partial sums, then one, then what is left over.
ZV_SET ZV_INLINE double sum_of_products(const float* a, const float* b, int32_t terms)
{
    Reals sums[4] = {};
    int32_t k = 0;
    for (; k + 4 * lanes <= terms; k += 4 * lanes)
#pragma GCC unroll 4
        for (int32_t v = 0; v < 4; ++v)
            sums[v] += load<Reals>(a + k + lanes * v) * load<Reals>(b + k + lanes * v);
    for (; k + lanes <= terms; k += lanes) sums[0] += load<Reals>(a + k) * load<Reals>(b + k);
    double total = 0;
    for (; k < terms; ++k) total += double(a[k]) * b[k];
    const Reals folded = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    for (int32_t lane = 0; lane < lanes; lane += 2) total += folded[lane] + folded[lane + 1];
    return total;
}

// A sum is off by at most n 2^-53 times the sum of its terms' magnitudes, n being the additions that follow
// one another, and that sum is no more than the energy of the span. So a sum from `sure` on is right to 2^-27
// of itself; below it the terms cancel so far that the extended sum is taken.
ZV_SET inline void correlate(const float* in, float* out, int32_t length, int32_t lags)
{
    const int32_t span = static_cast<int32_t>(std::min(int64_t(length), 2 * int64_t(lags)));
    const int32_t additions = lags / (4 * lanes) + 3 * lanes;
    const double sure = sum_of_products(in, in, span) * additions * 0x1p-26;
    for (int32_t j = 0; j < lags; ++j) {
        const int32_t terms = std::min(lags, length - j - 1);
        const double sum = std::fabs(sum_of_products(in, in + j, terms));
        out[j] = sum >= sure ? static_cast<float>(sum) : magnitude_of_sum(in, in + j, terms);
    }
    normalise(out, lags);
}
} // namespace
} // namespace zv::extract
