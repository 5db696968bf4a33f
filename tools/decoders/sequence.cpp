#include "decoders/sequence.h"
#include <algorithm>

namespace decoders {
namespace {
constexpr double turn = 2 * M_PI;
} // namespace

SequenceDetector::SequenceDetector(double tone_1, double tone_2, Tracking tracking)
    : omega_{tone_2, tone_1}, tracking_(tracking)
{
}

float SequenceDetector::push(Phasor tone_1, Phasor tone_2, int samples)
{
    Both tone = {tone_2, tone_1}, half; // half: over half the way, at each tone
    for (size_t b = 0; b < 2; ++b) {
        phase_[b] = std::remainder(phase_[b] + omega_[b] * samples, turn);
        tone[b] = tone[b] * Phasor::turn(float(phase_[b]));
        half[b] = Phasor::turn(float((omega_[b] + offset_[b]) * samples / 2));
    }

    Ways to;
    const bool by_channel = tracking_.gain > 0;
    by_channel ? extend_by_channel(tone, half, to) : extend_by_phase(tone, half, to);
    const float zero = *std::ranges::max_element(to[0].likely), one = *std::ranges::max_element(to[1].likely),
                most = std::max(zero, one);
    const auto choose = [&](auto... members) {
        for (unsigned t = 0; t < states; ++t) {
            const Survivors& better = to[to[1].likely[t] > to[0].likely[t]];
            next_.likely[t] = better.likely[t] - most;
            (((next_.*members)[t] = (better.*members)[t]), ...);
        }
    };
    if (by_channel) {
        choose(&Survivors::re, &Survivors::im, &Survivors::slope_re, &Survivors::slope_im);
        std::swap(survivors_, next_);
        return one - zero;
    }
    choose(&Survivors::re, &Survivors::im, &Survivors::size);
    const auto best = unsigned(std::ranges::max_element(next_.likely) - next_.likely.begin());
    const unsigned b = best & 1, a = best >> 1 & 1;
    const Phasor own = tone[b] * amplitude_[b];
    const Phasor phase = Phasor{next_.re[best], next_.im[best]} + own * -1; // as it was without this bit
    const float soft = (one - zero) / (amplitude_[0] + amplitude_[1]);
    follow(b, a, tone[b], phase, samples);
    std::swap(survivors_, next_);
    return soft;
}

// A signal of amplitude a_b at tone b, from bit to bit in one phase, gives a_b exp(j phase) in the middle of
// each bit. The likelihood of a sequence is, but for what all have in common, I0(|S|) exp(-E), with S the sum
// of the correlations times a_b, turned to one phase, and E half the sum of a_b squared; its logarithm is
// near |S| - E. A bit adds |S + s| - |S| - a_b^2 / 2 to it, s its own correlation times a_b. S fades, since
// phases drift, so what is added is what the last bits, 1 / forgetting or so, say of the phase.
void SequenceDetector::extend_by_phase(const Both& tone, const Both& half, Ways& to) const
{
    const float keep = float(1 - tracking_.forgetting);
    const Survivors& from = survivors_;
    for (unsigned b = 0; b < 2; ++b) {
        const Phasor heard = tone[b] * amplitude_[b];
        const float sent = amplitude_[b] * amplitude_[b] / 2;
        for (unsigned oldest = 0; oldest < 2; ++oldest)
            for (unsigned a = 0; a < 2; ++a) { // the bit before
                const Phasor step = half[a] * half[b] * keep;
                for (unsigned rest = a; rest < states / 2; rest += 2) {
                    const unsigned s = oldest * states / 2 + rest, t = 2 * rest + b;
                    const float re = from.re[s] * step.re - from.im[s] * step.im + heard.re;
                    const float im = from.re[s] * step.im + from.im[s] * step.re + heard.im;
                    const float size = std::sqrt(re * re + im * im);
                    to[oldest].re[t] = re;
                    to[oldest].im[t] = im;
                    to[oldest].size[t] = size;
                    to[oldest].likely[t] = from.likely[s] + (size - keep * from.size[s]) - sent;
                }
            }
    }
}

// Where a channel of gain c, complex, changes slowly, the bits before foretell it, and a bit's correlation s
// is normal about it: the logarithm of the likelihood grows by 2 Re(s c*) - |c|^2 but for what all sequences
// have in common and the noise's power. A channel in Rayleigh fading goes through zero in nearly a straight
// line, in which it turns by half a circle; so its slope is foretold as well (per-survivor processing, with
// the steady state of a Kalman filter of second order).
void SequenceDetector::extend_by_channel(const Both& tone, const Both& half, Ways& to) const
{
    const float gain = float(tracking_.gain), slope = float(tracking_.slope);
    const Survivors& from = survivors_;
    for (unsigned b = 0; b < 2; ++b) {
        const Phasor heard = tone[b];
        for (unsigned oldest = 0; oldest < 2; ++oldest)
            for (unsigned a = 0; a < 2; ++a) { // the bit before
                const Phasor step = half[a] * half[b];
                for (unsigned rest = a; rest < states / 2; rest += 2) {
                    const unsigned s = oldest * states / 2 + rest, t = 2 * rest + b;
                    const Phasor change = Phasor{from.slope_re[s], from.slope_im[s]} * step;
                    const Phasor channel = Phasor{from.re[s], from.im[s]} * step + change;
                    const Phasor error = heard + channel * -1;
                    to[oldest].re[t] = channel.re + gain * error.re;
                    to[oldest].im[t] = channel.im + gain * error.im;
                    to[oldest].slope_re[t] = change.re + slope * error.re;
                    to[oldest].slope_im[t] = change.im + slope * error.im;
                    to[oldest].likely[t] =
                        from.likely[s] + 2 * (heard * channel.conjugate()).re - energy(channel);
                }
            }
    }
}

// Takes up what the newest bit of the best survivor shows, against the phase that those before it gave.
void SequenceDetector::follow(unsigned newest, unsigned before, Phasor heard, Phasor phase, int samples)
{
    const float length = std::sqrt(energy(phase));
    if (!(length > 0)) return;
    const Phasor ahead = heard * phase.conjugate() * (1 / length);
    // A phase detector by the sine, so that a bit that is hardly heard says little.
    const double error = std::clamp(2 * double(ahead.im) / double(amplitude_[0] + amplitude_[1]), -1.5, 1.5);
    const double step = tracking_.frequency * error / samples;
    // Beyond, one tone would be taken for the other.
    const double most = 0.15 * std::fabs(omega_[1] - omega_[0]);
    for (unsigned b = 0; b < 2; ++b) {
        const int halves = tracking_.apart ? (newest == b) + (before == b) : 1;
        offset_[b] = std::clamp(offset_[b] + step * halves, -most, most);
    }
    amplitude_[newest] += float(tracking_.amplitude) * (ahead.re - amplitude_[newest]);
    // No tone is given up: 20 dB below the other one, and above nothing.
    const float least = std::max(0.1f * std::max(amplitude_[0], amplitude_[1]), 1e-3f);
    for (float& amplitude : amplitude_) amplitude = std::max(amplitude, least);
}
} // namespace decoders
