#include "radio/neighbours.h"
#include "radio/channel.h"
#include "radio/front.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>
#include <zovek/demodulator.h>

namespace client {
namespace {
// Low-pass filters, Hz: 6 dB down, and from pass to stop.
struct Shape {
    double cutoff, transition;
};
constexpr Shape am_shapes[] = {{3600, 800}, {2800, 400}};
constexpr Shape carrier_shape = {150, 300}; // the carrier, though it is some Hz off
constexpr Shape fm_shape = {5000, 2000}; // behind the default, next to nothing lost at a deviation of 5 kHz
constexpr Shape fm_surroundings = {16000, 6000}; // with the carriers whose sidebands the default lets in
constexpr double least_seconds = 0.2;            // else there is too little to judge by

// At the detector's rate, Q31: the station about 0 Hz.
struct Baseband {
    std::vector<int32_t> i, q;

    double power(const std::vector<int32_t>& part) const
    {
        double sum = 0;
        for (const int32_t sample : part) sum += double(sample) * sample;
        return sum / double(part.size());
    }
    double power() const { return power(i) + power(q); }
};

Baseband mixed(const Plan& plan, std::span<const int32_t> band, double cutoff, int32_t taps)
{
    const size_t zeros = size_t(plan.stuffing), d = plan.decimation;
    const int32_t rate = plan.rate * plan.stuffing;
    std::vector<int32_t> stuffed(band.size() * zeros / d * d);
    for (size_t k = 0; k * zeros < stuffed.size(); ++k) stuffed[k * zeros] = band[k];
    Front front(rate, cutoff, taps, int32_t(d));
    front.take(stuffed, 0, plan.mixer, rate);
    Baseband result = {std::vector<int32_t>(stuffed.size() / d), std::vector<int32_t>(stuffed.size() / d)};
    front.run(result.i.data(), result.q.data());
    return result;
}

// Comes taps / 2 samples late.
Baseband filtered(Baseband from, double rate, double cutoff, int32_t taps)
{
    for (auto* part : {&from.i, &from.q})
        ChannelFilter(rate, cutoff, taps).process(part->data(), part->size());
    return from;
}

Baseband filtered(const Baseband& from, double rate, const Shape& shape)
{
    return filtered(from, rate, shape.cutoff, taps_for(rate, shape.transition));
}

// Turned so that the carrier lies on the real axis, and taken off it.
Baseband on_carrier(const Baseband& from, double rate)
{
    const Baseband carrier = filtered(from, rate, carrier_shape);
    const size_t late = size_t(taps_for(rate, carrier_shape.transition) / 2);
    Baseband result;
    for (size_t k = 2 * late; k < from.i.size(); ++k) { // from where the filter is full
        const std::complex<double> axis(carrier.i[k], carrier.q[k]);
        const std::complex<double> station = std::complex<double>(from.i[k - late], from.q[k - late]) *
                                             std::conj(axis) / std::max(std::abs(axis), 1.0);
        result.i.push_back(int32_t(station.real() - std::abs(axis)));
        result.q.push_back(int32_t(station.imag()));
    }
    return result;
}

// The sidebands of an AM station add up on the carrier's axis. What is no part of it lies on either axis
// alike, so twice the quadrature is its power, and the rest is the station's. Of the widths the one with the
// least error: interference that comes in and sidebands that don't (the minimum of the mean square, as of a
// Wiener filter). A narrower one must halve that, which white noise never makes it do.
const Shape* for_am(const Plan& plan, std::span<const int32_t> band)
{
    constexpr double unheard = 0.003; // of the sidebands
    const double rate = plan.detector_rate();
    Baseband wide = mixed(plan, band, plan.cutoff, plan.taps | 1);
    if (plan.channel_taps) wide = filtered(std::move(wide), rate, plan.channel_cutoff, plan.channel_taps);
    wide = on_carrier(wide, rate);
    const auto sidebands = [](const Baseband& z) { return z.power(z.i) - z.power(z.q); };
    const double whole = std::max(sidebands(wide), 0.0);
    const auto error = [&](const Baseband& z) {
        return 2 * z.power(z.q) + std::max(whole - sidebands(z), 0.0) + unheard * whole;
    };
    const Shape* best = nullptr;
    double least = error(wide);
    for (const Shape& shape : am_shapes)
        if (const double less = error(filtered(wide, rate, shape)); 2 * less < least) {
            best = &shape;
            least = less;
        }
    return best;
}

// The sidebands of FM leave little outside the filter; white noise brings in three times what is inside.
const Shape* for_fm(const Plan& plan, std::span<const int32_t> band)
{
    constexpr double crowded = 6;
    const double rate = plan.detector_rate();
    const Baseband all = mixed(plan, band, fm_surroundings.cutoff,
                               taps_for(double(plan.rate) * plan.stuffing, fm_surroundings.transition));
    return all.power() > crowded * filtered(all, rate, fm_shape).power() ? &fm_shape : nullptr;
}
} // namespace

Plan beside_neighbours(Plan plan, std::span<const int32_t> band)
{
    const double rate = plan.detector_rate();
    if (!plan.may_narrow || double(band.size()) < least_seconds * plan.rate) return plan;
    const Shape* shape = plan.mode == ZVDemodMode_FM ? for_fm(plan, band) : for_am(plan, band);
    if (!shape) return plan;
    plan.crowded = true;
    plan.width = 2 * shape->cutoff;
    plan.channel_cutoff = shape->cutoff;
    plan.channel_taps = taps_for(rate, shape->transition);
    plan.audio_cutoff = std::min(plan.audio_cutoff, plan.channel_cutoff);
    return plan;
}
} // namespace client
