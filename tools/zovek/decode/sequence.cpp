#include "decode/sequence.h"
#include <algorithm>

namespace client::decode {
SequenceDetector::SequenceDetector(double tone_1, double tone_2, Tracking tracking)
    : omega_{tone_2, tone_1}, tracking_(tracking)
{
}

float SequenceDetector::push(Phasor tone_1, Phasor tone_2, int samples)
{
    std::rotate(bits_.begin(), bits_.begin() + 1, bits_.end());
    Bit& bit = bits_.back();
    bit.tone = {tone_2, tone_1};
    bit.samples = samples;
    for (int k = 0; k < 2; ++k) bit.half[k] = Phasor::turn(-(omega_[k] + offset_) * samples / 2);

    // All sequences, bit by bit: the sum of the correlations along a sequence, each turned back by the way of the
    // phase since the first. Sequence s has the newest bit lowest.
    std::array<Phasor, 1 << span> sum, back;
    std::array<float, 1 << span> power;
    const std::array<float, 2> half_power = {amplitude_[0] * amplitude_[0] / 2,
                                             amplitude_[1] * amplitude_[1] / 2};
    for (int b = 0; b < 2; ++b) {
        sum[b] = bits_[0].tone[b] * amplitude_[b];
        back[b] = {1, 0};
        power[b] = half_power[b];
    }
    for (int k = 1; k < span; ++k)
        for (int s = (1 << k) - 1; s >= 0; --s) {
            const Phasor way = back[s] * bits_[k].half[s & 1], so_far = sum[s];
            const float so_power = power[s];
            for (int b = 1; b >= 0; --b) {
                const int longer = 2 * s + b;
                back[longer] = way * bits_[k].half[b];
                sum[longer] = so_far + back[longer] * bits_[k].tone[b] * amplitude_[b];
                power[longer] = so_power + half_power[b];
            }
        }
    std::array<float, 2> most{-1e30f, -1e30f};
    std::array<unsigned, 2> which{};
    for (unsigned s = 0; s < sum.size(); ++s) {
        const float metric = sum[s].magnitude() - power[s];
        const int b = s >> span / 2 & 1;
        if (metric > most[b]) {
            most[b] = metric;
            which[b] = s;
        }
    }
    const unsigned best = which[most[1] > most[0]];
    follow(best, sum[best]);
    return (most[1] - most[0]) / (amplitude_[0] + amplitude_[1]);
}

// Takes up what the middle bit of the best sequence shows of frequency and amplitude.
void SequenceDetector::follow(unsigned best, Phasor sum)
{
    constexpr int middle = span / 2;
    const auto sent = [best](int k) { return best >> (span - 1 - k) & 1; };
    if (tracking_.frequency > 0) {
        const Bit &bit = bits_[middle], &before = bits_[middle - 1];
        const int b = sent(middle), a = sent(middle - 1);
        const Phasor error = bit.tone[b] * bit.half[b] * bit.half[a] * before.tone[a].conjugate();
        if (error.re != 0 || error.im != 0)
            offset_ += tracking_.frequency * std::atan2(error.im, error.re) / bit.samples;
        const double most = std::fabs(omega_[1] - omega_[0]) * 0.15;
        offset_ = std::clamp(offset_, -most, most);
    }
    if (tracking_.amplitude > 0) {
        // newest bit against the sum: in phase part
        Phasor way{1, 0};
        for (int k = 1; k <= middle; ++k) way = way * bits_[k].half[sent(k - 1)] * bits_[k].half[sent(k)];
        const int b = sent(middle);
        const Phasor p = bits_[middle].tone[b] * way * sum.conjugate();
        const float m = sum.magnitude();
        const float a = m > 0 ? p.re / m : 0;
        amplitude_[b] += float(tracking_.amplitude) * (a - amplitude_[b]);
        const float floor = 0.1f * std::max(amplitude_[0], amplitude_[1]);
        for (float& v : amplitude_) v = std::max({v, floor, 1e-3f});
    }
}
} // namespace client::decode
