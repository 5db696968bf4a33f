#include "radio/carrier.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <new>
#include <numeric>
#include <utility>

namespace client {
namespace {
constexpr double window_seconds = 0.25;
constexpr int hops = 2;  // in a window
constexpr int ahead = 4; // looks that a decision waits for

// Likelihoods are natural logarithms of power over the background.
constexpr float drift_cost = 0.7f; // for a bin up or down from look to look
constexpr float leap_cost = 8;     // two looks at a line 17 dB above where it was
constexpr double far_cost = 1.15;  // at the end of the range: 5 dB
constexpr float most_mirrored = 4; // standard deviations that count
constexpr float mirrored_weight = 0.5;
constexpr int lines = 5; // strongest ones, whose sidebands are looked at
constexpr double nearest_sideband = 60, farthest_sideband = 2000; // Hz
constexpr double least_background = 250;                          // Hz to either side

// From here on a line is more than the noise's highest: 13 dB over the background, on average along a path.
constexpr double least_level = 3;
// What the loop behind finds its way back from, Hz.
constexpr double loop_range = 8;

constexpr double exalted = 10;       // Hz to either side of the carrier
constexpr double natural_step = 125; // of the loop, radians a second: 20 Hz; it is damped critically
constexpr double smoothing = 0.5;    // s
} // namespace

static int64_t hop_of(double rate) { return std::llround(window_seconds / hops * rate); }

// Half a window, the looks ahead, and room for a leap between two looks.
int32_t CarrierTrack::delay_of(double rate) { return int32_t((hops / 2 + ahead + 2) * hop_of(rate)); }

CarrierTrack::CarrierTrack(double rate, double range) : rate_(rate), hop_(hop_of(rate)), window_(hops * hop_)
{
    const auto size = int64_t(std::bit_ceil(uint64_t(window_ + window_ / 2)));
    ZVFFT2Float_BufferSize(fft_, uint32_t(2 * size));
    if (fft_->half_size != size) throw std::bad_alloc();
    std::fill_n(fft_->window, 2 * size, 0.0f);
    for (int64_t k = 0; k < window_; ++k) // Hann; the transform of pairs takes every second factor
        fft_->window[2 * k] = float(0.5 - 0.5 * std::cos(2 * M_PI * (double(k) + 0.5) / double(window_)));
    bin_hz_ = rate / double(size);
    const auto most = int(size / 2 - 2);
    bins_ = std::min(int(range / bin_hz_), most);
    reach_ = std::min(int(std::max(range, least_background) / bin_hz_), most);
    i_.resize(size_t(window_));
    q_.resize(size_t(window_));
    samples_.resize(size_t(delay_of(rate)) + size_t(window_));
    shows_.resize(samples_.size());
    spectrum_.resize(size_t(size));
    power_.resize(2 * size_t(reach_) + 1);
    const size_t states = 2 * size_t(bins_) + 1;
    scores_.resize(states);
    looks_.resize(ahead + 2, {false, std::vector<float>(states), std::vector<float>(states),
                              std::vector<int16_t>(states)});
    for (Look& look : looks_) std::iota(look.from.begin(), look.from.end(), 0);
}

void CarrierTrack::process(int32_t count, int32_t* i, int32_t* q, std::span<const Gap> marks)
{
    const int64_t delay = delay_of(rate_);
    std::complex<double> step = std::polar(1.0, -2 * M_PI * frequency_ / rate_);
    leapt_ = false;
    for (int32_t k = 0; k < count; ++k) {
        sample(taken_) = {double(i[k]), double(q[k])};
        shows_[size_t(taken_) % samples_.size()] = !marks.empty() && marks[size_t(k)] != Gap::inside;
        if (++taken_ % hop_ == 0 && taken_ >= window_) look();
        const int64_t at = taken_ - delay - 1;
        if (at == leap_at_) {
            frequency_ = leap_hz_;
            turn_ *= std::polar(1.0, -leap_phase_);
            step = std::polar(1.0, -2 * M_PI * frequency_ / rate_);
            leapt_ = true;
        }
        const std::complex<double> out = at < 0 ? 0 : sample(at) * turn_;
        turn_ *= step;
        i[k] = int32_t(std::clamp(out.real(), -2147483647.0, 2147483647.0));
        q[k] = int32_t(std::clamp(out.imag(), -2147483647.0, 2147483647.0));
    }
    turn_ /= std::abs(turn_);
}

const std::complex<float>& CarrierTrack::spectrum(int bin) const
{
    return spectrum_[spectrum_.size() / 2 + size_t(bin)];
}

// The window that ends with the last sample. Without a station in most of it there is nothing to be seen.
void CarrierTrack::look()
{
    ++number_;
    Look& look = look_before(0);
    int64_t seen = 0;
    for (int64_t k = 0; k < window_; ++k) {
        const int64_t at = taken_ - window_ + k;
        const bool shows = shows_[size_t(at) % samples_.size()];
        const std::complex<double> value = shows ? sample(at) : 0;
        i_[size_t(k)] = int32_t(value.real());
        q_[size_t(k)] = int32_t(value.imag());
        seen += shows;
    }
    look.shows = 2 * seen >= window_;
    if (!look.shows) {
        std::fill(look.level.begin(), look.level.end(), 0.0f);
        std::iota(look.from.begin(), look.from.end(), 0);
    } else {
        ZVFFT2Float_ComputeComplex_IQ_32(fft_, i_.data(), q_.data(), uint32_t(window_));
        constexpr float scale = 1.0f / (1 << 30) / (1 << 12); // the fourth power is within single precision
        const auto *re = static_cast<const float*>(fft_->re), *im = static_cast<const float*>(fft_->im);
        for (size_t k = 0; k < spectrum_.size(); ++k) spectrum_[k] = {scale * re[k], scale * im[k]};
        weigh(look);
        find_path(look);
    }
    if (number_ >= ahead + 1) follow();
}

// Of each bin how likely the carrier is there, by its power over the median, its sidebands and the dial.
void CarrierTrack::weigh(Look& look)
{
    for (int bin = -reach_; bin <= reach_; ++bin)
        power_[size_t(bin) + size_t(reach_)] = std::norm(spectrum(bin));
    sorted_ = power_;
    const auto middle = sorted_.begin() + ptrdiff_t(sorted_.size() / 2);
    std::nth_element(sorted_.begin(), middle, sorted_.end());
    const float background = std::max(*middle, 1e-20f);
    const float* power = &power_[size_t(reach_ - bins_)];
    const int states = 2 * bins_ + 1;
    std::vector<std::pair<float, int>> peaks;
    for (int k = 0; k < states; ++k) {
        look.level[size_t(k)] = std::log1p(power[k] / background);
        if (k > 0 && k < states - 1 && power[k] > power[k - 1] && power[k] >= power[k + 1])
            peaks.emplace_back(power[k], k);
    }
    look.likelihood = look.level;
    const size_t count = std::min(peaks.size(), size_t(lines));
    std::partial_sort(peaks.begin(), peaks.begin() + ptrdiff_t(count), peaks.end(), std::greater());
    for (size_t k = 0; k < count; ++k) {
        const int state = peaks[k].second;
        const float gain = mirrored_weight * std::clamp(mirrored(state - bins_), 0.0f, most_mirrored);
        for (const int beside : {-1, 0, 1}) look.likelihood[size_t(state) + size_t(beside)] += gain;
    }
    for (int k = 0; k < states; ++k)
        look.likelihood[size_t(k)] -= float(far_cost * std::abs(k - bins_) / std::max(bins_, 1));
}

// How far the sidebands of a line are mirror images, S(c + f) S(c - f) / S(c)^2 real and positive: in
// standard deviations of what sidebands by chance would give. Each pair counts by the weaker of the two.
float CarrierTrack::mirrored(int bin) const
{
    const int first = int(nearest_sideband / bin_hz_);
    const int last =
        std::min(int(farthest_sideband / bin_hz_), int(spectrum_.size() / 2) - 1 - std::abs(bin));
    const std::complex<float> line = std::conj(spectrum(bin) / std::abs(spectrum(bin)));
    double sum = 0, squares = 0;
    for (int k = first; k <= last; ++k) {
        const std::complex<float> upper = spectrum(bin + k) * line, lower = spectrum(bin - k) * line;
        const double a = std::norm(upper), b = std::norm(lower), weight = std::min(a, b);
        if (weight <= 0) continue;
        sum += weight * double((upper * lower).real()) / std::sqrt(a * b);
        squares += weight * weight / 2;
    }
    return squares > 0 ? float(sum / std::sqrt(squares)) : 0;
}

void CarrierTrack::find_path(Look& look)
{
    scores_before_ = scores_;
    const auto states = int(scores_.size());
    const auto best =
        int(std::max_element(scores_before_.begin(), scores_before_.end()) - scores_before_.begin());
    const float top = scores_before_[size_t(best)];
    for (int k = 0; k < states; ++k) {
        float score = scores_before_[size_t(k)];
        int from = k;
        const auto try_from = [&](int other, float cost) {
            if (scores_before_[size_t(other)] - cost <= score) return;
            score = scores_before_[size_t(other)] - cost;
            from = other;
        };
        if (k > 0) try_from(k - 1, drift_cost);
        if (k < states - 1) try_from(k + 1, drift_cost);
        try_from(best, leap_cost);
        look.from[size_t(k)] = int16_t(from);
        scores_[size_t(k)] = score - top + look.likelihood[size_t(k)];
    }
}

// The frequency of the line that has its highest bin there or beside, Hz: a parabola through logarithms.
double CarrierTrack::line_near(const Look& look, int state) const
{
    const float* level = look.level.data();
    for (int k = 0; k < 2; ++k) {
        if (state > 0 && level[state - 1] > level[state])
            --state;
        else if (state < 2 * bins_ && level[state + 1] > level[state])
            ++state;
    }
    double between = 0;
    if (state > 0 && state < 2 * bins_) {
        const double below = level[state - 1], above = level[state + 1],
                     bend = below - 2 * level[state] + above;
        if (bend < 0) between = std::clamp((below - above) / (2 * bend), -0.5, 0.5);
    }
    return (state - bins_ + between) * bin_hz_;
}

int CarrierTrack::best_state() const
{
    return int(std::max_element(scores_.begin(), scores_.end()) - scores_.begin());
}

// Where the best path was so many looks ago, and the mean level along it since then.
int CarrierTrack::back(int looks, double& level)
{
    int state = best_state(), shown = 0;
    level = 0;
    for (int k = 0; k < looks; ++k) {
        const Look& look = look_before(k);
        level += look.level[size_t(state)];
        shown += look.shows;
        state = look.from[size_t(state)];
    }
    level /= std::max(shown, 1);
    return state;
}

// To the look whose samples are due.
void CarrierTrack::follow()
{
    double level;
    const int state = back(ahead, level);
    const double hz = line_near(look_before(ahead), state);
    if (level > 0) present_ = level > least_level; // else it goes on
    if (!present_ || std::abs(hz - frequency_) < loop_range || leap_at_ >= taken_ - delay_of(rate_)) return;
    leap(taken_ - window_ / 2 - ahead * hop_, hz);
}

// The leap came around the middle of that look. It is where the old frequency before it and the new one
// behind it bring the most together; the phase goes on.
void CarrierTrack::leap(int64_t middle, double hz)
{
    const int64_t first = middle - 3 * hop_ / 2, last = middle + hop_ / 2, half = window_ / 2;
    const auto total = size_t(last - first + 2 * half);
    std::vector<std::complex<double>> before(total + 1), behind(total + 1); // sums from the start on
    const double old_step = 2 * M_PI * frequency_ / rate_, new_step = 2 * M_PI * hz / rate_;
    const int64_t start = first - half;
    for (size_t k = 0; k < total; ++k) {
        const int64_t at = start + int64_t(k);
        const std::complex<double> value = at < 0 ? 0 : sample(at);
        before[k + 1] = before[k] + value * std::polar(1.0, -old_step * double(k));
        behind[k + 1] = behind[k] + value * std::polar(1.0, -new_step * double(k));
    }
    const auto span = size_t(half);
    size_t best = span;
    double most = -1;
    for (size_t k = span; k <= size_t(last - start); ++k) {
        const double together = std::abs(before[k]) + std::abs(behind[total] - behind[k]);
        if (together > most) {
            most = together;
            best = k;
        }
    }
    leap_at_ = start + int64_t(best);
    leap_hz_ = hz;
    // The carrier half a window before and behind, as both frequencies have it at the leap.
    const std::complex<double> old = (before[best] - before[best - span]) *
                                     std::polar(1.0, old_step * double(best)),
                               now = (behind[std::min(total, best + span)] - behind[best]) *
                                     std::polar(1.0, new_step * double(best));
    leap_phase_ = std::arg(now * std::conj(old));
}

void CarrierTrack::settle()
{
    if (number_ < 0) return;
    double level;
    back(int(std::min<int64_t>(number_ + 1, ahead)), level);
    if (level > least_level) frequency_ = line_near(look_before(0), best_state());
}

CarrierLoop::CarrierLoop(double rate, double lift) : rate_(rate), sidebands_(1 / lift) {}

// Second order (F. M. Gardner, Phaselock Techniques); the error is the angle of the whole station. Where a
// selective fade takes the carrier, the sidebands lead: better audio than with the phase of what is left of
// it.
void CarrierLoop::process(int32_t count, int32_t* i, int32_t* q, std::span<const Gap> marks)
{
    const double share = 1 - std::exp(-2 * M_PI * exalted / rate_),
                 slow = 1 - std::exp(-1 / (smoothing * rate_));
    const double natural = natural_step / rate_;
    for (int32_t k = 0; k < count; ++k) {
        std::complex<double> station(i[k], q[k]), lifted;
        const Gap mark = marks[size_t(k)];
        const bool bridged = mark >= Gap::inside;
        if (bridged) {
            match_ = mark == Gap::filling ? match_ + carrier_ * std::conj(station) : 0;
            lifted = carrier_;
        } else {
            if (match_ != 0.0) turn_ = match_ / std::abs(match_);
            match_ = 0;
            station *= turn_;
            carrier_ += share * (station - carrier_);
            lifted = sidebands_ * station + (1 - sidebands_) * carrier_;
        }
        const std::complex<double> back = std::polar(1.0, -phase_), turned = lifted * back;
        i[k] = 0;
        q[k] = int32_t(turned.real());
        const double power = std::norm(turned);
        if (bridged || power == 0) continue;
        coherence_ += slow * (turned.real() * turned.real() / power - coherence_);
        const double error = std::arg(station * back);
        step_ += natural * natural * error;
        phase_ += step_ + 2 * natural * error;
        if (std::abs(phase_) > M_PI) phase_ -= std::copysign(2 * M_PI, phase_);
    }
}

double CarrierLoop::release(int32_t count)
{
    const double part = (1 - std::exp(-count / (smoothing * rate_))) * step_;
    step_ -= part;
    return part * rate_ / (2 * M_PI);
}
} // namespace client
