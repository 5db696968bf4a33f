// The resampler: ratios that keep, raise and lower the rate, by the products of 16-bit samples and of 32-bit
// ones.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
// over, under, taps: one tap beyond whole phases, whole phases, a long filter.
constexpr int32_t ratios[][3] = {{1, 1, 31},       {2, 1, 63},  {1, 3, 127},
                                 {160, 147, 2561}, {7, 9, 113}, {80, 441, 1281}};

template <class Work>
static void each_ratio(Work work)
{
    for (const auto& [over, under, taps] : ratios) {
        const zovek::Resampler resampler(ZVResampler32_Construct);
        ZVResampler32_BufferSize(resampler, 100);
        ZVResampler32_Over(resampler, over);
        ZVResampler32_Under(resampler, under);
        ZVResampler32_TapsNum(resampler, taps);
        work(resampler, static_cast<size_t>(over), static_cast<size_t>(under));
    }
}

template <class Sample>
static void push(Hash& hash, uint32_t (*process)(ZVResampler32*, Sample*, const Sample*, int32_t, int32_t))
{
    const auto signal = noise<Sample>(500, 13);
    each_ratio([&](ZVResampler32* resampler, size_t over, size_t under) {
        std::vector<Sample> out(signal.size() * over / under + 2);
        const auto length = static_cast<int32_t>(signal.size());
        const uint32_t made = process(resampler, out.data(), signal.data(), length, 1);
        hash.value(made);
        hash.bytes(out.data(), made * sizeof(Sample));
    });
}

void resample_push_16(Hash& hash)
{
    push(hash, ZVResampler32_ProcessIn_8_8);
    push(hash, ZVResampler32_ProcessIn_16_16);
}

void resample_push_32(Hash& hash) { push(hash, ZVResampler32_ProcessIn_32_32); }

void resample_pull(Hash& hash)
{
    const auto signal = noise<int16_t>(2000, 14);
    const auto bytes = noise<uint8_t>(2000, 15);
    each_ratio([&](ZVResampler32* resampler, size_t, size_t) {
        for (const uint32_t wanted : {1u, 10u, 77u, 0u, 150u}) {
            std::vector<int16_t> out(wanted);
            std::vector<uint8_t> out_bytes(wanted);
            hash.value(ZVResampler32_InSamples(resampler, wanted));
            ZVResampler32_ProcessOut_16_16(resampler, out.data(), signal.data(), wanted, 1);
            ZVResampler32_ProcessOut_8_8(resampler, out_bytes.data(), bytes.data(), wanted, 1);
            hash.values(out);
            hash.values(out_bytes);
        }
    });
}
} // namespace client::selftest
