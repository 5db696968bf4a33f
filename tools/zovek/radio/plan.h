// The frequency plan of a reception: from the recording's rate and the user's wishes to every setting of the
// demodulator. Pure arithmetic; docs/receive.md tells the thoughts behind it.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace client {
enum class Mode { am, sam, isb, usb, lsb, fm, wfm, cw };
constexpr const char* mode_names[] = {"am", "sam", "isb", "usb", "lsb", "fm", "wfm", "cw"};

// What the user asks for. Frequencies in Hz; what isn't there is chosen by the plan.
struct Wishes {
    Mode mode = Mode::am;
    int32_t centre = 0;               // where frequencies count from; they are negative below
    int64_t origin = 0;               // what stands at the centre: 0, or a true frequency
    std::optional<int64_t> frequency; // (suppressed) carrier, seen so; Fs / 4 in the recording
    std::optional<double> bandwidth;  // of the whole station; in usb and lsb of the sideband
    std::optional<double> audio_cutoff;
    std::optional<int32_t> taps;   // of the post-mixer filters
    std::optional<int32_t> offset; // usb, lsb: the middle of the sideband, seen from the carrier
    std::optional<int32_t> pitch;  // cw: the tone at which the carrier is heard, Hz
    std::optional<int32_t> audio_rate;
};

struct Plan {
    int32_t rate;     // of the recording
    int32_t stuffing; // 1, or the demodulator gets each sample with stuffing - 1 zeros: Fs = rate * stuffing
    uint32_t decimation; // D
    uint32_t upsample;   // U
    int32_t keep;        // every keep-th frame is kept
    int64_t over = 1;    // the kept audio is resampled by over / under, in lowest terms
    int64_t under = 1;
    int32_t centre;        // where the user's frequencies count from, Hz
    int64_t origin;        // and what they are there, Hz
    int32_t block;         // samples of the recording in a Process call; times stuffing a multiple of D
    uint8_t mode;          // ZVDemodMode
    bool wide;             // broadcast FM: WideAudio makes the audio, not the library's audio filter
    int32_t sideband_sign; // SSB: +1 upper, -1 lower
    int32_t offset;        // SSB: second oscillator, Hz
    int32_t station;       // carrier in the recording, Hz
    int32_t mixer;         // Hz
    double width;          // of the station, Hz
    double cutoff;         // post-mixer filters, Hz
    double audio_cutoff;   // audio filters, Hz
    double channel_cutoff; // channel filter behind the decimation, Hz
    int32_t channel_taps;  // of the channel filter; 0: the post-mixer filters alone cut the station out
    int32_t taps, audio_taps, hilbert_taps, noise_taps;
    double audio_gain;    // brings the largest expected audio to full scale
    double carrier_lift;  // synchronous AM: carrier over sidebands
    double search;        // synchronous AM: the carrier is looked for so far from the dial, Hz
    bool narrowed;        // the band's edge left less than the wanted bandwidth
    bool may_narrow;      // the width is a default, which may give way to a neighbour
    bool crowded = false; // it has: width and channel filter are narrower

    int64_t frequency() const { return station - centre + origin; } // Hz, as the user counts
    double detector_rate() const { return double(rate) * stuffing / decimation; }
    double filter_rate() const { return detector_rate() * upsample; } // of the audio filters
    double audio_rate() const { return filter_rate() / keep; }        // as the demodulator gives it
    double output_rate() const { return audio_rate() * double(over) / double(under); } // as written
    // Audio samples that an output of the resampler is made of.
    int32_t resampler_taps() const;
    // Group delay of the filters before what Receiver::listen gives, in detector samples.
    double detector_delay() const;
    // Group delay of all filters, in samples at filter_rate.
    int64_t delay() const;
};

// Odd taps of a Blackman window whose transition from pass to stop is that many Hz: 5.5 fs / N.
int32_t taps_for(double rate, double transition);

// Level of a station's peaks behind the post-mixer filters, in dB of full scale on the power scale of the I/Q
// gain control: a quarter of full scale.
constexpr double target_level_db = -6;

// Where a mode's station of the default bandwidth lies, in Hz from its carrier.
struct Sides {
    double low, high;
};
Sides passband(Mode mode);

// Fails with the reason if the station can't be received from a recording of this rate.
Plan make_plan(int32_t rate, const Wishes& wishes);
// The plan in lines of arithmetic.
std::string explain(const Plan& plan);
} // namespace client
