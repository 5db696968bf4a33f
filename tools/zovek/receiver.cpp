#include "receiver.h"
#include <algorithm>
#include <cmath>
#include <new>

namespace client {
namespace {
constexpr double full_scale = 2147483648.0; // of 32-bit samples

// What is said of a carrier, and the frequency that its filter follows, is smoothed over this time.
constexpr double carrier_seconds = 1;

// Share of a gap that a time constant in s closes at each sample.
double share_for(double seconds, double rate) { return 1 - std::exp(-1 / (seconds * rate)); }

} // namespace

Receiver::Receiver(const Plan& plan, const Level& level)
    : plan_(plan), level_(level), radio_(ZVDemodulator16_Construct(nullptr), [](ZVDemodulator* radio) {
          ZVDemodulator_Destruct(radio, 1);
      })
{
    ZVDemodulator* radio = radio_.get();
    if (!radio) throw std::bad_alloc();
    const int32_t rate = plan.rate * plan.stuffing, block = plan.block * plan.stuffing;
    ZVDemodulator_IQDecimation(radio, plan.decimation);
    ZVDemodulator_AudioUpsample(radio, plan.upsample);
    ZVDemodulator_SamplingRate(radio, rate, 1);
    ZVDemodulator_BufferSize(radio, block, 0);
    ZVDemodulator_PostMixerLength(radio, plan.taps);
    ZVDemodulator_AudioFilterLength(radio, plan.audio_taps);
    ZVDemodulator_ISBFilterLength(radio, plan.hilbert_taps);
    ZVFIR_TapsNum(radio->noise_filter, plan.noise_taps);
    ZVDemodulator_Mode(radio, plan.mode);
    radio->sideband_sign = plan.sideband_sign;
    radio->sideband_offset = plan.offset;
    ZVDemodulator_PostMixerCutOff(radio, float(plan.cutoff));
    ZVDemodulator_AudioFilterCutOff(radio, float(plan.audio_cutoff));
    ZVDemodulator_LocalFrequency(radio, plan.mixer);
    // A setter that gets no memory leaves the object as it was.
    if (radio->sampling_rate != rate || radio->buffer_size != block ||
        radio->post_mixer_filter_i->taps_count != (plan.taps | 1) ||
        radio->post_mixer_filter_q->taps_count != (plan.taps | 1) ||
        radio->audio_filter_1->taps_count != plan.audio_taps ||
        radio->audio_filter_2->taps_count != plan.audio_taps ||
        radio->isb_filter->taps_count != plan.hilbert_taps)
        throw std::bad_alloc();

    if (plan.channel_taps) {
        channel_i_.emplace(plan.detector_rate(), plan.channel_cutoff, plan.channel_taps);
        channel_q_ = channel_i_;
    }
    radio->filtered_callback = prepare;
    radio->filtered_context = this;
    radio->noise_measure_enabled = plan.mode == ZVDemodMode_FM;
    radio->audio_gain = float(level.gain.value_or(plan.audio_gain));
    radio->volume = float(level.volume.value_or(0.5));
    if (level.agc) {
        const double audio_rate = plan.detector_rate() * plan.upsample;
        ZVAGC* agc = radio->audio_agc_1;
        radio->audio_agc_enabled = 1;
        agc->target_level = 0.3 * full_scale / plan.upsample; // the chain multiplies by U behind it
        agc->gain_fall_rate = share_for(0.02, audio_rate);
        agc->gain_rise_rate = share_for(20, audio_rate);
    }
}

// Between filters and detector.
void Receiver::prepare(void* self, ZVDemodulator* radio, int32_t count, void* i_data, void* q_data)
{
    auto *i = static_cast<int32_t*>(i_data), *q = static_cast<int32_t*>(q_data);
    auto* receiver = static_cast<Receiver*>(self);
    // The mixer rounds down, half a unit of 16 bits on average: in a sideband a faint whistle at the offset.
    constexpr int32_t half = 1 << 15;
    for (int32_t k = 0; k < count; ++k) {
        i[k] += i[k] < INT32_MAX - half ? half : 0;
        q[k] += q[k] < INT32_MAX - half ? half : 0;
    }
    if (receiver->channel_i_) {
        receiver->channel_i_->process(i, size_t(count));
        receiver->channel_q_->process(q, size_t(count));
    }
    if (receiver->measuring_) receiver->measure(count, i, q);
    if (radio->mode == ZVDemodMode_SyncAM) receiver->raise_carrier(count, i, q);
    if (radio->mode ==
        ZVDemodMode_FM) // a limiter: the discriminator's products keep 32 bits of a weak station too
        for (int32_t k = 0; k < count; ++k) {
            const double magnitude = std::hypot(i[k], q[k]),
                         gain = magnitude > 0 ? full_scale / 2 / magnitude : 0;
            i[k] = int32_t(i[k] * gain);
            q[k] = int32_t(q[k] * gain);
        }
}

// The peak that the station may come to, by what this block shows: a carrier's peaks are at most twice its mean;
// speech grows to about three times what its first second shows.
void Receiver::measure(int32_t count, const int32_t* i, const int32_t* q)
{
    double peak = 0, sum = 0;
    for (int32_t k = 0; k < count; ++k) {
        const double magnitude = std::hypot(i[k], q[k]);
        peak = std::max(peak, magnitude);
        sum += magnitude;
    }
    const bool carrier = plan_.mode == ZVDemodMode_AM || plan_.mode == ZVDemodMode_SyncAM;
    expected_peak_ = std::max(expected_peak_, carrier ? std::max(peak, 2.2 * sum / count) : 3 * peak);
}

// Exalted carrier: what lies within a few Hz of the carrier comes in stronger than the sidebands, which are
// lowered instead. So the loop holds on to a carrier that fades below its sidebands. The one-pole filter turns
// with the loop's frequency, else the carrier would come out of it late.
void Receiver::raise_carrier(int32_t count, int32_t* i, int32_t* q)
{
    constexpr double corner = 10; // Hz
    const double share = 1 - std::exp(-2 * M_PI * corner / plan_.detector_rate());
    const double sidebands = 1 / plan_.carrier_lift;
    const std::complex<double> turn = std::polar(1.0, 2 * M_PI * carrier_offset_ / plan_.detector_rate());
    std::complex<double> carrier = carrier_;
    for (int32_t k = 0; k < count; ++k) {
        carrier *= turn;
        carrier += share * (std::complex<double>(i[k], q[k]) - carrier);
        i[k] = int32_t(sidebands * i[k] + (1 - sidebands) * carrier.real());
        q[k] = int32_t(sidebands * q[k] + (1 - sidebands) * carrier.imag());
    }
    carrier_ = carrier;
}

void Receiver::settle(const std::vector<int16_t>& band, int32_t channels, int32_t channel)
{
    const size_t frames = band.size() / size_t(channels), block = size_t(plan_.block);
    for (const bool first : {true, false}) {
        measuring_ = first && !level_.gain && plan_.mode != ZVDemodMode_FM;
        for (size_t at = 0; at < frames; at += block)
            receive(band.data() + at * size_t(channels), std::min(block, frames - at), channels, channel);
        if (measuring_) hold_level();
        carrier_offset_ = loop_offset();
    }
    next_ = plan_.delay();
}

// Starts the I/Q gain control at a gain that brings the expected peak to the target. The gain falls at once where a
// peak goes beyond, and doesn't rise, so that it never breathes with speech, unless the user wants it to follow.
void Receiver::hold_level()
{
    const double rate = plan_.detector_rate(), target_db = level_.iq_agc.value_or(target_level_db);
    const double target = full_scale * std::pow(10, target_db / 10), lift = plan_.carrier_lift;
    ZVAGC* agc = radio_->iq_agc;
    radio_->iq_agc_enabled = 1;
    radio_->iq_agc_level = float(target_db + (lift > 1 ? 3 : 0)); // a lifted carrier stands above the peaks
    agc->gain = expected_peak_ > 0 ? std::min(target * lift / expected_peak_, 10000.0) : 1;
    agc->gain_fall_rate = share_for(level_.iq_agc ? 0.5 : 0.002, rate);
    agc->gain_rise_rate = level_.iq_agc ? share_for(0.5, rate) : 0;
}

const std::vector<int16_t>& Receiver::receive(const int16_t* band, size_t count, int32_t channels,
                                              int32_t channel)
{
    const size_t d = plan_.decimation, u = plan_.upsample, zeros = size_t(plan_.stuffing);
    const size_t whole = (count * zeros + d - 1) / d * d;
    const bool as_it_is = zeros == 1 && whole == count;
    if (!as_it_is) {
        band_.assign(whole, 0);
        for (size_t k = 0; k < count; ++k) band_[k * zeros] = band[k * size_t(channels) + size_t(channel)];
    }
    const size_t frames = whole / d * u;
    audio_.resize(2 * frames);
    const uint32_t step = as_it_is ? uint32_t(channels) : 1;
    ZVDemodulator16_Process_StereoOut_16_16(radio_.get(), as_it_is ? band + channel : band_.data(),
                                            audio_.data(), uint32_t(whole) * step, step);
    if (plan_.mode == ZVDemodMode_SyncAM) follow_carrier(int32_t(whole / d));

    size_t kept = 0;
    for (; next_ < int64_t(frames); next_ += plan_.keep, ++kept)
        std::copy_n(&audio_[2 * size_t(next_)], 2, &audio_[2 * kept]);
    next_ -= int64_t(frames);
    audio_.resize(2 * kept);
    return audio_;
}

// Smoothed values for the summary and for raise_carrier.
void Receiver::follow_carrier(int32_t count)
{
    const auto* i = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio_.get(), 3));
    const auto* q = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio_.get(), 4));
    double power = 0, on_axis = 0;
    for (int32_t k = 0; k < count; ++k) {
        power += double(i[k]) * i[k] + double(q[k]) * q[k];
        on_axis += double(radio_->detector_output[k]) * radio_->detector_output[k] / 2; // d is sqrt(2) X
    }
    const double share = 1 - std::exp(-count / (carrier_seconds * plan_.detector_rate()));
    if (power > 0) carrier_coherence_ += share * (on_axis / power - carrier_coherence_);
    carrier_offset_ += share * (loop_offset() - carrier_offset_);
}

// The loop turns the other way.
double Receiver::loop_offset() const
{
    return -radio_->carrier_frequency * plan_.detector_rate() / (2 * M_PI);
}
} // namespace client
