// Data and tones.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
constexpr int32_t rate = 22050;

// Two tones by turns of random length, 1200 bits a second, as the sum of two stations that are on and off.
static std::vector<int16_t> keyed(size_t count)
{
    const auto mark = station(count, rate, 1200, 1, 9000), space = station(count, rate, 2200, 1, 9000);
    Dice dice(11);
    std::vector<int16_t> signal(count);
    for (size_t n = 0, change = 0, on = 0; n < count; ++n) {
        if (n == change) {
            change += 18 * static_cast<size_t>(1 + dice.below(3)) + size_t(dice.below(2));
            on = !on;
        }
        signal[n] = on ? mark[n] : space[n];
    }
    return signal;
}

void fsk_corr_demod(Hash& hash)
{
    const auto signal = keyed(2000);
    const zovek::FSKCorrDemod demodulator(ZVFSKCorrDemod16_Construct);
    ZVFSKCorrDemod_BufferSize(demodulator, 333);
    std::vector<int16_t> out(signal.size());
    for (const float bit_rate : {1200.0f, 300.0f}) {
        ZVFSKCorrDemod_BitRate(demodulator, bit_rate);
        ZVFSKCorrDemod16_Process_16_16(demodulator, signal.data(), out.data(), int32_t(out.size()), 1);
        hash.values(out);
    }
}

void fsk_delay_demod(Hash& hash)
{
    const auto signal = keyed(2000);
    const zovek::FSKDelayDemod demodulator(ZVFSKDelayDemod16_Construct);
    ZVFSKDelayDemod_SamplingRate(demodulator, rate);
    ZVFSKDelayDemod16_BufferSize(demodulator, 100);
    ZVDelayLine_Delay(demodulator->delay_line, 9);
    ZVFIR_CutOffHigh(demodulator->post_filter, 900);
    std::vector<int16_t> out(signal.size());
    for (const uint32_t differentiate : {0u, 1u}) {
        demodulator->differentiate = differentiate;
        ZVFSKDelayDemod16_Process(demodulator, out.data(), signal.data(), int32_t(out.size()), 1);
        hash.values(out);
    }
}

// The level of a demodulator for random bits of 18.375 samples: each sample goes a quarter of the way to its
// bit.
static std::vector<int16_t> soft_bits(size_t count)
{
    Dice dice(12);
    std::vector<int16_t> level(count);
    int32_t bit = 0, now = 0;
    for (size_t n = 0; n < count; ++n) {
        if (n % 147 % 18 == 0) bit = dice.below(2) ? 8000 : -8000;
        now += (bit - now) / 4;
        level[n] = static_cast<int16_t>(now + dice.below(500));
    }
    return level;
}

// Bits and runs of bits as they are delivered.
void data_formatter(Hash& hash)
{
    const auto level = soft_bits(4000);
    const zovek::DataFormatter formatter(ZVDataFormatter2_Construct);
    formatter->bit_rate = 1200;
    formatter->sampling_rate = rate;
    formatter->loop_gain = 0.25;
    formatter->user_data = reinterpret_cast<uintptr_t>(&hash);
    formatter->callback = [](uintptr_t to, ZVDataFormatter2*, int32_t count, int32_t value) {
        reinterpret_cast<Hash*>(to)->value(count * 2 + value);
    };
    const auto length = static_cast<int32_t>(level.size());
    const std::vector<int32_t> wide(level.begin(), level.end());
    ZVDataFormatter2_DPLL_16(formatter, level.data(), length, 1);
    ZVDataFormatter2_DPLL_32(formatter, wide.data(), length, 1);
    ZVDataFormatter2_Init(formatter);
    ZVDataFormatter2_Process_16(formatter, level.data(), -1, length, 1);
    ZVDataFormatter2_Process_16(formatter, level.data(), -64, length, 1);
}

void tone_detector_corr(Hash& hash)
{
    auto signal = keyed(1500);
    for (size_t n = 0; n < 300; ++n)
        signal[n] = n / 9 % 2 ? -32768 : 32767; // beyond what 16 bits of power hold
    for (const float seconds : {0.0001f, 0.00025f, 0.001f, 0.004f}) {
        const zovek::ToneDetectorCorr detector(ZVToneDetectorCorr16_Construct);
        ZVToneDetectorCorr_ToneLength(detector, seconds);
        ZVToneDetectorCorr_ToneFrequency(detector, 1225);
        ZVToneDetectorCorr_BufferSize(detector, 200);
        std::vector<int16_t> out(signal.size());
        ZVToneDetectorCorr16_Process_16_16(detector, signal.data(), out.data(), uint32_t(out.size()), 1);
        hash.values(out);
    }
}
} // namespace client::selftest
