// Filters on samples. The taps of the convolutions are whole multiples of 1 / 32768, so they are the same
// wherever they are loaded; the designs are a part of their own.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
static zovek::FIR fir_of(ZVFIR* (*construct)(ZVFIR*), int32_t taps, int32_t block)
{
    zovek::FIR fir(construct);
    ZVFIR_BufferSize(fir, block);
    Dice dice(static_cast<uint32_t>(taps));
    std::vector<float> values(static_cast<size_t>(taps));
    for (float& v : values) v = static_cast<float>(dice.below(65536) - 32768) / 32768;
    fir->set_taps_float(fir, values.data(), taps);
    return fir;
}

// Odd and even counts of groups of taps, one block and several, every sample and every third one; two
// channels, noise at full scale and at both ends of the range.
template <class In, class Out>
static void convolutions(Hash& hash, ZVFIR* (*construct)(ZVFIR*),
                         void (*process)(ZVFIR*, Out*, const In*, int32_t, int32_t, int32_t))
{
    auto input = noise<In>(600, 5);
    const auto lowest = static_cast<In>(In(1) << (8 * sizeof(In) - 1)), highest = static_cast<In>(~lowest);
    for (size_t n = 200; n < 300; ++n) input[n] = n % 7 < 3 ? lowest : highest;
    const auto length = static_cast<int32_t>(input.size());
    for (const int32_t taps : {3, 5, 15, 31, 63, 127})
        for (const int32_t block : {30, 1024})
            for (const int32_t decimation : {1, 3}) {
                const zovek::FIR fir = fir_of(construct, taps, block);
                std::vector<Out> out(input.size() * 2);
                process(fir, out.data(), input.data(), length, 1, decimation);
                process(fir, out.data() + length, input.data() + 1, length - 1, 2, decimation);
                hash.values(out);
            }
}

void fir_16_16(Hash& hash) { convolutions(hash, ZVFIR1616_Construct, ZVFIR1616_Process_16_16); }

void fir_16_32(Hash& hash)
{
    convolutions(hash, ZVFIR1632_Construct, ZVFIR1632_Process_16_32);
    convolutions(hash, ZVFIR1632_Construct, ZVFIR1632_Process_32_32);
}

void fir_32_32(Hash& hash)
{
    convolutions(hash, ZVFIR3232_Construct, ZVFIR3232_Process_32_32);
    convolutions(hash, ZVFIR3232_Construct, ZVFIR3232_Process_16_32);
    convolutions(hash, ZVFIR3232_Construct, ZVFIR3232_Process_32_16);
    convolutions(hash, ZVFIR3232_Construct, ZVFIR3232_Process_16_16);
}

void fir_process2(Hash& hash)
{
    const auto input = noise<int32_t>(150, 6);
    for (const int32_t taps : {3, 5, 31, 63})
        for (const int32_t phase : {0, 1}) {
            const zovek::FIR fir = fir_of(ZVFIR3232_Construct, taps, 200);
            auto* at = static_cast<int32_t*>(fir->history_write);
            std::vector<int32_t> out(input.size());
            for (size_t n = 0; n < input.size(); ++n) at[n] = input[n];
            ZVFIR3232_Process2(fir, out.data(), int32_t(out.size()), phase);
            hash.values(out);
        }
}

// The taps of every design: sines in extended precision, rounded to 16 and to 32 bits.
void fir_designs(Hash& hash)
{
    for (auto* construct : {ZVFIR1616_Construct, ZVFIR3232_Construct})
        for (int32_t type = 0; type <= 6; ++type)
            for (const int32_t taps : {3, 31, 64, 255})
                for (const float rate : {8000.0f, 11025.0f, 48000.0f}) {
                    const zovek::FIR fir(construct);
                    ZVFIR_SamplingRate(fir, rate);
                    ZVFIR_TapsNum(fir, taps);
                    ZVFIR_CutOffLow(fir, 700);
                    ZVFIR_CutOffHigh(fir, 2900);
                    ZVFIR_FIRType(fir, type);
                    const size_t width = construct == ZVFIR1616_Construct ? 2 : 4;
                    hash.bytes(fir->taps, width * static_cast<size_t>(fir->taps_count));
                }
}

template <class Sample>
static void delays(Hash& hash, ZVDelayLine* (*construct)(ZVDelayLine*),
                   void (*process)(ZVDelayLine*, Sample*, const Sample*, int32_t, int32_t))
{
    const auto input = noise<Sample>(500, 7);
    for (const int32_t delay : {0, 1, 17, 300}) {
        const zovek::DelayLine line(construct);
        ZVDelayLine_BufferSize(line, 64);
        ZVDelayLine_Delay(line, delay);
        std::vector<Sample> out(2 * input.size());
        process(line, out.data(), input.data(), int32_t(input.size()), 1);
        process(line, out.data() + input.size(), input.data(), int32_t(input.size()), 2);
        hash.values(out);
    }
}

void delay_lines(Hash& hash)
{
    delays(hash, ZVDelayLine16_Construct, ZVDelayLine16_Process_16_16);
    delays(hash, ZVDelayLine32_Construct, ZVDelayLine32_Process_32_32);
}

void notch(Hash& hash)
{
    const zovek::NotchFilter filter(ZVNotchFilter2_Construct);
    for (const float hz : {300.0f, 1000.0f, 3000.0f}) {
        auto signal = station(1000, 11025, 1000, 30, 15000);
        filter->frequency = hz;
        ZVNotchFilter2_Process16(filter, signal.data(), int32_t(signal.size()));
        hash.values(signal);
    }
}

void lms(Hash& hash)
{
    const auto quiet = station(400, 8000, 1000, 5, 9000), loud = noise<int16_t>(200, 8);
    for (const uint32_t taps : {1u, 4u, 31u, 64u})
        for (const uint32_t error : {0u, 1u}) {
            const zovek::LMS filter(ZVLMS1616_Construct);
            ZVLMS_BufferSize(filter, 100);
            ZVLMS_TapsNum(filter, taps);
            ZVLMS_DelaySize(filter, error * 16);
            filter->output_error = error;
            filter->step_size = error ? 0.002f : 0.25f;
            filter->leakage = error ? 0.00001f : 0.125f;
            for (const auto& signal : {quiet, loud}) {
                std::vector<int16_t> out(signal.size());
                ZVLMS1616_Process_16_16(filter, out.data(), signal.data(), int32_t(out.size()), 1);
                hash.values(out);
            }
            hash.bytes(filter->coefficients, taps * sizeof(int16_t));
        }
}
} // namespace client::selftest
