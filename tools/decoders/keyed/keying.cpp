#include "decoders/keyed/keying.h"
#include <algorithm>
#include <cmath>

namespace decoders::keyed {
namespace {
constexpr double full_turn = 2 * M_PI;

// Samples of a bit: whole ticks of a few samples, and room for the higher tone with its sidebands.
int samples_of_bit(const Tones& tones)
{
    const double highest = std::max(tones.mark, tones.space) + 2 * tones.baud;
    const int ticks = int(std::ceil(2.5 * highest / (tones.baud * ticks_per_bit)));
    return std::max(ticks, 1) * ticks_per_bit;
}

// Sum of count pieces of a tone up to tick end.
Phasor sum(const Recent<Correlator::Piece>& pieces, int tone, int64_t end, int count)
{
    Phasor total;
    for (int64_t k = end - count; k < end; ++k) total = total + pieces[k][size_t(tone)];
    return total;
}

// Logarithm of the modified Bessel function of order 0 (M. Abramowitz, I. A. Stegun, Handbook of Mathematical
// Functions, 9.8.1 and 9.8.2, shortened: within 0.01).
float log_bessel_i0(float x)
{
    if (x < 3.75f) {
        const float t = x * x / (3.75f * 3.75f);
        return std::log(1 + t * (3.5156f + t * (3.0899f + t * (1.2067f + t * (0.266f + t * 0.0407f)))));
    }
    return x - 0.5f * std::log(x) + std::log(0.39894f + 0.0498f / x + 0.0317f / (x * x));
}

constexpr double widest_sequence = 1.3;           // bit rates; tones further apart don't need sequences
constexpr int sure_ticks = ticks_per_bit * 3 / 4; // of a bit, that no other bit reaches into
constexpr float surest = 25;                      // log likelihood ratio of a bit
} // namespace

Correlator::Correlator(double rate, const Tones& tones)
    : bit_samples_(samples_of_bit(tones)), resampler_(rate, tones.baud * bit_samples_)
{
    const double modem_rate = tones.baud * bit_samples_;
    omega_ = {full_turn * tones.space / modem_rate, full_turn * tones.mark / modem_rate};
    correlator_ = make_correlator(modem_rate, bit_samples_, tones.mark, tones.space);
    soft_.resize(size_t(bit_samples_));
}

// Bit time by bit time: the correlator's window then holds the products of exactly the samples that went in.
const std::vector<Correlator::Piece>& Correlator::push(const int16_t* samples, size_t count)
{
    const std::vector<int16_t>& audio = resampler_.push(samples, count);
    waiting_.insert(waiting_.end(), audio.begin(), audio.end());
    pieces_.clear();
    ZVFSKCorrDemod* const self = correlator_;
    const int tick_samples = bit_samples_ / ticks_per_bit;
    const float scale = 2.0f / float(bit_samples_);
    size_t at = 0;
    for (; at + size_t(bit_samples_) <= waiting_.size(); at += size_t(bit_samples_)) {
        self->phase_1 = float(phase_[mark]);
        self->phase_2 = float(phase_[space]);
        for (const Tone tone : {space, mark})
            phase_[tone] = std::remainder(phase_[tone] + omega_[tone] * bit_samples_, full_turn);
        ZVFSKCorrDemod16_Process_16_16(self, &waiting_[at], soft_.data(), bit_samples_, 1);
        const float* product = self->window;
        for (int tick = 0; tick < ticks_per_bit; ++tick) {
            Piece piece;
            for (int k = 0; k < tick_samples; ++k, product += 4) {
                piece[mark] = piece[mark] + Phasor{product[0], -product[1]};
                piece[space] = piece[space] + Phasor{product[3], -product[2]};
            }
            pieces_.push_back({piece[space] * scale, piece[mark] * scale});
        }
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + ptrdiff_t(at));
    return pieces_;
}

Surveyor::Surveyor(const Tones& tones, const Correlator& correlator)
    : reach_(int(std::clamp(0.25 * tones.baud, 12.0, 48.0))),
      bit_samples_(correlator.bit_samples()),
      apart_(correlator.omega(mark) - correlator.omega(space))
{
    const auto leak = [&](int ticks) {
        const double x = apart_ * bit_samples_ * ticks / ticks_per_bit / 2;
        return float(std::sin(x) / x);
    };
    leak_ = leak(sure_ticks);
    const float whole = leak(ticks_per_bit) * leak(ticks_per_bit);
    clarity_ = (1 - whole) / (1 + whole);
}

float Surveyor::push(const Correlator::Piece& piece)
{
    pieces_.push(piece);
    const float m = std::sqrt(energy(sum(pieces_, mark, pieces_.end(), ticks_per_bit))),
                s = std::sqrt(energy(sum(pieces_, space, pieces_.end(), ticks_per_bit)));
    level_ += (std::max(m, s) - level_) * (1.0f / (40 * ticks_per_bit)); // over 40 bits
    return 12 * (m - s) / std::max({level_, m, s, 1e-3f});
}

std::optional<State> Surveyor::find(const Bit& bit)
{
    constexpr int half = ticks_per_bit / 2;
    Heard heard{.end = bit.end, .symbol = bit.symbol};
    const Phasor first = sum(pieces_, bit.symbol, bit.end - half, half),
                 second = sum(pieces_, bit.symbol, bit.end, half);
    heard.own = energy(first + second);
    // The other tone holds noise, and what leaks over. Near its ends a bit may be its neighbour's.
    const int64_t end = bit.end - (ticks_per_bit - sure_ticks) / 2;
    const double middle = (double(end) - sure_ticks / 2.0) * bit_samples_ / ticks_per_bit - 0.5,
                 angle = std::remainder((bit.symbol == mark ? apart_ : -apart_) * middle, full_turn);
    const Phasor leak = sum(pieces_, bit.symbol, end, sure_ticks) * Phasor::turn(float(angle)) * leak_;
    heard.noise = energy(sum(pieces_, 1 - bit.symbol, end, sure_ticks) + leak * -1);
    heard.ahead = second * first.conjugate();
    heard_.push(heard);
    if (heard_.end() <= reach_) return std::nullopt;
    return survey(heard_.end() - 1 - reach_);
}

State Surveyor::survey(int64_t at) const
{
    std::array<float, 2> own{}, weight{};
    float noise = 0, weights = 0;
    Phasor ahead;
    for (int64_t k = std::max<int64_t>(at - reach_, 0); k < heard_.end(); ++k) {
        const Heard& bit = heard_[k];
        const float near = 1 - float(std::abs(k - at)) / float(reach_ + 1);
        own[bit.symbol] += near * bit.own;
        weight[bit.symbol] += near;
        noise += bit.noise;
        weights += (1 - leak_ * leak_) * sure_ticks / ticks_per_bit;
        ahead = ahead + bit.ahead;
    }
    State state{.end = heard_[at].end};
    // A tone that was hardly sent is taken to be like the other one.
    state.noise = std::max(noise / weights / 2, 1e-3f);
    const float all = (own[0] + own[1]) / (weight[0] + weight[1]);
    for (const Tone tone : {space, mark}) {
        const float mean = (own[tone] + all) / (weight[tone] + 1);
        state.amplitude[tone] = std::sqrt(std::max({mean - 2 * state.noise, 0.1f * mean, 1e-3f}));
    }
    ahead.re += 4 * state.noise * weights;  // little is believed of what is hardly heard
    constexpr int half = ticks_per_bit / 2; // from the middle of one half to that of the other
    state.turn = std::atan2(ahead.im, ahead.re) / half;
    return state;
}

Listener::Listener(const Tones& tones, const Correlator& correlator) : bit_samples_(correlator.bit_samples())
{
    if (std::fabs(tones.mark - tones.space) > widest_sequence * tones.baud) return;
    for (int k = 0; k < ticks_per_bit; ++k)
        sequences_.emplace_back(correlator.omega(mark), correlator.omega(space), Tracking{.forgetting = 0.5});
}

std::optional<Listener::Out> Listener::push(const Correlator::Piece& piece, const State& state)
{
    phase_ = std::remainder(phase_ + state.turn, full_turn);
    const Phasor back = Phasor::turn(float(-phase_));
    pieces_.push({piece[space] * back, piece[mark] * back});
    const int64_t end = pieces_.end();
    const Phasor s = sum(pieces_, space, end, ticks_per_bit), m = sum(pieces_, mark, end, ticks_per_bit);
    Out out{.energy = {energy(s), energy(m)}, .state = state};
    const float a = state.amplitude[mark], b = state.amplitude[space],
                noise = std::max(state.noise, std::max(a * a, b * b) / (2 * surest));
    if (sequences_.empty()) {
        out.mark = log_bessel_i0(a * std::sqrt(out.energy[mark]) / noise) -
                   log_bessel_i0(b * std::sqrt(out.energy[space]) / noise) - (a * a - b * b) / (2 * noise);
        return out;
    }
    outs_.push(out);
    if (end < ticks_per_bit) return std::nullopt;
    // The first of each detector comes from the start of time, which sets its tones in phase.
    const int64_t way =
        end < 2 * ticks_per_bit ? end * bit_samples_ / ticks_per_bit - bit_samples_ / 2 : bit_samples_;
    SequenceDetector& sequence = sequences_[size_t(end) % ticks_per_bit];
    sequence.expect(a, b);
    const float soft = sequence.push(m, s, int(way)) * (a + b) / noise;
    const int64_t then = outs_.end() - 1 - delay();
    if (then < 0) return std::nullopt;
    out = outs_[then];
    out.mark = soft;
    return out;
}
} // namespace decoders::keyed
