// Right unless next to a rounding tie: how a fast form stores the bits of the plain one.
//
// Rounding is a staircase, level between its ties. To whole numbers the ties are k + 1/2; rounding down has
// them at whole numbers, so it is rounding v - 1/2 to nearest; to floats they lie midway between two floats.
// Let the fast form's v and the plain form's x, before rounding, differ by at most e:
//
//   If v lies farther than e from every tie, none lies between v and x, and both round to the same.
//
// So a kernel works in double, knows its e, and takes the plain form, in extended precision, for what lies
// within e of a tie: of fractions spread evenly the part 2e. Where e changes from value to value, v - e and
// v + e tell as well: if both round to the same, so does x. Each kernel says its e, and why.
#pragma once
#include "core/simd.h"
#include <cmath>

namespace zv::ties {
// The whole number nearest to v, ties to even; Real is double or a vector of doubles. From 2^52 to 2^53 the
// last place of a double is 1, so where 1.5 * 2^52 is added, the processor's own rounding leaves no fraction,
// and taking it off is exact. That needs |v| <= 2^51, the usual rounding mode, and registers that keep no
// more than a double: no scalar code for x87.
template <class Real>
struct Nearest {
    Real shifted; // whole + 1.5 * 2^52; the lowest 51 bits of its pattern are those of whole
    Real whole;
    Real rest; // v - whole, exact, at most 1/2
    // By reference: a vector passed by value would hang on the caller's instruction set.
    ZV_INLINE explicit Nearest(const Real& v)
        : shifted(v + 0x1.8p52), whole(shifted - 0x1.8p52), rest(v - whole)
    {
    }
};

// The theorem for a whole number w: where |v - w| is less than this, x rounds to w.
constexpr double sure_rest(double e) { return 0.5 - e; }

// Negative where v is in doubt, so that a loop can collect it by |. Past 2^51 as well: what isn't in doubt
// there is a whole number itself. Infinity, and what is no number, is in doubt.
ZV_INLINE int64_t doubt(double v, double e) { return -int64_t(!(std::fabs(Nearest(v).rest) < sure_rest(e))); }

// The same for an integer whose lowest bits are a fraction, with e in units of the last: fixed point, and the
// pattern of a double on its way to a float, which drops 29 bits of it unless the float is subnormal.
constexpr int float_drops = 29;
template <int bits>
ZV_INLINE constexpr int64_t doubt(uint64_t v, int64_t e)
{
    constexpr uint64_t one = uint64_t(1) << bits;
    return static_cast<int64_t>((v + one / 2 + uint64_t(e)) & (one - 1)) - 2 * e - 1;
}
} // namespace zv::ties
