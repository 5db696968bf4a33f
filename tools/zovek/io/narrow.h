// Samples of other types to 16 bits: rounded to nearest, saturated.
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
} // namespace client
