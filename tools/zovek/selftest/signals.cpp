// Hash, dice and signals.
#include "selftest.h"
#include <cstring>

namespace client::selftest {
void Hash::bytes(const void* data, size_t size)
{
    const auto* byte = static_cast<const uint8_t*>(data);
    for (size_t n = 0; n < size; ++n) state_ = (state_ ^ byte[n]) * 0x100000001B3;
}

void Hash::text(const char* text) { bytes(text, std::strlen(text) + 1); }

uint32_t Dice::next()
{
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<uint32_t>((state_ * 0x2545F4914F6CDD1D) >> 32);
}

// One cycle of 2^32 as a triangle between -32768 and 32767.
static int32_t triangle(uint32_t phase)
{
    const auto ramp = static_cast<int32_t>(phase >> 15); // 0 to 2^17 - 1
    return (ramp < 65536 ? ramp : 131071 - ramp) - 32768;
}

std::vector<int16_t> station(size_t count, uint32_t rate, uint32_t hz, uint32_t swing_hz, int32_t level)
{
    const auto step = static_cast<uint32_t>((uint64_t(hz) << 32) / rate);
    const auto swing = static_cast<uint32_t>((uint64_t(swing_hz) << 32) / rate);
    Dice dice(hz + swing_hz);
    std::vector<int16_t> signal(count);
    uint32_t phase = 0, swing_phase = 0;
    for (int16_t& x : signal) {
        const int32_t now = level + level / 2 * triangle(swing_phase) / 32768;
        x = static_cast<int16_t>(now * triangle(phase) / 32768 + dice.below(64));
        phase += step;
        swing_phase += swing;
    }
    return signal;
}
} // namespace client::selftest
