// The library's demodulator as a plan sets it up, with what the client does between its filters and its
// detector, and the gain controls, which the client runs itself so that they hold where there is no signal.
//
// A gap in the band, digital silence, is bridged: gains stay, and the detector gets the station's carrier
// unmodulated. So the gap is silent, DC blocker and carrier loop stay where they are, and what follows comes
// at its level.
#pragma once
#include "radio/carrier.h"
#include "radio/channel.h"
#include "radio/deemphasis.h"
#include "radio/front.h"
#include "radio/gaps.h"
#include "radio/loudness.h"
#include "radio/plan.h"
#include "radio/wide.h"
#include <complex>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>
#include <zovek.hpp>

namespace client {
// How the audio's level is made.
struct Level {
    bool agc = false;                 // audio gain control: one loudness
    std::optional<double> deemphasis; // FM: time constant, s
    std::optional<double> iq_agc;     // I/Q gain control that follows fading, target in dB of full scale
    std::optional<double> gain;       // fixed audio gain
    std::optional<double> volume;     // output gain; 0.5
    bool wide = false;                // all bits that the audio filter gives, not the 16 of the output
};

class Receiver {
public:
    // Fails if memory can't be had.
    Receiver(const Plan& plan, const Level& level);

    // Who gets what the detector gets, behind the filters and before any gain: 32-bit I and Q; of synchronous
    // AM as wide as the detector's rate, before the carrier is looked for. What is passed unheard isn't
    // given.
    using Listener = std::function<void(std::span<const int32_t> i, std::span<const int32_t> q)>;
    void listen(Listener listener) { listener_ = std::move(listener); }

    // Before the first sample that isn't silent: another plan that differs in the width alone.
    void change_width(const Plan& plan);
    // Passes the first second of a recording unheard: to find the carrier of synchronous AM, to find the
    // station's level, and to let carrier loop and DC blocker settle.
    void settle(std::span<const int32_t> band);

    // Receives samples of the band, Q31, at most plan.block; what is missing to a multiple of D is taken as
    // silence. Gives the audio, left, right, left, right, of full scale 2^31, with the delay of the filters
    // taken off the start.
    const std::vector<int32_t>& receive(std::span<const int32_t> band);

    // A block of silence behind the recording's end, which brings out what still is in the filters.
    const std::vector<int32_t>& drain();

    // What the detector tells of the station, by the blocks so far.
    struct Readings {
        int32_t noise_level;   // FM: 16-bit units above 5000 Hz
        bool carrier_locked;   // synchronous AM: for most of the time
        double carrier_offset; // synchronous AM: Hz from the mixer, where it was held last
    };
    Readings readings() const { return {radio_->noise_level, 2 * held_ > heard_, carrier_offset_}; }
    bool overload() const { return radio_->overload; } // of the last block

private:
    void prepare(int32_t count, int32_t* i, int32_t* q);
    void measure(int32_t count, const int32_t* i, const int32_t* q);
    void hold_carrier(int32_t count, int32_t* i, int32_t* q);
    void limit(int32_t count, int32_t* i, int32_t* q);
    void control_level(int32_t count, int32_t* i, int32_t* q);
    void bridge_rest(int32_t count, int32_t* i, int32_t* q);
    void silence_edge(int32_t count, int32_t* i, int32_t* q);
    void shape_audio(size_t frames);
    size_t shape_wide(size_t frames);
    double shaping_rate() const { return plan_.wide ? plan_.audio_rate() : plan_.filter_rate(); }
    void hold_level();
    void lift();
    void process();
    bool exact() const;
    double power_of(int32_t count, const int32_t* i, const int32_t* q) const;
    // Whether a detector sample is left out of the station: it comes out of a gap.
    bool bridged(int32_t k) const { return gaps_.marks()[size_t(k)] >= Gap::inside; }

    Plan plan_;
    const Level level_;
    zovek::Demodulator radio_{ZVDemodulator16_Construct};
    Front front_;
    std::optional<CarrierTrack> track_; // synchronous AM
    std::optional<CarrierLoop> loop_;
    std::optional<ChannelFilter> channel_i_, channel_q_;
    std::optional<WideAudio> wide_; // broadcast FM
    std::optional<Straightener> straight_;
    double wide_rest_ = 0; // its mean, which a DC blocker takes off
    std::optional<Deemphasis> deemphasis_;
    std::optional<Loudness> loudness_;
    Gaps gaps_;
    std::vector<int32_t> band_;   // a block, with zeros as the plan wants them
    std::vector<int16_t> narrow_; // the same in 16 bits
    std::vector<int16_t> output_; // the demodulator's
    std::vector<int32_t> audio_;
    int64_t delay_ = 0; // frames of the demodulator's output
    int64_t next_ = 0;  // frame of the demodulator's output, seen from the next block, to be kept
    Listener listener_;
    bool settling_ = false;
    bool measuring_ = false;
    bool levelling_ = false;   // the I/Q gain control runs
    double expected_peak_ = 0; // 32-bit units
    int32_t lifted_ = 0;       // powers of two before the detector, which the fixed gain has less
    double station_power_ = 0; // mean square of I + jQ in the loudest of the last blocks, of full scale
    int32_t edge_ = 0;         // detector samples to come out of filters that hold the band's start or end
    bool in_gap_ = false;      // the last block ended in one
    double resting_ = 0;       // the detector's mean before the last gap, which the DC blocker takes off
    std::complex<double> turn_ =
        1;                   // FM: turns a station into the phase that it would have without the gap before
    int32_t gap_frames_ = 0; // frames until the audio filter holds nothing of a gap
    bool bridging_ = false;  // FM: the sample before was no signal
    std::complex<double> carrier_; // independent sideband: what stands between, 32-bit units
    bool draining_ = false;        // behind the recording's end
    // Synchronous AM, detector samples: those that came, those that are through, without gaps, and with a
    // carrier that was held.
    int64_t arrived_ = 0, through_ = 0, heard_ = 0, held_ = 0;
    double carrier_offset_ = 0; // synchronous AM, Hz
};
} // namespace client
