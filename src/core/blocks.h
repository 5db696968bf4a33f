// A caller's stream cut into blocks of an object, once for all families.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace zv {
// Samples in a buffer of length elements, step apart: the families differ in a last step that is not whole. A
// step below 1 leads nowhere.
template <class Count>
constexpr Count whole_steps(Count length, Count step)
{
    return step < 1 ? 0 : length / step;
}
constexpr int32_t started_steps(int32_t length, int32_t step)
{
    return length <= 0 || step < 1 ? 0 : static_cast<int32_t>((int64_t(length) + step - 1) / step);
}

// Samples that a call takes which finds them in the object: 0 stands for a whole block, and there are no
// more.
template <class Count>
constexpr Count up_to_block(Count count, Count block)
{
    if (count == 0 || count > block) return block;
    return count < 0 ? 0 : count;
}

// The sample as it is.
struct AsIs {
    template <class T>
    T operator()(T sample) const
    {
        return sample;
    }
};

// Copies count samples, step elements apart, to a contiguous place, each through convert.
template <class To, class From, class Convert = AsIs>
void gather(To* to, const From* from, int32_t count, int32_t step, Convert convert = {})
{
    if (step == 1)
        for (int32_t k = 0; k < count; ++k) to[k] = convert(from[k]);
    else
        for (int32_t k = 0; k < count; ++k) to[k] = convert(from[ptrdiff_t(k) * step]);
}

// Calls block(first, count) for pieces of at most block_size samples, until all are taken. A size below 1
// takes none.
template <class Sample, class Block>
void in_blocks(const Sample* in, int32_t samples, int32_t step, int32_t block_size, Block block)
{
    while (samples > 0 && block_size > 0) {
        const int32_t count = std::min(samples, block_size);
        block(in, count);
        in += ptrdiff_t(count) * step;
        samples -= count;
    }
}
} // namespace zv
