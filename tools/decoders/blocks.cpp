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

// What the last stage passes is at most an eighth of the rate that the one before it leaves: between that and
// what would fold onto it lie 0.6 of this rate, where a Blackman window of 10 samples of it falls by 74 dB.
Resampler::Resampler(double from, double to, uint32_t taps) : from_(from), rate_(from)
{
    constexpr double least_left = 4, most_at_once = 8;
    constexpr uint32_t short_taps = 10;
    while (rate_ / to >= 2 * least_left)
        add(rate_ / std::min(most_at_once, std::floor(rate_ / to / least_left)), short_taps);
    add(to, taps);
}

void Resampler::add(double to, uint32_t taps)
{
    const auto length = taps * uint32_t(std::ceil(std::max(1.0, rate_ / to)));
    ZVResampler32* const self = stages_.emplace_back().resampler;
    ZVResampler32_Setup(self, float(rate_), float(to), 1e-5f, length);
    if (self->taps_count / self->over + 1 < int32_t(length)) throw std::bad_alloc();
    delay_ += (self->history_length - (self->taps_count - 1) / (2.0 * self->over)) / rate_;
    rate_ = rate_ * self->over / self->under;
}

const std::vector<int16_t>& Resampler::push(const int16_t* samples, size_t count)
{
    const std::vector<int32_t>& wide = push32(samples, count);
    out_.resize(wide.size());
    for (size_t k = 0; k < wide.size(); ++k) out_[k] = int16_t(std::clamp(wide[k] >> 15, -32768, 32767));
    return out_;
}

const std::vector<int32_t>& Resampler::push32(const int16_t* samples, size_t count)
{
    in32_.resize(count);
    for (size_t k = 0; k < count; ++k) in32_[k] = samples[k] * 32768;
    const std::vector<int32_t>* in = &in32_;
    for (auto& [resampler, out] : stages_) {
        out.resize(in->size() * size_t(resampler->over) / size_t(resampler->under) + 2);
        out.resize(ZVResampler32_ProcessIn_32_32(resampler, out.data(), in->data(), int32_t(in->size()), 1));
        in = &out;
    }
    return *in;
}
} // namespace decoders
