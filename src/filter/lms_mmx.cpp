// The sum of a window on MMX, four products a step. Sums wrap at 32 bits as the plain one does, so the order
// of adding is free.
#include "core/mmx.h"
#include "filter/lms_kernels.h"

namespace zv::lms {
using namespace mmx_ops;

ZV_MMX ZV_INLINE DWords sum_of_groups(const int16_t* coefficients, const int16_t* window, uint32_t groups)
{
    DWords lanes = {};
    for (; groups != 0; --groups, coefficients += 4, window += 4)
        lanes = add(lanes, multiply_add(load4(coefficients), load4(window)));
    return lanes;
}

ZV_MMX ZV_NOINLINE uint32_t dot_mmx(const int16_t* coefficients, const int16_t* window, uint32_t groups)
{
    return sum(sum_of_groups(coefficients, window, groups));
}

// Extended MMX brings the upper lane down in one shuffle.
ZV_MMX_EXT ZV_NOINLINE uint32_t dot_mmx_ext(const int16_t* coefficients, const int16_t* window,
                                            uint32_t groups)
{
    constexpr int halves_swapped = 0b01'00'11'10;
    const DWords lanes = sum_of_groups(coefficients, window, groups);
    const auto swapped = DWords(shuffled<halves_swapped>(Words(lanes)));
    return static_cast<uint32_t>(lowest(add(lanes, swapped)));
}

// AMD family 5, models 6 to 9: just the groups that hold the taps.
void lms_mmx(ZVLMS1616* self, int16_t* out, uint32_t count)
{
    adapt(self, out, count, [groups = (self->taps_count + 3) / 4](const int16_t* c, const int16_t* h) {
        const MmxScope mmx;
        return dot_mmx(c, h, groups);
    });
}

// AMD family 6 and the extended family.
void lms_mmx_ext(ZVLMS1616* self, int16_t* out, uint32_t count)
{
    adapt(self, out, count, [groups = groups_past(self->taps_count)](const int16_t* c, const int16_t* h) {
        const MmxScope mmx;
        return dot_mmx_ext(c, h, groups);
    });
}
} // namespace zv::lms
