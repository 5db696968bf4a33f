// Receiver chain: mixer, low-pass and decimation, detector, DC blocker, zero insertion, audio
// low-pass, gain. Every stage keeps its whole stream; a call's stages stand in public vectors.
#pragma once
#include "agc.h"
#include "delay_line.h"
#include "fir.h"
#include "fir_design.h"

namespace reference {
// 16-bit FIR filter with settings and past; a new tap count or block size silences the past.
struct DemodulatorFilter : FirSettings {
    std::vector<int16_t> past;

    void resize_taps(int32_t n)
    {
        if (set_taps(n)) past.clear();
    }
    void resize_block(int32_t n)
    {
        if (set_buffer_size(n)) past.clear();
    }
    template <class Run>
    auto process(Run run, const std::vector<int16_t>& x, int32_t decimation = 1)
    {
        const auto out = run(quantise16(designed()), x, decimation, past);
        past.insert(past.end(), x.begin(), x.begin() + ptrdiff_t(out.size()) * decimation);
        return out;
    }
};

// One-pole DC blocker: y = a y + b (x - previous), b = (1 + a)/2, both rounded to float.
// previous is a 32-bit field, y real.
struct DcBlocker {
    real a, b;

    DcBlocker(real cutoff, real rate)
    {
        const real r = one_pole(cutoff, rate);
        a = to_float(r);
        b = to_float((1 + r) / 2);
    }
    void step(real& y, int32_t& previous, real x) const
    {
        y = a * y + b * (x - previous);
        previous = plain<int32_t>(x);
    }
};

struct Demodulator {
    enum Mode : uint8_t { am, sync_am, isb, ssb, fm };

    // Written at will.
    bool iq_agc_enabled = false, audio_agc_enabled = false, noise_measure_enabled = false;
    float iq_agc_level = -10; // target 10^(level/10) of full scale
    float dc_cutoff = 5;      // Hz
    float audio_gain = 1, volume = 0.5F;
    int32_t sideband_sign = 1, sideband_offset = 800; // +1 or -1, Hz

    // Read only: the setters below change them.
    uint8_t mode = am;
    int32_t buffer_size = 1024, sampling_rate = 44100, local_frequency = 11025;
    uint32_t iq_decimation = 2, audio_upsample = 2;
    float post_mixer_cutoff = 3000;

    // Results and state.
    bool overload = false;
    int32_t noise_level = 0, oscillator_phase = 0, sideband_phase = 0, previous_i = 0, previous_q = 0;
    double carrier_phase = 0, carrier_frequency = 0, carrier_error = 0;
    int32_t dc_input_1 = 0, dc_input_2 = 0, dc_output_1 = 0, dc_output_2 = 0;

    // Members.
    DemodulatorFilter post_mixer_filter_i, post_mixer_filter_q, isb_filter, noise_filter;
    DemodulatorFilter audio_filter_1, audio_filter_2;
    DelayLine<int32_t> isb_delay;
    Agc iq_agc, audio_agc_1;

    // Last output of each stage.
    std::vector<int16_t> mixer_i, mixer_q;
    std::vector<int32_t> filtered_i, filtered_q; // behind iq_agc
    std::vector<int32_t> hilbert, delayed_q;     // independent sideband alone
    std::vector<int32_t> detector;               // not in independent sideband
    std::vector<int16_t> audio_input_1, audio_input_2;
    std::vector<int32_t> audio_output_1, audio_output_2; // 1 behind audio_agc_1

    Demodulator()
    {
        for (auto* f : {&post_mixer_filter_i, &post_mixer_filter_q, &audio_filter_1, &audio_filter_2})
            f->set_type(1);
        isb_filter.set_type(5);
        noise_filter.set_type(2);
        noise_filter.set_cut_off_low(5000);
        audio_agc_1.reset();
        audio_agc_1.target_level = 600000000;
        set_audio_filter_cut_off(3000);
        set_buffer_size(1024, true);
        set_isb_filter_length(31);
        set_mode(am);
        set_sampling_rate(44100, true);
    }

    void set_buffer_size(int32_t size, bool force)
    {
        if (size == buffer_size && !force) return;
        buffer_size = size;
        post_mixer_filter_i.resize_block(size);
        post_mixer_filter_q.resize_block(size);
        const auto n = int32_t(uint32_t(size) / iq_decimation);
        isb_filter.resize_block(n);
        isb_delay.set_buffer_size(n);
        noise_filter.resize_block(n);
        audio_filter_1.resize_block(n * int32_t(audio_upsample));
        audio_filter_2.resize_block(n * int32_t(audio_upsample));
    }
    void set_sampling_rate(int32_t rate, bool force)
    {
        if (rate == sampling_rate && !force) return;
        sampling_rate = rate;
        fill_oscillator();
        oscillator_phase = 0;
        post_mixer_filter_i.set_sampling_rate(float(rate));
        post_mixer_filter_q.set_sampling_rate(float(rate));
        const float detector_rate = to_float(real(rate) / iq_decimation);
        iq_agc.sampling_rate = detector_rate;
        noise_filter.set_sampling_rate(detector_rate);
        const float audio_rate = to_float(real(detector_rate) * audio_upsample);
        audio_agc_1.sampling_rate = audio_rate;
        audio_filter_1.set_sampling_rate(audio_rate);
        audio_filter_2.set_sampling_rate(audio_rate);
    }
    // The members' rates follow with the next set_sampling_rate.
    void set_iq_decimation(uint32_t factor) { set_factor(iq_decimation, factor); }
    void set_audio_upsample(uint32_t factor) { set_factor(audio_upsample, factor); }
    void set_local_frequency(int32_t hz)
    {
        local_frequency = hz;
        update_filters();
    }
    void set_mode(uint8_t value)
    {
        mode = value;
        update_filters();
    }
    void set_post_mixer_cut_off(float hz)
    {
        post_mixer_cutoff = hz;
        if (mode != fm) set_audio_filter_cut_off(mode == ssb ? to_float(2 * real(sideband_offset)) : hz);
        update_filters();
    }
    void set_post_mixer_length(int32_t taps)
    {
        post_mixer_filter_i.resize_taps(taps);
        post_mixer_filter_q.resize_taps(taps);
    }
    void set_audio_filter_cut_off(float hz)
    {
        audio_filter_1.set_cut_off_high(hz);
        audio_filter_2.set_cut_off_high(hz);
    }
    void set_audio_filter_length(int32_t taps)
    {
        audio_filter_1.resize_taps(taps);
        audio_filter_2.resize_taps(taps);
    }
    void set_isb_filter_length(int32_t taps)
    {
        isb_filter.resize_taps(taps);
        isb_delay.set_delay(isb_filter.taps_count >> 1);
    }

    // x: the samples of one call. Gives frames of left and right, audio_upsample for each detector sample.
    std::vector<int16_t> process(const std::vector<int16_t>& x)
    {
        const auto decimation = int32_t(iq_decimation);
        overload = false;
        for (int16_t v : x) overload |= v >= 32000 || v <= -32000;
        mix(x);
        filtered_i = post_mixer_filter_i.process(fir1632, mixer_i, decimation);
        filtered_q = post_mixer_filter_q.process(fir1632, mixer_q, decimation);
        if (iq_agc_enabled && mode != fm) {
            const float exponent = to_float(iq_agc_level * real(0.23025850929940456)); // ln(10)/10
            iq_agc.target_level = to_double(2147483647 * exp_float(exponent));
            iq_agc.stereo32(filtered_i, filtered_q);
        }
        if (mode == isb) return independent_sidebands();
        detector.assign(filtered_i.size(), 0);
        if (mode == am) detect_envelope();
        if (mode == sync_am) detect_synchronous();
        if (mode == ssb) detect_weaver();
        if (mode == fm) detect_frequency();
        return audio();
    }

private:
    struct Turn {
        int32_t c, s;
    };
    std::vector<Turn> oscillator; // never shorter than it was

    // 2147483600 (cos, -sin) of one cycle; the angle is a running sum
    void fill_oscillator()
    {
        oscillator.resize(std::max(oscillator.size(), size_t(sampling_rate)));
        real angle = 0;
        for (int32_t k = 0; k < sampling_rate; ++k, angle += 2 * pi / sampling_rate)
            oscillator[size_t(k)] = {plain<int32_t>(2147483600 * std::cos(angle)),
                                     plain<int32_t>(-2147483600 * std::sin(angle))};
    }
    // Index step hz at the sampling rate, into 0 .. rate - 1.
    int32_t advanced(int32_t phase, int64_t hz) const
    {
        const int64_t next = (phase + hz) % sampling_rate;
        return int32_t(next < 0 ? next + sampling_rate : next);
    }
    void set_factor(uint32_t& field, uint32_t factor)
    {
        factor = std::max(factor, 1U);
        if (factor == field) return;
        field = factor;
        set_buffer_size(buffer_size, true);
    }
    void update_filters()
    {
        post_mixer_filter_i.set_cut_off_high(post_mixer_cutoff);
        post_mixer_filter_q.set_cut_off_high(post_mixer_cutoff);
    }
    real detector_rate() const { return real(sampling_rate) / iq_decimation; }

    // I + jQ = x exp(-j 2 pi f t), Q31 products rounded down
    void mix(const std::vector<int16_t>& x)
    {
        mixer_i.clear();
        mixer_q.clear();
        for (int16_t v : x) {
            const Turn turn = oscillator[size_t(oscillator_phase)];
            mixer_i.push_back(int16_t((int64_t(v) * turn.c) >> 31));
            mixer_q.push_back(int16_t((int64_t(v) * turn.s) >> 31));
            oscillator_phase = advanced(oscillator_phase, local_frequency);
        }
    }

    // d = |I + jQ| / sqrt(2)
    void detect_envelope()
    {
        for (size_t k = 0; k < detector.size(); ++k) {
            const real i = filtered_i[k], q = filtered_q[k];
            detector[k] = plain<int32_t>(0.7071067811865476 * std::sqrt(i * i + q * q));
        }
    }

    // Phase-locked loop that turns the carrier onto X; d = sqrt(2) X. Its state is double.
    void detect_synchronous()
    {
        const real limit = 30 * pi * detector_rate();
        for (size_t k = 0; k < detector.size(); ++k) {
            const real i = filtered_i[k], q = filtered_q[k];
            const real c = std::cos(real(carrier_phase)), s = std::sin(real(carrier_phase));
            const real R = i * c - q * s, X = i * s + q * c, power = R * R + X * X;
            detector[k] = saturate<int32_t>(1.4142135623730951 * X);
            if (power > 0) carrier_error = to_double(R * X / power);
            carrier_frequency =
                to_double(std::clamp(carrier_frequency + real(0.000025F) * carrier_error, -limit, limit));
            real phase = carrier_phase + real(carrier_frequency) + real(0.01F) * carrier_error;
            if (phase > pi)
                phase -= 2 * pi;
            else if (phase <= -pi)
                phase += 2 * pi;
            carrier_phase = to_double(phase);
        }
    }

    // d = Re((I + j sign Q) turned by the second oscillator), Q31 products rounded down, sum wraps
    void detect_weaver()
    {
        for (size_t k = 0; k < detector.size(); ++k) {
            const Turn turn = oscillator[size_t(sideband_phase)];
            const auto q = int32_t(int64_t(sideband_sign) * filtered_q[k]);
            detector[k] = int32_t(((int64_t(filtered_i[k]) * turn.c) >> 31) + ((int64_t(q) * turn.s) >> 31));
            sideband_phase = advanced(sideband_phase, int64_t(sideband_offset) * iq_decimation);
        }
    }

    // d = -2^31/(2 pi) atan2(cross product with the sample before, power of this one)
    void detect_frequency()
    {
        const auto high = [](int32_t a, int32_t b) { return (int64_t(a) * b) >> 32; };
        for (size_t k = 0; k < detector.size(); ++k) {
            const int32_t i = filtered_i[k], q = filtered_q[k];
            const auto cross = int32_t(high(i, previous_q) - high(q, previous_i));
            const auto power = int32_t(high(i, i) + high(q, q));
            detector[k] = plain<int32_t>(std::atan2(real(cross), real(power)) * -341782624.0F);
            previous_i = i;
            previous_q = q;
        }
        if (noise_measure_enabled) measure_noise();
    }

    // Mean |v| of the detector's upper 16 bits behind the high-pass, smoothed with 1 Hz.
    void measure_noise()
    {
        std::vector<int16_t> upper;
        for (int32_t d : detector) upper.push_back(top16(d));
        const real a = one_pole(1, detector_rate());
        real level = noise_level;
        for (int16_t v : noise_filter.process(fir1616, upper))
            level = a * level + (1 - a) * std::fabs(real(v));
        noise_level = plain<int32_t>(level);
    }

    // Phasing method: left and right are delayed Q plus and minus the Hilbert transform of I.
    std::vector<int16_t> independent_sidebands()
    {
        std::vector<int16_t> upper;
        for (int32_t i : filtered_i) upper.push_back(top16(i));
        hilbert = isb_filter.process(fir1632, upper);
        delayed_q = isb_delay.process(filtered_q);

        audio_input_1.assign(hilbert.size() * audio_upsample, 0);
        audio_input_2 = audio_input_1;
        const DcBlocker blocker(dc_cutoff, detector_rate());
        real left = dc_output_2, right = dc_output_1; // crossed over, as the fields are shared
        for (size_t k = 0; k < hilbert.size(); ++k) {
            blocker.step(left, dc_input_1, real(delayed_q[k]) + hilbert[k]);
            blocker.step(right, dc_input_2, real(delayed_q[k]) - hilbert[k]);
            audio_input_1[k * audio_upsample] = plain<int16_t>(left / 65536);
            audio_input_2[k * audio_upsample] = plain<int16_t>(right / 65536);
        }
        dc_output_2 = plain<int32_t>(left);
        dc_output_1 = plain<int32_t>(right);

        audio_output_1 = audio_filter_1.process(fir1632, audio_input_1);
        audio_output_2 = audio_filter_2.process(fir1632, audio_input_2);
        return frames(audio_output_1, audio_output_2, audio_gain);
    }

    // One channel from the detector's samples.
    std::vector<int16_t> audio()
    {
        audio_input_1.assign(detector.size() * audio_upsample, 0);
        const DcBlocker blocker(dc_cutoff, detector_rate());
        real y = dc_output_1;
        for (size_t k = 0; k < detector.size(); ++k) {
            blocker.step(y, dc_input_1, detector[k]);
            audio_input_1[k * audio_upsample] = plain<int16_t>(y / 65536);
        }
        dc_output_1 = plain<int32_t>(y);

        audio_output_1 = audio_filter_1.process(fir1632, audio_input_1);
        if (audio_agc_enabled) {
            audio_agc_1.mono32(audio_output_1);
            return frames(audio_output_1, audio_output_1, 1);
        }
        return frames(audio_output_1, audio_output_1, (mode == am ? 2 : 1) * real(audio_gain));
    }

    // gain x volume x upsampling / 2^16, saturated, left and right in turn
    std::vector<int16_t> frames(const std::vector<int32_t>& left, const std::vector<int32_t>& right,
                                real gain) const
    {
        const real scale = gain * volume * audio_upsample / 65536;
        std::vector<int16_t> out;
        for (size_t j = 0; j < left.size(); ++j) {
            out.push_back(saturate<int16_t>(left[j] * scale));
            out.push_back(saturate<int16_t>(right[j] * scale));
        }
        return out;
    }
};
} // namespace reference
