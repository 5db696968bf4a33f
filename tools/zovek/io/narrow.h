// Samples of other types to 16 bits or 32: rounded to nearest, saturated.
#pragma once
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

namespace client {
inline int16_t narrow(int16_t sample) { return sample; }
// Left-justified in 32 bits; the wider type has room for what is beyond full scale.
inline int16_t narrow(int64_t sample)
{
    return int16_t(std::clamp<int64_t>((sample + 0x8000) >> 16, INT16_MIN, INT16_MAX));
}
// To 32 bits.
inline int32_t saturated(int64_t sample)
{
    return int32_t(std::clamp<int64_t>(sample, INT32_MIN, INT32_MAX));
}
inline int16_t narrow(int32_t sample) { return narrow(int64_t(sample)); }
// Reals of full scale 1; what is no number is silence.
inline int16_t narrow(float sample)
{
    if (std::isnan(sample)) return 0;
    return int16_t(std::nearbyint(std::clamp(double(sample) * 32768, -32768.0, 32767.0)));
}

// Left-justified in 32 bits.
inline int32_t wide(int16_t sample) { return sample * 65536; }
inline int32_t wide(int32_t sample) { return sample; }
inline int32_t wide(float sample)
{
    if (std::isnan(sample)) return 0;
    return int32_t(std::nearbyint(std::clamp(double(sample) * 2147483648.0, -2147483648.0, 2147483647.0)));
}

// A sample of full scale 2^31 as an integer of so many bits.
inline int32_t rounded(int32_t sample, int bits)
{
    const int64_t half = int64_t(1) << (31 - bits);
    return int32_t(std::min((sample + half) >> (32 - bits), (int64_t(1) << (bits - 1)) - 1));
}

// Either, by the type of the result.
template <class To, class From>
To to_bits(From sample)
{
    if constexpr (sizeof(To) == 2)
        return narrow(sample);
    else
        return wide(sample);
}
} // namespace client
