#include "decoders/blocks.h"

namespace decoders {
Fir make_fir(int32_t design, int32_t taps, double rate, double low, double high)
{
    Fir fir = own<Fir>(ZVFIR1616_Construct(nullptr));
    ZVFIR_SamplingRate(fir.get(), float(rate));
    ZVFIR_TapsNum(fir.get(), taps);
    ZVFIR_CutOffHigh(fir.get(), float(high));
    ZVFIR_CutOffLow(fir.get(), float(low));
    ZVFIR_FIRType(fir.get(), design);
    if (fir->taps_count != (taps | 1))
        throw std::bad_alloc(); // a setter without memory leaves the filter as it was
    return fir;
}

Resampler::Resampler(double from, double to, uint32_t taps_per_phase)
    : resampler_(own<decltype(resampler_)>(ZVResampler32_Construct(nullptr))), from_(from)
{
    ZVResampler32* const resampler = resampler_.get();
    ZVResampler32_Setup(resampler, float(from), float(to), 1e-5f, taps_per_phase);
    if (resampler->taps_count / resampler->over + 1 < int32_t(taps_per_phase)) throw std::bad_alloc();
    rate_ = from * resampler->over / resampler->under;
    delay_ = (resampler->history_length - (resampler->taps_count - 1) / (2.0 * resampler->over)) / from;
}

const std::vector<int16_t>& Resampler::push(const int16_t* samples, size_t count)
{
    const ZVResampler32& resampler = *resampler_;
    out_.resize(count * size_t(resampler.over) / size_t(resampler.under) + 2);
    out_.resize(ZVResampler32_ProcessIn_16_16(resampler_.get(), out_.data(), samples, int32_t(count), 1));
    return out_;
}

const std::vector<int32_t>& Resampler::push32(const int16_t* samples, size_t count)
{
    const ZVResampler32& resampler = *resampler_;
    in32_.resize(count);
    for (size_t k = 0; k < count; ++k) in32_[k] = samples[k] * 32768;
    out32_.resize(count * size_t(resampler.over) / size_t(resampler.under) + 2);
    out32_.resize(
        ZVResampler32_ProcessIn_32_32(resampler_.get(), out32_.data(), in32_.data(), int32_t(count), 1));
    return out32_;
}
} // namespace decoders
