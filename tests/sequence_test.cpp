// Bits of phase-continuous FSK by sequences: a sender sample by sample, correlators, and errors counted.
#include "decoders/sequence.h"
#include <array>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <random>
#include <utility>

using decoders::Phasor;
using decoders::SequenceDetector;

namespace {
using Complex = std::complex<double>;
constexpr int window = 24;                     // samples of a bit
constexpr size_t early = 2000, preamble = 100; // bits
constexpr decoders::Tracking fixed = {}, slow = {0.03, 0.02}, by_channel = {.gain = 0.5, .slope = 0.15};
double still(size_t) { return 0; }
double drifting(size_t k) { return 0.06 * std::sin(double(k) / 400); }
double far_early(size_t k) { return k < early ? 0.35 : 0; }

struct Air {
    double apart;        // of the tones, bit rates
    double snr;          // of a tone of amplitude 1: energy of a bit over noise density, dB
    double bit = window; // samples, as the sender has them
    decoders::Tracking tracking = fixed;
    std::array<double, 2> amplitude = {1, 1}; // of 0 and 1
    double (*offset)(size_t bit) = still;     // bit rates, above the tones
    int early_tone = -1;                      // of the early bits; 2: silence, noise and all
    double doppler = 0;                       // bit rates: two paths as strong, one above and one below
};

// Errors in so many random bits.
int errors(const Air& air, size_t count, size_t from = preamble)
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, std::sqrt(window / 2.0 * std::pow(10, -air.snr / 10)));
    const double radians = 2 * M_PI / window, omega[2] = {0.3, 0.3 + radians * air.apart};
    std::vector<size_t> bits;
    std::vector<Complex> samples;
    double phase = 1;
    for (size_t k = 0; k < count; ++k) {
        bits.push_back(k < early && (air.early_tone == 0 || air.early_tone == 1) ? size_t(air.early_tone)
                                                                                 : random() >> 31);
        while (double(samples.size()) < double(k + 1) * air.bit) {
            const double fading = std::cos(radians * air.doppler * double(samples.size()));
            const Complex sent = air.amplitude[bits[k]] * fading * std::polar(1.0, phase) +
                                 Complex(noise(random), noise(random));
            samples.push_back(k < early && air.early_tone == 2 ? 0 : sent);
            phase += omega[bits[k]] + air.offset(k) * radians;
        }
    }
    samples.resize(samples.size() + window);
    SequenceDetector detector(omega[1], omega[0], air.tracking);
    int wrong = 0;
    for (size_t k = 0, middle = 0; k < count; ++k) {
        const auto begin = size_t(std::lround(double(k) * air.bit));
        Phasor tones[2];
        for (size_t b : {0u, 1u}) {
            Complex sum;
            for (size_t n = begin; n < begin + window; ++n)
                sum += samples[n] * std::polar(1.0 / window, -omega[b] * (double(n) + 0.5));
            tones[b] = {float(sum.real()), float(sum.imag())};
        }
        const size_t way = begin + window / 2 - std::exchange(middle, begin + window / 2);
        const float soft = detector.push(tones[1], tones[0], int(way));
        if (k >= from + SequenceDetector::delay)
            wrong += (soft > 0) != (bits[k - SequenceDetector::delay] == 1);
    }
    return wrong;
}

TEST(SequenceDetector, HearsABitInItsNeighbours)
{
    for (const auto& [air, most] : {std::pair{Air{0.5, 8}, 24},
                                    {Air{0.5, 8, 24.3}, 28},
                                    {Air{0.715, 8}, 6},
                                    {Air{0.715, 8, 23.8}, 8},
                                    {Air{0.833, 6}, 130},
                                    {Air{1, 8}, 180}}) {
        EXPECT_LE(errors(air, 20000), most) << air.apart;
        EXPECT_LT(most, 20000 * 0.25 * std::exp(-std::pow(10, air.snr / 10) / 2)); // half of bit by bit
    }
}

TEST(SequenceDetector, FollowsWhatDrifts)
{
    for (Air air : {Air{0.8, 10, window, slow, {1, 1}, drifting}, Air{0.8, 12, window, slow, {0.3, 1}},
                    Air{0.8, 12, window, slow, {1, 0.3}}}) {
        EXPECT_LE(errors(air, 4000), 4);
        air.tracking = fixed;
        EXPECT_GT(errors(air, 4000), 6);
    }
}

TEST(SequenceDetector, FollowsAChannelThroughZero)
{
    Air air{0.833, 22, window, by_channel, {1, 1}, still, -1, 0.02};
    EXPECT_LE(errors(air, 8000), 100);
    air.tracking = fixed;
    EXPECT_GT(errors(air, 8000), 300);
}

// What misleads it is forgotten within a preamble: another station's tones, one tone for long, silence.
TEST(SequenceDetector, FindsBack)
{
    for (const auto offset : {still, far_early})
        for (const int tone : {-1, 0, 1, 2})
            EXPECT_LE(errors({0.8, 12, window, slow, {1, 1}, offset, tone}, 2 * early, early + preamble), 1)
                << tone;
}
} // namespace
