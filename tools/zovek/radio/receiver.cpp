#include "radio/receiver.h"
#include "io/narrow.h"
#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace client {
namespace {
constexpr double full_scale = 2147483648.0; // of 32-bit samples

// A station is as strong as in its loudest block, which is forgotten slower than anybody is silent between
// sentences, but taken for a station's only when it is longer than a crash of lightning: time constants of
// the power, in s.
constexpr double fall_seconds = 10, rise_seconds = 0.25;

// Half a step of the band's 16-bit samples, in 32-bit units.
constexpr int32_t half_step = 1 << 15;

constexpr double most_gain = 100000; // before the detector

// Share of a difference that a time constant in s closes at each sample.
double share_for(double seconds, double rate) { return 1 - std::exp(-1 / (seconds * rate)); }

// Detector samples that wait for the carrier.
int32_t carrier_delay(const Plan& plan)
{
    return plan.mode == ZVDemodMode_SyncAM ? CarrierTrack::delay_of(plan.detector_rate()) : 0;
}

Gaps gaps_of(const Plan& plan)
{
    const auto decimation = int32_t(plan.decimation);
    return {(plan.taps | 1) + plan.channel_taps * decimation, decimation, carrier_delay(plan)};
}

int64_t delay_of(const Plan& plan) { return plan.delay() + int64_t(carrier_delay(plan)) * plan.upsample; }
} // namespace

Receiver::Receiver(const Plan& plan, const Level& level)
    : plan_(plan),
      level_(level),
      front_(double(plan.rate) * plan.stuffing, plan.cutoff, plan.taps | 1, int32_t(plan.decimation)),
      gaps_(gaps_of(plan))
{
    const int32_t rate = plan.rate * plan.stuffing, block = plan.block * plan.stuffing;
    ZVDemodulator_IQDecimation(radio_, plan.decimation);
    ZVDemodulator_AudioUpsample(radio_, plan.upsample);
    ZVDemodulator_SamplingRate(radio_, rate, 1);
    ZVDemodulator_BufferSize(radio_, block, 0);
    ZVDemodulator_PostMixerLength(radio_, plan.taps);
    const int32_t audio_taps = plan.wide ? 3 : plan.audio_taps;
    ZVDemodulator_AudioFilterLength(radio_, audio_taps);
    ZVDemodulator_ISBFilterLength(radio_, plan.hilbert_taps);
    ZVFIR_TapsNum(radio_->noise_filter, plan.noise_taps);
    ZVDemodulator_Mode(radio_, plan.mode);
    radio_->sideband_sign = plan.sideband_sign;
    radio_->sideband_offset = plan.offset;
    ZVDemodulator_PostMixerCutOff(radio_, float(plan.cutoff));
    ZVDemodulator_LocalFrequency(radio_, plan.mixer);
    // A setter that gets no memory leaves the object as it was.
    if (radio_->sampling_rate != rate || radio_->buffer_size != block ||
        radio_->post_mixer_filter_i->taps_count != (plan.taps | 1) ||
        radio_->post_mixer_filter_q->taps_count != (plan.taps | 1) ||
        radio_->audio_filter_1->taps_count != audio_taps ||
        radio_->audio_filter_2->taps_count != audio_taps ||
        radio_->isb_filter->taps_count != plan.hilbert_taps)
        throw std::bad_alloc();

    if (plan.mode == ZVDemodMode_SyncAM) {
        track_.emplace(plan.detector_rate(), plan.search);
        loop_.emplace(plan.detector_rate(), plan.carrier_lift);
    }
    if (plan.wide) {
        wide_.emplace(plan.detector_rate(), plan.audio_cutoff, plan.audio_taps);
        straight_.emplace();
    }
    if (level.deemphasis) deemphasis_.emplace(*level.deemphasis, plan.filter_rate());
    if (level.agc) loudness_.emplace(shaping_rate());
    change_width(plan);
    radio_->filtered_callback = [](void* self, ZVDemodulator*, int32_t count, void* i, void* q) {
        static_cast<Receiver*>(self)->prepare(count, static_cast<int32_t*>(i), static_cast<int32_t*>(q));
    };
    radio_->filtered_context = this;
    radio_->noise_measure_enabled = plan.mode == ZVDemodMode_FM && !plan.wide;
    radio_->audio_gain = float(level.gain.value_or(plan.audio_gain));
    radio_->volume = float(level.volume.value_or(0.5));
}

void Receiver::change_width(const Plan& plan)
{
    const int64_t shaped = plan.wide ? plan.keep : 1;
    const int64_t delay = delay_of(plan) + (loudness_ ? int64_t(loudness_->delay()) * shaped : 0);
    plan_ = plan;
    gaps_ = gaps_of(plan);
    next_ += delay - std::exchange(delay_, delay);
    ZVDemodulator_AudioFilterCutOff(radio_, float(plan.audio_cutoff));
    if (!plan.channel_taps) return;
    channel_i_.emplace(plan.detector_rate(), plan.channel_cutoff, plan.channel_taps);
    channel_q_ = channel_i_;
}

// Between filters and detector.
void Receiver::prepare(int32_t count, int32_t* i, int32_t* q)
{
    if (!in_gap_) resting_ = double(radio_->dc_input_1) - radio_->dc_output_1;
    in_gap_ = count > 0 && bridged(count - 1);
    if (station_power_ == 0) station_power_ = power_of(count, i, q);
    const std::span<const Gap> arriving = gaps_.arriving();
    if (exact())
        front_.run(i, q);
    else // The mixer rounds down, half a unit of 16 bits on average: in a sideband a faint whistle at the offset.
        for (int32_t k = 0; k < count; ++k) { // What is zero isn't rounded.
            const int32_t half = draining_ || arriving[size_t(k)] == Gap::inside ? 0 : half_step;
            i[k] += i[k] < INT32_MAX - half ? half : 0;
            q[k] += q[k] < INT32_MAX - half ? half : 0;
        }
    const auto tell = [&] {
        if (listener_ && !settling_) listener_({i, size_t(count)}, {q, size_t(count)});
    };
    if (track_) {
        tell(); // where it stands, and when
        track_->process(count, i, q, draining_ ? std::span<const Gap>() : arriving);
    }
    if (channel_i_) {
        channel_i_->process(i, size_t(count));
        channel_q_->process(q, size_t(count));
    }
    if (!track_) tell();
    if (gaps_.none()) {
        const double seconds = count / plan_.detector_rate();
        station_power_ = std::clamp(power_of(count, i, q), station_power_ * std::exp(-seconds / fall_seconds),
                                    station_power_ * std::exp(seconds / rise_seconds));
    }
    if (measuring_) measure(count, i, q);
    if (loop_) hold_carrier(count, i, q);
    if (plan_.mode == ZVDemodMode_FM) limit(count, i, q);
    if (levelling_) control_level(count, i, q);
    if (lifted_ > 0)
        for (int32_t k = 0; k < count; ++k) {
            i[k] = saturated(int64_t(i[k]) << lifted_);
            q[k] = saturated(int64_t(q[k]) << lifted_);
        }
    if (plan_.mode == ZVDemodMode_AM || plan_.mode == ZVDemodMode_ISB) bridge_rest(count, i, q);
    if (plan_.mode == ZVDemodMode_SSB) silence_edge(count, i, q);
}

double Receiver::power_of(int32_t count, const int32_t* i, const int32_t* q) const
{
    double sum = 0;
    for (int32_t k = 0; k < count; ++k) sum += double(i[k]) * i[k] + double(q[k]) * q[k];
    return sum / std::max(count, 1) / (full_scale * full_scale);
}

// Whether the errors of the library's mixer and filters would be heard beside this station: above -50 dB of
// its loudest block, some -40 dB of speech; above -65 dB of a broadcast. Else theirs is the result.
bool Receiver::exact() const
{
    const double inaudible = plan_.wide ? 3e-7 : 1e-5;
    return front_.library_error() > inaudible * station_power_;
}

// The peak that the station may come to, by what this block shows: a carrier's peaks are at most twice its
// mean; speech grows to about three times what its first second shows.
void Receiver::measure(int32_t count, const int32_t* i, const int32_t* q)
{
    double peak = 0, sum = 0;
    int32_t seen = 0;
    for (int32_t k = 0; k < count; ++k) {
        if (bridged(k)) continue;
        const double magnitude = std::hypot(i[k], q[k]);
        peak = std::max(peak, magnitude);
        sum += magnitude;
        ++seen;
    }
    if (!seen) return;
    const bool carrier = plan_.mode == ZVDemodMode_AM || plan_.mode == ZVDemodMode_SyncAM;
    expected_peak_ = std::max(expected_peak_, carrier ? std::max(peak, 2.2 * sum / seen) : 3 * peak);
}

// The carrier onto the axis that the detector takes for audio: Q, which it turns no further. Whether it is
// held counts from the recording's start on.
void Receiver::hold_carrier(int32_t count, int32_t* i, int32_t* q)
{
    if (track_->leapt() || !track_->present()) loop_->forget();
    loop_->process(count, i, q, gaps_.marks());
    track_->correct(loop_->release(count));
    const auto station =
        count - std::ranges::count_if(gaps_.marks(), [](Gap mark) { return mark >= Gap::inside; });
    arrived_ += draining_ ? 0 : count;
    through_ += count;
    if (through_ <= 0 || through_ > arrived_) return;
    heard_ += station;
    if (!track_->present() || !loop_->locked()) return;
    held_ += station;
    carrier_offset_ = track_->frequency();
}

// A limiter: the discriminator's products keep 32 bits of a weak station too. In a gap the station's mean
// frequency goes on, and what follows is turned to begin where that is: the discriminator sees no jump. What
// the filters let go last, below a unit of 16 bits, is no signal either.
void Receiver::limit(int32_t count, int32_t* i, int32_t* q)
{
    // The discriminator measures arctan(sin v) of a turn by v, and 2^31 is a cycle.
    const double measured = std::clamp(std::tan(2 * M_PI * resting_ / full_scale), -1.0, 1.0);
    const std::complex<double> step = std::polar(
        1.0, straight_ ? Straightener::share * 2 * M_PI * resting_ / full_scale : std::asin(measured));
    std::complex<double> before =
        straight_ ? straight_->before() : std::complex<double>(radio_->previous_i, radio_->previous_q);
    const double level = straight_ ? 1 : full_scale / 2;
    for (int32_t k = 0; k < count; ++k) {
        std::complex<double> station(i[k], q[k]);
        const double magnitude = std::hypot(i[k], q[k]);
        const bool ebbed = gaps_.marks()[size_t(k)] == Gap::ebbing && magnitude < 2 * half_step;
        if (bridged(k) || ebbed) {
            before *= step;
            bridging_ = true;
        } else {
            if (bridging_ && std::abs(before) > 0)
                turn_ = std::polar(1.0, std::arg(before * step * std::conj(station)));
            bridging_ = false;
            before = station * turn_ * (magnitude > 0 ? level / magnitude : 0);
        }
        const std::complex<double> seen = straight_ ? full_scale / 2 * straight_->push(before) : before;
        i[k] = int32_t(seen.real());
        q[k] = int32_t(seen.imag());
    }
}

// The I/Q gain control, by pieces. The gain stays over those with nothing to be measured by: a gain that
// follows silence has no end. Below half a step of the band's samples there is rounding alone.
void Receiver::control_level(int32_t count, int32_t* i, int32_t* q)
{
    constexpr int32_t piece = 16;
    ZVAGC* agc = radio_->iq_agc;
    const auto quiet = [&](int32_t first, int32_t n) {
        double most = 0;
        for (int32_t k = first; k < first + n; ++k) {
            if (bridged(k)) return true;
            most = std::max(most, double(i[k]) * i[k] + double(q[k]) * q[k]);
        }
        return most < double(half_step) * half_step;
    };
    const double fall = agc->gain_fall_rate, rise = agc->gain_rise_rate;
    for (int32_t first = 0; first < count; first += piece) {
        const int32_t n = std::min(piece, count - first);
        const bool stays = quiet(first, n);
        agc->gain_fall_rate = stays ? 0 : fall;
        agc->gain_rise_rate = stays ? 0 : rise;
        ZVAGC_Process_Stereo32(agc, i + first, q + first, n);
    }
    agc->gain_fall_rate = fall;
    agc->gain_rise_rate = rise;
}

// In a gap AM has the envelope that it had on average, and independent sideband what stood between its
// sidebands: the DC blocker sees no step.
void Receiver::bridge_rest(int32_t count, int32_t* i, int32_t* q)
{
    const bool envelope = plan_.mode == ZVDemodMode_AM;
    const double share = share_for(1 / (2 * M_PI * radio_->dc_cutoff), plan_.detector_rate());
    for (int32_t k = 0; k < count; ++k) {
        if (!bridged(k)) {
            if (!envelope) carrier_ += share * (std::complex<double>(i[k], q[k]) - carrier_);
            continue;
        }
        // the envelope detector takes 1 / sqrt(2)
        const std::complex<double> rest =
            envelope ? std::clamp(resting_ * M_SQRT2, 0.0, full_scale - 1) : carrier_;
        i[k] = int32_t(rest.real());
        q[k] = int32_t(rest.imag());
    }
}

// A sideband has nothing to bridge with: the click of a neighbour where the band begins and ends is cut off.
void Receiver::silence_edge(int32_t count, int32_t* i, int32_t* q)
{
    const int32_t n = std::min(edge_, count);
    std::fill_n(i, n, 0);
    std::fill_n(q, n, 0);
    edge_ -= n;
}

// What shapes the audio, and the output behind it as the demodulator has it. There is no audio where the
// audio filter holds some of a gap.
void Receiver::shape_audio(size_t frames)
{
    const auto* audio = static_cast<const int32_t*>(ZVDemodulator16_TestPoint(radio_, 8));
    const float envelope = plan_.mode == ZVDemodMode_AM ? 2 : 1; // the demodulator's own gain
    const float gain = float(plan_.upsample / full_scale) * (loudness_ ? 1 : envelope * radio_->audio_gain);
    const float volume = radio_->volume * 32768;
    for (size_t j = 0; j < frames; ++j) {
        if (bridged(int32_t(j / plan_.upsample)))
            gap_frames_ = plan_.audio_taps;
        else if (gap_frames_ > 0)
            --gap_frames_;
        float sample = float(audio[j]) * gain;
        if (deemphasis_) sample = deemphasis_->push(sample);
        if (loudness_) sample = loudness_->push(sample, gap_frames_ > 0);
        const float bits = sample * volume; // above the 16th they are fractions
        audio_[2 * j] = audio_[2 * j + 1] =
            saturated(level_.wide ? std::llrint(double(bits) * 65536) : std::llrint(bits) * 65536);
    }
}

// Broadcast FM: audio of the frames that are kept alone, at their rate.
size_t Receiver::shape_wide(size_t frames)
{
    wide_->take({radio_->detector_output, frames}, deemphasis_);
    const double gain = Straightener::share / full_scale * (loudness_ ? 1 : double(radio_->audio_gain));
    const double share = share_for(1 / (2 * M_PI * radio_->dc_cutoff), shaping_rate());
    const float volume = radio_->volume * 32768;
    size_t kept = 0;
    for (size_t j = 0; j < frames; ++j) {
        if (bridged(int32_t(j)))
            gap_frames_ = plan_.audio_taps;
        else if (gap_frames_ > 0)
            --gap_frames_;
        if (int64_t(j) < next_) continue;
        next_ += plan_.keep;
        const double heard = wide_->at(j);
        wide_rest_ += share * (heard - wide_rest_);
        auto sample = float((heard - wide_rest_) * gain);
        if (loudness_) sample = loudness_->push(sample, gap_frames_ > 0);
        const float bits = sample * volume;
        audio_[2 * kept] = audio_[2 * kept + 1] =
            saturated(level_.wide ? std::llrint(double(bits) * 65536) : std::llrint(bits) * 65536);
        ++kept;
    }
    return kept;
}

void Receiver::settle(std::span<const int32_t> band)
{
    const size_t block = size_t(plan_.block);
    const int64_t next = next_;
    settling_ = true;
    const auto pass = [&](bool first) {
        measuring_ = first && plan_.mode != ZVDemodMode_FM;
        expected_peak_ = 0;
        for (size_t at = 0; at < band.size(); at += block) {
            // A steady sound's level stays as long as it does, so nothing else may be learned.
            if (loudness_ && (first || at <= band.size() / 2)) loudness_.emplace(shaping_rate());
            receive(band.subspan(at, std::min(block, band.size() - at)));
        }
        if (measuring_ && !level_.gain) hold_level();
        // The band jumps back. Beside a weak station the click of all the others would set the level.
        if (exact()) edge_ = gaps_.jump() / int32_t(plan_.decimation);
    };
    if (track_) {
        const double due = carrier_delay(plan_) / plan_.detector_rate() * plan_.rate;
        for (auto left = int64_t(std::ceil(due)); left > 0; left -= int64_t(band.size())) pass(false);
        track_->settle();
    }
    pass(true);
    if (exact()) {
        levelling_ = false;
        pass(true);
    }
    if (level_.gain && exact()) lift();
    pass(false);
    measuring_ = false;
    arrived_ = heard_ = held_ = 0;
    through_ = -carrier_delay(plan_);
    // Where the band begins with silence the filters are emptied, else their rest would be heard in it.
    const std::vector<int32_t> silence(block);
    if (is_silent(band.first(std::min(size_t(gaps_.least()), band.size()))))
        for (int64_t left = 2 * delay_ / plan_.upsample; left > 0;
             left -= int64_t(block) * plan_.stuffing / plan_.decimation)
            receive(silence);
    next_ = next;
    settling_ = false;
}

// Starts the I/Q gain control at a gain that brings the expected peak to the target. The gain falls at once
// where a peak goes beyond, and doesn't rise, so that it never breathes with speech, unless the user wants it
// to follow.
void Receiver::hold_level()
{
    const double rate = plan_.detector_rate(), target_db = level_.iq_agc.value_or(target_level_db);
    const double target = full_scale * std::pow(10, target_db / 10), lift = plan_.carrier_lift;
    ZVAGC* agc = radio_->iq_agc;
    levelling_ = true;
    radio_->iq_agc_level = float(target_db + (lift > 1 ? 4.3 : 0)); // a lifted carrier stands above the peaks
    agc->target_level =
        double((full_scale - 1) * Exp_Float(float(radio_->iq_agc_level * std::log(10.0L) / 10)));
    agc->gain = expected_peak_ > 0 ? std::min(target * lift / expected_peak_, most_gain) : most_gain;
    agc->gain_fall_rate = share_for(level_.iq_agc ? 0.5 : 0.002, rate);
    agc->gain_rise_rate = level_.iq_agc ? share_for(0.5, rate) : 0;
}

// Behind the detector there are 16 bits: a weak station that is to have a fixed gain gets what it can of it
// before, a power of two, with room for one 36 dB louder or for all that the output takes.
void Receiver::lift()
{
    constexpr double room = 64, output_room = 4;
    const double least = std::min(full_scale / room / std::max(expected_peak_, 1.0),
                                  *level_.gain * double(radio_->volume) / output_room);
    lifted_ = least > 2 ? int32_t(std::log2(least)) : 0;
    radio_->audio_gain = float(std::ldexp(*level_.gain, -lifted_));
}

const std::vector<int32_t>& Receiver::receive(std::span<const int32_t> band)
{
    const size_t d = plan_.decimation, zeros = size_t(plan_.stuffing);
    band_.assign((band.size() * zeros + d - 1) / d * d, 0);
    for (size_t k = 0; k < band.size(); ++k) band_[k * zeros] = band[k];
    narrow_.resize(band_.size());
    std::ranges::transform(band_, narrow_.begin(), [](int32_t sample) { return narrow(sample); });
    gaps_.look(narrow_);
    process();
    return audio_;
}

const std::vector<int32_t>& Receiver::drain()
{
    draining_ = true;
    band_.assign(size_t(plan_.block) * size_t(plan_.stuffing), 0);
    narrow_.assign(band_.size(), 0);
    const bool cut = exact(); // as at the start, for the click
    if (cut) edge_ = int32_t(band_.size() / plan_.decimation);
    gaps_.look_behind_end(band_.size(), cut);
    process();
    return audio_;
}

// A multiple of D.
void Receiver::process()
{
    const size_t samples = band_.size() / plan_.decimation, frames = samples * plan_.upsample;
    output_.resize(2 * frames);
    front_.take(band_, radio_->oscillator_phase, radio_->local_frequency, radio_->sampling_rate);
    ZVDemodulator16_Process_StereoOut_16_16(radio_, narrow_.data(), output_.data(), uint32_t(narrow_.size()),
                                            1);
    audio_.resize(2 * frames);
    if (!wide_ && (deemphasis_ || loudness_ || (level_.wide && plan_.mode != ZVDemodMode_ISB)))
        shape_audio(frames); // of isb one side is seen
    else if (!wide_)
        std::ranges::transform(output_, audio_.begin(), [](int16_t sample) { return sample * 65536; });

    size_t kept = wide_ ? shape_wide(frames) : 0;
    for (; next_ < int64_t(frames); next_ += plan_.keep, ++kept)
        std::copy_n(&audio_[2 * size_t(next_)], 2, &audio_[2 * kept]);
    next_ -= int64_t(frames);
    audio_.resize(2 * kept);
}
} // namespace client
