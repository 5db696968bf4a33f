#include "decoders/blocks.h"

namespace decoders {
zovek::FIR make_fir(ZVFIRType design, int32_t taps, double rate, double low, double high)
{
    zovek::FIR fir(ZVFIR1616_Construct);
    ZVFIR_SamplingRate(fir, float(rate));
    ZVFIR_TapsNum(fir, taps);
    ZVFIR_CutOffHigh(fir, float(high));
    ZVFIR_CutOffLow(fir, float(low));
    ZVFIR_FIRType(fir, design);
    if (fir->taps_count != (taps | 1))
        throw std::bad_alloc(); // a setter without memory leaves the filter as it was
    return fir;
}

zovek::FSKCorrDemod make_correlator(double rate, int bit_samples, double tone_1, double tone_2)
{
    zovek::FSKCorrDemod correlator(ZVFSKCorrDemod16_Construct);
    ZVFSKCorrDemod_SamplingRate(correlator, float(rate));
    ZVFSKCorrDemod_BitRate(correlator, float(rate / (bit_samples - 0.5))); // it rounds half a sample up
    ZVFSKCorrDemod_BufferSize(correlator, uint32_t(bit_samples));
    correlator->tone_1 = float(tone_1);
    correlator->tone_2 = float(tone_2);
    if (correlator->samples_per_bit != bit_samples) throw std::bad_alloc();
    return correlator;
}

Resampler::Resampler(double from, double to, uint32_t taps_per_phase) : from_(from)
{
    ZVResampler32_Setup(resampler_, float(from), float(to), 1e-5f, taps_per_phase);
    if (resampler_->taps_count / resampler_->over + 1 < int32_t(taps_per_phase)) throw std::bad_alloc();
    rate_ = from * resampler_->over / resampler_->under;
    delay_ = (resampler_->history_length - (resampler_->taps_count - 1) / (2.0 * resampler_->over)) / from;
}

const std::vector<int16_t>& Resampler::push(const int16_t* samples, size_t count)
{
    out_.resize(count * size_t(resampler_->over) / size_t(resampler_->under) + 2);
    out_.resize(ZVResampler32_ProcessIn_16_16(resampler_, out_.data(), samples, int32_t(count), 1));
    return out_;
}

const std::vector<int32_t>& Resampler::push32(const int16_t* samples, size_t count)
{
    in32_.resize(count);
    for (size_t k = 0; k < count; ++k) in32_[k] = samples[k] * 32768;
    out32_.resize(count * size_t(resampler_->over) / size_t(resampler_->under) + 2);
    out32_.resize(ZVResampler32_ProcessIn_32_32(resampler_, out32_.data(), in32_.data(), int32_t(count), 1));
    return out32_;
}
} // namespace decoders
