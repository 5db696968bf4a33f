#include "radio/plan.h"
#include "io/converter.h"
#include "line/failure.h"
#include "words/words.h"
#include <algorithm>
#include <cmath>
#include <utility>
#include <zovek/demodulator.h>

namespace client {
using namespace words;
namespace {
// What a mode needs. Shape of the post-mixer filters as parts of the bandwidth: where they are 6 dB down, and
// how far it is from pass band to full attenuation.
struct Row {
    uint8_t mode;         // ZVDemodMode
    int32_t sign;         // SSB
    double bandwidth;     // Hz, of the station
    double cutoff;        // of the bandwidth
    double transition;    // of the bandwidth
    double detector_rate; // the least, of the bandwidth
    double audio_cutoff;  // Hz; 0: follows the bandwidth
    double audio_gain;    // full scale over the peaks of its audio; 0: by FM's deviation
    int32_t pitch = 0;    // Hz, at which its carrier is heard
    bool wide = false;    // broadcast FM
};

// clang-format off
constexpr Row rows[] = {
    //                   sign  bandwidth  cut-off  transition  detector  audio  gain
    {ZVDemodMode_AM,        1,      9000,    0.50,      0.167,     1.75,     0, M_SQRT2},
    {ZVDemodMode_SyncAM,    1,      5600,    0.50,      0.065,     1.05,     0, M_SQRT1_2},
    {ZVDemodMode_ISB,       1,      5400,    0.50,      0.125,     2.00,     0, 1},
    {ZVDemodMode_SSB,       1,      2400,    0.56,      0.250,     4.00,     0, 2},
    {ZVDemodMode_SSB,      -1,      2400,    0.56,      0.250,     4.00,     0, 2},
    {ZVDemodMode_FM,        1,     16000,    0.28,      0.875,     6.00,  3000, 0},
    {ZVDemodMode_FM,        1,    200000,    0.50,      0.200,     1.20, 17000, 0, 0, true},
    {ZVDemodMode_SSB,       1,       500,    0.50,      0.250,     4.00,     0, 2, 600},
};
// clang-format on

// A filter of more taps than this is cut in two: with 16 bits its taps come close to their rounding, and its
// stop band rises above -55 dB.
constexpr int32_t most_exact_taps = 2000;
constexpr double lowest_audio = 300;     // Hz: lower edge of a sideband of speech
constexpr double audio_transition = 700; // Hz
constexpr double farthest_search = 500;  // Hz: where a carrier that is off tune is looked for
constexpr double lowest_separated = 120; // Hz: ISB keeps its sidebands apart from here on

// Broadcast FM, Hz. Its audio is whole up to 15 kHz, and the pilot tone at 19 kHz is gone.
constexpr double wide_deviation = 75000;
constexpr double wide_transition = 4000;
constexpr double least_wide = 40000; // of a station
constexpr int32_t wide_audio_rate = 48000;

// Of the audio filter, Hz: sharp where the output's rate leaves no room.
double transition_of(const Row& row, int64_t audio_rate)
{
    return row.wide && audio_rate >= 2 * row.audio_cutoff + wide_transition ? wide_transition
                                                                            : audio_transition;
}

std::string hz(double value) { return number(value) + " Hz"; }

// Zeros, D, U and the frames that are kept, so that the detector runs at least_detector_rate at least, and
// the audio comes at the lowest rate that is least_audio_rate; false if there is none. A rate in whole Hz is
// preferred to one that is lower by less than the factor of a fraction. Among rates within a hundredth D is
// the largest: what stands behind the filters costs by the detector sample.
bool search_rates(Plan& plan, double least_detector_rate, double least_audio_rate, uint32_t most_upsample,
                  double fraction = 1.1) // a tenth: a file can't tell of a fraction
{
    plan.stuffing = std::clamp(int32_t(std::ceil(least_detector_rate / plan.rate)), 1, 4);
    const double fs = double(plan.rate) * plan.stuffing;
    double best = 0;
    for (uint32_t d = std::max(1u, uint32_t(fs / least_detector_rate)); d >= 1; --d)
        for (uint32_t u = 1; u <= most_upsample; ++u) {
            const int32_t most = int32_t(fs * u / d / least_audio_rate);
            for (int32_t keep = std::max(1, most - 8); keep <= most; ++keep) {
                const double rate = fs * u / d / keep,
                             cost = rate == std::floor(rate) ? rate : fraction * rate;
                if (best > 0 && cost >= 0.99 * best) continue;
                best = cost;
                plan.decimation = d;
                plan.upsample = u;
                plan.keep = keep;
            }
        }
    return best > 0;
}

// The same for broadcast FM, where the detector's rate is what costs: the lowest, but for one up to a third
// above it that gives the audio's rate by division, or is one in whole Hz.
void search_wide_rates(Plan& plan, double least_detector_rate, int64_t audio_rate, double least_audio_rate)
{
    plan.stuffing = std::clamp(int32_t(std::ceil(least_detector_rate / plan.rate)), 1, 4);
    const int64_t fs = int64_t(plan.rate) * plan.stuffing;
    const auto most = std::max(int64_t(1), int64_t(double(fs) / least_detector_rate));
    const auto largest = [&](int64_t divisor) {
        for (int64_t d = most; 4 * d >= 3 * most; --d)
            if (fs % (d * divisor) == 0) return d;
        return int64_t(0);
    };
    const int64_t exact = largest(audio_rate), whole = largest(1);
    const int64_t d = exact > 0 ? exact : whole > 0 ? whole : most;
    plan.decimation = uint32_t(d);
    plan.upsample = 1;
    plan.keep =
        std::max(1, int32_t(double(fs) / double(d) / (exact > 0 ? double(audio_rate) : least_audio_rate)));
}

// over / under brings the audio's rate to that of the output. Where the exact ratio needs too large a table,
// as between rates that are primes, it is the last convergent of its continued fraction that doesn't: some
// 1e-9 off.
void choose_ratio(Plan& plan, int64_t rate)
{
    constexpr int64_t most_taps = 1 << 23; // 200 MB a channel
    plan.over = rate * plan.decimation * plan.keep;
    plan.under = int64_t(plan.rate) * plan.stuffing * plan.upsample;
    const int64_t most_over = std::min(most_taps / plan.resampler_taps(), most_factor);
    int64_t a = plan.over, b = plan.under, over = 1, under = 0, over_before = 0, under_before = 1;
    while (b != 0) {
        const int64_t q = a / b, next_over = q * over + over_before, next_under = q * under + under_before;
        if (next_over > most_over || next_under > most_factor) break;
        over_before = std::exchange(over, next_over);
        under_before = std::exchange(under, next_under);
        a = std::exchange(b, a % b);
    }
    if (over == 0 || under == 0)
        throw Failure("audio at " + hz(double(rate)),
                      "too far from the " + hz(plan.audio_rate()) + " that the demodulator gives");
    plan.over = over;
    plan.under = under;
}

// Where the band ends, for messages: at half the recording's rate; of I/Q to either side of the centre.
std::string band_of(const Plan& plan)
{
    const double low = double(plan.origin - plan.centre), high = low + plan.rate / 2.0;
    return (low != 0 ? "reaches from " + exact(low) + " Hz to " : "ends at ") + exact(high) + " Hz";
}

// ---- The five steps of a plan, each on what those before it found ----

// 1. The station's place in the band: carrier, mixer and width, all in Hz. It lies between the edges of the
// band, seen from the mixer: width <= 2 min(mixer, rate / 2 - mixer). Of a sideband the mixer is the middle,
// and a band that ends within it leaves its lower part.
void place_station(Plan& plan, const Row& row, const Wishes& wishes)
{
    const double band = plan.rate / 2.0;
    const int64_t station =
        wishes.frequency ? *wishes.frequency - plan.origin + plan.centre : int64_t(plan.rate / 4);
    const std::string name = "frequency " + exact(double(station - plan.centre + plan.origin)) + " Hz";
    if (station < 0 || double(station) > band) throw Failure(name, "the recording's band " + band_of(plan));
    plan.station = int32_t(station);

    const double width = wishes.bandwidth.value_or(row.bandwidth);
    if (row.pitch > 0) {
        plan.offset = wishes.pitch.value_or(row.pitch);
        if (width > 2.0 * plan.offset)
            throw Failure("a bandwidth of " + hz(width), "of cw at most twice its pitch");
    } else if (row.mode == ZVDemodMode_SSB) {
        const double reach = (row.sign > 0 ? band - plan.station : plan.station) - lowest_audio;
        const double kept = std::min(width, std::max(reach, 0.0));
        const double middle = width < 1000 ? std::max(800.0, width / 2) : lowest_audio + kept / 2;
        plan.offset = wishes.offset.value_or(int32_t(std::lround(middle)));
    }
    plan.mixer = plan.station + (row.pitch > 0 ? 0 : plan.sideband_sign * plan.offset);
    const double room = 2 * std::min<double>(plan.mixer, band - plan.mixer);
    plan.narrowed = width > room;
    plan.width = std::min(width, room);
    plan.may_narrow = (row.mode == ZVDemodMode_AM || row.mode == ZVDemodMode_FM) && !row.wide &&
                      !plan.narrowed && !wishes.bandwidth && !wishes.audio_cutoff && !wishes.taps;
    if (row.wide && plan.width < least_wide)
        throw Failure(name, "of the station " + hz(plan.width) + " are left, and wfm takes " +
                                hz(least_wide) + " at least");
    if (plan.width < 50)
        throw Failure(name, "the station would reach beyond the band, which " + band_of(plan));
}

// 2. The edges of the filters, in Hz: of the station and of the audio, which ends where the output can't
// carry it. A station whose filter would be too long gets a second one behind the decimation.
void choose_edges(Plan& plan, const Row& row, const Wishes& wishes)
{
    plan.cutoff = row.cutoff * plan.width;
    plan.search = row.mode == ZVDemodMode_SyncAM ? std::min(farthest_search, plan.width / 2) : 0;
    if (!wishes.taps &&
        (plan.search > 0 || taps_for(plan.rate, row.transition * plan.width) > most_exact_taps))
        plan.channel_cutoff = plan.cutoff;
    const double follows = row.pitch > 0                 ? plan.offset + plan.width
                           : row.mode == ZVDemodMode_SSB ? 2.0 * plan.offset
                                                         : plan.cutoff;
    plan.audio_cutoff = wishes.audio_cutoff.value_or(row.audio_cutoff > 0 ? row.audio_cutoff : follows);
    if (wishes.audio_rate)
        plan.audio_cutoff =
            std::min(plan.audio_cutoff, (*wishes.audio_rate - transition_of(row, *wishes.audio_rate)) / 2);
}

// 3. The rates behind the mixer, in Hz. Audio at a rate that was asked for comes by division where that gives
// it, else through the resampler, from one that has the audio in the part that the resampler leaves as it is.
void choose_rates(Plan& plan, const Row& row, const Wishes& wishes)
{
    double least_detector = std::max(row.detector_rate * plan.width, 4.0 * plan.offset);
    const bool fast = taps_for(plan.rate, row.transition * plan.width) > most_exact_taps;
    if (plan.channel_cutoff > 0) // the first filter has room to fall
        least_detector = std::min<double>(
            std::max({least_detector, (fast && !row.wide ? 4 : 2.1) * plan.width, fast ? 24000.0 : 12000.0}),
            plan.rate);
    // The carrier loop is as fast as its rate, and better slow.
    const uint32_t upsample = plan.mode == ZVDemodMode_SyncAM ? 2 : 1;
    const double least = std::min<double>(std::max(12000.0, 2.2 * plan.audio_cutoff), plan.rate);
    if (!wishes.audio_rate) {
        search_rates(plan, least_detector, least, upsample);
        return;
    }
    constexpr double untouched = 0.8; // by the resampler, of half the lower rate
    const int64_t rate = *wishes.audio_rate;
    const double top = plan.audio_cutoff + transition_of(row, rate) / 2,
                 least_resampled = std::max(12000.0, 2 * top / untouched);
    if (row.wide) {
        search_wide_rates(plan, std::max(least_detector, least_resampled), rate, least_resampled);
        choose_ratio(plan, rate);
        return;
    }
    if (search_rates(plan, least_detector, double(rate), 16) &&
        rate * plan.decimation * plan.keep == int64_t(plan.rate) * plan.stuffing * plan.upsample)
        return;
    // From a rate in whole Hz any other is an exact ratio of small numbers.
    search_rates(plan, least_detector, std::min(least_resampled, 2.0 * plan.rate), 2, 2);
    choose_ratio(plan, rate);
}

// About 10 ms at high rates, and at least 8192 samples, so that a call's overhead counts for little.
void choose_block(Plan& plan)
{
    const uint32_t samples = std::max(8192u, uint32_t(plan.rate) / 100), d = plan.decimation;
    plan.block = int32_t((samples + d - 1) / d * d);
}

// 4. The lengths of the filters, in taps at the rates where they run. Of two stages the first keeps the
// station free of aliases, so it may fall up to where the detector's rate folds onto the station's edge; the
// second cuts it out.
void choose_lengths(Plan& plan, const Row& row, const Wishes& wishes)
{
    const double fs = double(plan.rate) * plan.stuffing, detector = plan.detector_rate();
    const double transition = row.transition * plan.width;
    plan.taps = wishes.taps.value_or(taps_for(fs, transition));
    if (plan.channel_cutoff > 0) {
        plan.channel_taps = taps_for(detector, transition);
        plan.cutoff = detector / 2;
        const double reach = plan.channel_cutoff + transition / 2 + plan.search;
        plan.taps = taps_for(fs, std::max(detector - 2 * reach, detector / 8));
    }
    plan.audio_taps = taps_for(plan.filter_rate(), transition_of(row, wishes.audio_rate.value_or(0)));
    plan.hilbert_taps = std::max(101, int32_t(2 * detector / lowest_separated)) | 1;
    plan.noise_taps = taps_for(detector, 4000);
}

// 5. The gain: full scale over the audio's peaks. Carrier and modulation share the peak of an AM station,
// unless the carrier fades, for which synchronous AM leaves room. A sideband comes out of the phasing method
// at twice its level, and speech has the room that receiver.cpp leaves it. An FM station's deviation is what
// its bandwidth leaves beside the audio: (width / 2 - audio) / detector's rate of full scale.
void choose_gain(Plan& plan, const Row& row)
{
    const double deviation = // Hz
        row.wide ? wide_deviation : std::max(plan.width / 2 - plan.audio_cutoff, plan.width / 4);
    const double target = std::pow(10, target_level_db / 10);
    plan.audio_gain = row.audio_gain > 0 ? row.audio_gain / target : plan.detector_rate() / deviation;
    plan.carrier_lift = plan.mode == ZVDemodMode_SyncAM ? 5 : 1;
}
} // namespace

int32_t taps_for(double rate, double transition)
{
    return std::max(3, int32_t(std::ceil(5.5 * rate / transition))) | 1;
}

int32_t Plan::resampler_taps() const
{
    constexpr double quality = 64;
    return int32_t(std::ceil(quality * std::max(1.0, double(under) / double(over))));
}

double Plan::detector_delay() const
{
    const int32_t post = taps / 2, channel = mode == ZVDemodMode_SyncAM ? 0 : channel_taps / 2;
    return double(post) / (double(rate) * stuffing) * detector_rate() + channel;
}

int64_t Plan::delay() const
{
    const auto lag = [](int32_t filter_taps) { return filter_taps / 2; }; // samples
    const double post = lag(taps | 1) / (double(rate) * stuffing), audio = lag(audio_taps) / filter_rate();
    const double channel = lag(channel_taps) / detector_rate();
    const double hilbert = mode == ZVDemodMode_ISB ? lag(hilbert_taps) / detector_rate() : 0;
    return std::llround((post + channel + hilbert + audio) * filter_rate());
}

Sides passband(Mode mode)
{
    const Row& row = rows[int(mode)];
    if (row.mode != ZVDemodMode_SSB || row.pitch > 0) return {-row.bandwidth / 2, row.bandwidth / 2};
    const double far = lowest_audio + row.bandwidth;
    return row.sign > 0 ? Sides{lowest_audio, far} : Sides{-far, -lowest_audio};
}

Plan make_plan(int32_t rate, const Wishes& asked)
{
    constexpr int32_t most_rate = 50'000'000; // the oscillator's table holds a second, at 8 bytes a sample
    const double told = asked.centre ? rate / 2.0 : rate; // I/Q comes at twice its rate
    if (rate < 1000)
        throw Failure("the recording", "a rate of " + hz(told) + " leaves no room for a station");
    if (rate > most_rate)
        throw Failure("the recording", "a rate of " + hz(told) + " is beyond " +
                                           number(most_rate * told / rate / 1e6) + " MHz");

    Wishes wishes = asked;
    const Row& row = rows[int(wishes.mode)];
    if (row.wide && !wishes.audio_rate) wishes.audio_rate = wide_audio_rate;
    Plan plan = {.rate = rate,
                 .centre = wishes.centre,
                 .origin = wishes.origin,
                 .mode = row.mode,
                 .wide = row.wide,
                 .sideband_sign = row.sign};
    place_station(plan, row, wishes);
    choose_edges(plan, row, wishes);
    choose_rates(plan, row, wishes);
    choose_block(plan);
    choose_lengths(plan, row, wishes);
    choose_gain(plan, row);
    return plan;
}

std::string explain(const Plan& plan)
{
    const bool ssb = plan.mode == ZVDemodMode_SSB;
    const auto factor = [](const char* sign, double value) { return value == 1 ? "" : sign + number(value); };
    std::string text = "mixer ";
    if (plan.origin)
        text += exact(double(plan.frequency())) + " - " + exact(double(plan.origin - plan.centre)) + " = ";
    else if (plan.centre)
        text += number(plan.station - plan.centre) + " + " + number(plan.centre) + " = ";
    text += hz(plan.station);
    if (plan.mixer != plan.station)
        text += (plan.sideband_sign > 0 ? " + " : " - ") + number(plan.offset) + " = " + hz(plan.mixer);
    text += "; low-pass " + hz(plan.cutoff) + ", " + number(plan.taps | 1) + " taps at " + number(plan.rate) +
            factor(" x ", plan.stuffing) + " Hz";
    text += "; detector at " + number(plan.rate) + factor(" x ", plan.stuffing) +
            factor(" / ", plan.decimation) + " = " + hz(plan.detector_rate());
    if (plan.channel_taps)
        text += "; low-pass " + hz(plan.channel_cutoff) + ", " + number(plan.channel_taps) + " taps";
    if (plan.search > 0) text += "; carrier within " + hz(plan.search);
    if (plan.mode == ZVDemodMode_ISB) text += "; Hilbert " + number(plan.hilbert_taps) + " taps";
    if (ssb) text += "; second oscillator " + hz(plan.offset);
    text += "; audio low-pass " + hz(plan.audio_cutoff) + ", " + number(plan.audio_taps) + " taps";
    const std::string resampled =
        plan.over == plan.under
            ? ""
            : "; resampled by " + number(double(plan.over)) + "/" + number(double(plan.under)) + " with " +
                  number(plan.resampler_taps()) + " taps = " + hz(plan.output_rate());
    return text + "; audio at " + number(plan.detector_rate()) + factor(" x ", plan.upsample) +
           factor(" / ", plan.keep) + " = " + hz(plan.audio_rate()) + resampled;
}
} // namespace client
