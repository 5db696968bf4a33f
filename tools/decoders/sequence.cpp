#include "decoders/sequence.h"
#include <algorithm>

namespace decoders {
namespace {
constexpr unsigned sequences = 1u << SequenceDetector::span;
constexpr double turn = 2 * M_PI;
} // namespace

SequenceDetector::SequenceDetector(double tone_1, double tone_2, Tracking tracking)
    : omega_{tone_2, tone_1}, tracking_(tracking)
{
}

// A signal of amplitude a_b at tone b, from bit to bit in one phase, gives a_b exp(j phase) in the middle of
// each bit. The likelihood of a sequence is, but for what all have in common, I0(|S|) exp(-E), with S the sum
// of the correlations times a_b, turned back to the phase of the first bit, and E half the sum of a_b
// squared; its logarithm is near |S| - E.
float SequenceDetector::push(Phasor tone_1, Phasor tone_2, int samples)
{
    std::rotate(bits_.begin(), bits_.begin() + 1, bits_.end());
    Bit& bit = bits_.back();
    bit.tone = {tone_2, tone_1};
    bit.samples = samples;
    std::array<float, 2> energy;
    for (size_t b = 0; b < 2; ++b) {
        phase_[b] = std::remainder(phase_[b] + omega_[b] * samples, turn);
        bit.tone[b] = bit.tone[b] * Phasor::turn(float(phase_[b]));
        bit.half[b] = Phasor::turn(float(-(omega_[b] + offset_) * samples / 2));
        energy[b] = amplitude_[b] * amplitude_[b] / 2;
    }

    // All sequences, longer by a bit at a time. The newest bit is the highest of the index, so what is done
    // to sequences that end alike is done to a run of them.
    alignas(64) float sum_re[sequences], sum_im[sequences], back_re[sequences], back_im[sequences],
        sent[sequences];
    for (size_t b = 0; b < 2; ++b) {
        const Phasor first = bits_[0].tone[b] * amplitude_[b];
        sum_re[b] = first.re;
        sum_im[b] = first.im;
        back_re[b] = 1;
        back_im[b] = 0;
        sent[b] = energy[b];
    }
    for (size_t k = 1; k < span; ++k) {
        const size_t count = size_t(1) << k;
        for (const size_t b : {1u, 0u}) // what is lengthened by 0 stays where it is, so last
            for (const size_t a : {0u, 1u}) {
                const Phasor step = bits_[k].half[a] * bits_[k].half[b],
                             tone = bits_[k].tone[b] * amplitude_[b];
                for (size_t s = a * count / 2; s < (a + 1) * count / 2; ++s) {
                    const float re = back_re[s] * step.re - back_im[s] * step.im;
                    const float im = back_re[s] * step.im + back_im[s] * step.re;
                    back_re[s + b * count] = re;
                    back_im[s + b * count] = im;
                    sum_re[s + b * count] = sum_re[s] + (re * tone.re - im * tone.im);
                    sum_im[s + b * count] = sum_im[s] + (re * tone.im + im * tone.re);
                    sent[s + b * count] = sent[s] + energy[b];
                }
            }
    }
    float likely[sequences];
    for (size_t s = 0; s < sequences; ++s)
        likely[s] = std::sqrt(sum_re[s] * sum_re[s] + sum_im[s] * sum_im[s]) - sent[s];

    std::array<unsigned, 2> best = {0, 1u << span / 2}; // with the middle bit 0, with the middle bit 1
    for (unsigned s = 0; s < sequences; ++s) {
        unsigned& other = best[s >> span / 2 & 1];
        if (likely[s] > likely[other]) other = s;
    }
    const float soft = (likely[best[1]] - likely[best[0]]) / (amplitude_[0] + amplitude_[1]);
    const unsigned heard = best[soft >= 0];
    follow(heard, {sum_re[heard], sum_im[heard]});
    return soft;
}

// Takes up what the middle bit of the best sequence shows.
void SequenceDetector::follow(unsigned best, Phasor sum)
{
    constexpr size_t middle = span / 2;
    const auto sent = [best](size_t k) { return size_t(best >> k & 1); };
    const Bit &bit = bits_[middle], &before = bits_[middle - 1];
    const size_t a = sent(middle - 1), b = sent(middle);
    const Phasor ahead = bit.tone[b] * bit.half[a] * bit.half[b] * before.tone[a].conjugate();
    offset_ += tracking_.frequency * std::atan2(ahead.im, ahead.re) / bit.samples;
    // Beyond, one tone would be taken for the other.
    const double most = 0.15 * std::fabs(omega_[1] - omega_[0]);
    offset_ = std::clamp(offset_, -most, most);

    Phasor back{1, 0};
    for (size_t k = 1; k <= middle; ++k) back = back * bits_[k].half[sent(k - 1)] * bits_[k].half[sent(k)];
    const float length = std::hypot(sum.re, sum.im);
    const float in_phase = length > 0 ? (bit.tone[b] * back * sum.conjugate()).re / length : 0;
    amplitude_[b] += float(tracking_.amplitude) * (in_phase - amplitude_[b]);
    // No tone is given up: 20 dB below the other one, and above nothing.
    const float least = std::max(0.1f * std::max(amplitude_[0], amplitude_[1]), 1e-3f);
    for (float& amplitude : amplitude_) amplitude = std::max(amplitude, least);
}
} // namespace decoders
