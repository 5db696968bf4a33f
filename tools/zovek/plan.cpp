#include "plan.h"
#include <algorithm>
#include <cmath>
#include <zovek/demodulator.h>
#include "command.h"
#include "text.h"

namespace client {
namespace {
// What a mode needs. All but the last four columns in Hz.
struct Row {
    uint8_t mode;             // ZVDemodMode
    int32_t sign;             // SSB
    double bandwidth;         // of the station
    double transition;        // from the pass band's edge to full attenuation, post-mixer filters
    double least_detector_rate;
    double audio_cutoff;      // 0: follows the bandwidth
};

// clang-format off
constexpr Row rows[] = {
    //                     sign  bandwidth  transition  least rate  audio
    {ZVDemodMode_AM,          1,      9000,       1500,      16000,     0},
    {ZVDemodMode_SyncAM,      1,      9000,       1500,      48000,     0},
    {ZVDemodMode_ISB,         1,      5600,        700,      12000,     0},
    {ZVDemodMode_SSB,         1,      2400,        600,      12000,     0},
    {ZVDemodMode_SSB,        -1,      2400,        600,      12000,     0},
    {ZVDemodMode_FM,          1,     16000,       4000,      48000,  3000},
};
// clang-format on

constexpr double lowest_audio = 300;     // Hz: lower edge of a sideband of speech
constexpr double audio_transition = 700; // Hz
constexpr double lowest_separated = 120; // Hz: ISB keeps its sidebands apart from here on

// Odd taps of a Blackman window whose transition from pass to stop is that many Hz: 5.5 fs / N.
int32_t taps_for(double rate, double transition)
{
    return std::max(3, int32_t(std::ceil(5.5 * rate / transition))) | 1;
}

std::string hz(double value) { return number(value) + " Hz"; }

// D and U. D is as large as the detector's least rate allows, because everything behind the filters costs by
// the detector sample. A rate in whole Hz is preferred within a tenth, as a file can't tell of another.
void choose_rates(Plan& plan, double least_detector_rate, double least_audio_rate)
{
    const uint32_t most = std::max(1u, uint32_t(plan.rate / least_detector_rate));
    double best = 0;
    for (uint32_t d = most; d >= 1; --d)
        for (uint32_t u = 1; u <= 16; ++u) {
            const double rate = double(plan.rate) * u / d;
            const double cost = rate == std::floor(rate) ? rate : 1.1 * rate;
            if (rate < least_audio_rate || (best > 0 && cost >= best)) continue;
            best = cost;
            plan.decimation = d;
            plan.upsample = u;
        }
    if (best == 0)
        throw Failure("--audio-rate " + number(least_audio_rate),
                      "the most from a recording at " + hz(plan.rate) + " is " + hz(16.0 * plan.rate));
    // About 10 ms at high rates, and at least 8192 samples, so that a call's overhead counts for little.
    const uint32_t samples = std::max(8192u, uint32_t(plan.rate) / 100);
    plan.block = int32_t((samples + plan.decimation - 1) / plan.decimation * plan.decimation);
}
} // namespace

double Plan::delay() const
{
    const double post = (taps - 1) / 2 / double(rate), audio = (audio_taps - 1) / 2 / audio_rate();
    const double hilbert = mode == ZVDemodMode_ISB ? (hilbert_taps - 1) / 2 / detector_rate() : 0;
    return (post + hilbert + audio) * audio_rate();
}

Plan make_plan(int32_t rate, const Wishes& wishes)
{
    const Row& row = rows[int(wishes.mode)];
    const bool ssb = row.mode == ZVDemodMode_SSB;
    const double band = rate / 2.0;
    Plan plan = {.rate = rate, .mode = row.mode, .sideband_sign = row.sign};
    if (rate < 2000) throw Failure("recording", "its rate of " + hz(rate) + " holds no station");

    const double frequency = wishes.frequency.value_or(rate / 4);
    if (frequency > band)
        throw Failure("frequency " + hz(frequency), "the recording's band ends at " + hz(band));
    plan.station = int32_t(frequency);

    // The band that the filters keep lies between the recording's edges, seen from the mixer.
    double width = wishes.bandwidth.value_or(row.bandwidth);
    if (ssb) {
        const double middle = width >= 1000 ? lowest_audio + width / 2 : std::max(800.0, width / 2);
        plan.offset = int32_t(std::lround(wishes.offset.value_or(middle)));
    }
    plan.mixer = plan.station + plan.sideband_sign * plan.offset;
    const double room = 2 * std::min<double>(plan.mixer, band - plan.mixer);
    plan.narrowed = width > room;
    width = std::min(width, room);
    if (width < 200)
        throw Failure("frequency " + hz(frequency),
                      "too near to the edge of the band of 0 to " + hz(band) + " for a station");

    const double least = std::max(row.least_detector_rate, (row.mode == ZVDemodMode_FM ? 3 : 2) * width);
    choose_rates(plan, std::min<double>(least, rate), wishes.audio_rate.value_or(0));

    // Narrow stations get steeper filters. The 6 dB point of a filter is the middle of its transition.
    const double transition = std::min(row.transition, std::max(width / 4, 50.0));
    plan.cutoff = width / 2 + (ssb ? transition / 4 : 0);
    plan.taps = wishes.taps.value_or(taps_for(rate, transition));
    plan.audio_cutoff = wishes.audio_cutoff.value_or(row.audio_cutoff > 0 ? row.audio_cutoff
                                                     : ssb                ? 2.0 * plan.offset
                                                                          : plan.cutoff);
    plan.audio_taps = taps_for(plan.audio_rate(), audio_transition);
    plan.hilbert_taps = std::max(101, int32_t(2 * plan.detector_rate() / lowest_separated)) | 1;
    plan.noise_taps = taps_for(plan.detector_rate(), 4000);

    // Full scale over the audio's peaks: carrier and modulation share an AM station's peak, the sum of a sideband
    // and its Hilbert transform has twice its level, and an FM station's deviation is what is left of half its
    // bandwidth beside the audio.
    const double peak = std::pow(10, target_level_db / 10), root_half = std::sqrt(0.5);
    const double deviation = std::max(width / 2 - plan.audio_cutoff, width / 4);
    switch (plan.mode) {
    case ZVDemodMode_AM: // the chain doubles it
    case ZVDemodMode_SyncAM: plan.audio_gain = 1 / (root_half * peak); break;
    case ZVDemodMode_ISB: plan.audio_gain = 1 / (2 * peak); break;
    case ZVDemodMode_SSB: plan.audio_gain = 1 / peak; break;
    case ZVDemodMode_FM: plan.audio_gain = plan.detector_rate() / deviation; break;
    }
    return plan;
}

std::string explain(const Plan& plan)
{
    const bool ssb = plan.mode == ZVDemodMode_SSB;
    std::string text = "mixer " + hz(plan.station);
    if (ssb) text += (plan.sideband_sign > 0 ? " + " : " - ") + hz(plan.offset) + " = " + hz(plan.mixer);
    text += "; low-pass " + hz(plan.cutoff) + ", " + std::to_string(plan.taps) + " taps at " + hz(plan.rate);
    text += "; / " + std::to_string(plan.decimation) + " = " + hz(plan.detector_rate());
    if (plan.mode == ZVDemodMode_ISB) text += "; Hilbert " + std::to_string(plan.hilbert_taps) + " taps";
    if (ssb) text += "; + " + hz(plan.offset);
    text += "; x " + std::to_string(plan.upsample) + " = " + hz(plan.audio_rate());
    return text + "; low-pass " + hz(plan.audio_cutoff) + ", " + std::to_string(plan.audio_taps) + " taps";
}
} // namespace client
