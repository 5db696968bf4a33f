// Bits of phase-continuous FSK by sequences: a sender sample by sample, correlators, and errors counted.
#include "decoders/sequence.h"
#include <cmath>
#include <complex>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <utility>

using decoders::Phasor;
using decoders::SequenceDetector;
using decoders::Tracking;

namespace {
using Complex = std::complex<double>;
constexpr double full_turn = 2 * std::numbers::pi;
constexpr int window = 24; // samples of a bit

struct Air {
    double apart;        // of the tones, bit rates
    double snr = 99;     // of a tone of amplitude 1: energy of a bit over noise density, dB
    double bit = window; // samples, as the sender has them
    std::function<double(size_t)> offset{};   // bit rates, above the tones, at a bit
    std::array<double, 2> amplitude = {1, 1}; // of 0 and 1
    size_t silent = 0;                        // bits at the beginning, noise and all
    double phase = 0;                         // at first
};

std::vector<int> dice(size_t count)
{
    std::mt19937 random(7);
    std::vector<int> bits(count);
    for (int& bit : bits) bit = int(random() >> 31);
    return bits;
}

// Soft values of bits.
std::vector<float> hear(const std::vector<int>& bits, const Air& air, Tracking tracking = {},
                        bool told = false)
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, std::sqrt(window / 2.0 * std::pow(10, -air.snr / 10)));
    std::vector<Complex> samples;
    double phase = air.phase;
    const double omega[2] = {0.3, 0.3 + full_turn * air.apart / window};
    for (size_t k = 0; k < bits.size(); ++k)
        while (double(samples.size()) < double(k + 1) * air.bit) {
            const Complex sent = std::polar(air.amplitude[size_t(bits[k])], phase);
            samples.push_back(k < air.silent ? 0 : sent + Complex(noise(random), noise(random)));
            phase += omega[bits[k]] + (air.offset ? air.offset(k) * full_turn / window : 0);
        }
    samples.resize(samples.size() + window);
    SequenceDetector detector(omega[1], omega[0], tracking);
    if (told) detector.expect(float(air.amplitude[1]), float(air.amplitude[0]));
    std::vector<float> soft;
    size_t middle = 0;
    for (size_t k = 0; k < bits.size(); ++k) {
        const auto begin = size_t(std::lround(double(k) * air.bit));
        Phasor tones[2];
        for (size_t b : {0u, 1u}) {
            Complex sum;
            for (size_t n = begin; n < begin + window; ++n)
                sum += samples[n] * std::polar(1.0 / window, -omega[b] * (double(n) + 0.5));
            tones[b] = {float(sum.real()), float(sum.imag())};
        }
        const size_t way = begin + window / 2 - std::exchange(middle, begin + window / 2);
        soft.push_back(detector.push(tones[1], tones[0], int(way)));
    }
    soft.erase(soft.begin(), soft.begin() + 2); // of bits before the first
    return soft;
}

int errors(const std::vector<int>& bits, const std::vector<float>& soft, size_t from = 3)
{
    int wrong = 0;
    for (size_t k = from; k < soft.size(); ++k) wrong += (soft[k] > 0) != (bits[k] == 1);
    return wrong;
}

TEST(SequenceDetector, HearsABitInItsNeighbours)
{
    const auto bits = dice(20000);
    for (const auto& [apart, snr, most] :
         {std::tuple{0.5, 8.0, 25}, {0.715, 8.0, 8}, {0.833, 6.0, 180}, {1.0, 8.0, 190}}) {
        EXPECT_LE(errors(bits, hear(bits, {.apart = apart, .snr = snr})), most) << apart;
        const double alone = 20000 * 0.5 * std::exp(-std::pow(10, snr / 10) / 2); // bit by bit, orthogonal
        EXPECT_LT(most, alone / 2);
    }
}

TEST(SequenceDetector, KnowsNoPhaseButItsOwn)
{
    const auto bits = dice(300);
    for (const double bit : {24.0, 24.3, 23.8}) {
        const auto soft = hear(bits, {.apart = 0.5, .bit = bit}),
                   again = hear(bits, {.apart = 0.5, .bit = bit, .phase = 2});
        EXPECT_EQ(errors(bits, soft), 0) << bit;
        for (size_t k = 2; k < soft.size(); ++k) {
            EXPECT_NEAR(std::fabs(soft[k]), 0.92, 0.13) << bit; // all, but for what neighbours leave open
            EXPECT_NEAR(soft[k], again[k], 1e-3);
        }
    }
}

constexpr Tracking slow = {0.03, 0.02};

TEST(SequenceDetector, FollowsWhatDrifts)
{
    const auto bits = dice(4000);
    const auto drift = [](size_t k) { return 0.06 * std::sin(double(k) / 400); };
    for (const Air& air :
         {Air{.apart = 0.8, .snr = 10, .offset = drift}, Air{.apart = 0.8, .snr = 12, .amplitude = {0.3, 1}},
          Air{.apart = 0.8, .snr = 12, .amplitude = {1, 0.3}}}) {
        EXPECT_GT(errors(bits, hear(bits, air)), 30);
        EXPECT_LE(errors(bits, hear(bits, air, slow), 100), 1);
        EXPECT_LE(errors(bits, hear(bits, air, {slow.frequency, 0}, true), 100), 1);
    }
}

// What misleads it is forgotten within a preamble: another station's tones, silence, one tone for long.
TEST(SequenceDetector, FindsBack)
{
    constexpr size_t before = 2000, preamble = 100;
    const auto far = [](size_t k) { return k < before ? 0.35 : 0; };
    for (const Air& air : {Air{.apart = 0.8, .snr = 12, .offset = far},
                           Air{.apart = 0.8, .snr = 12, .silent = before}, Air{.apart = 0.8, .snr = 12}})
        for (const int tone : {-1, 0, 1}) {
            auto bits = dice(2 * before);
            if (tone >= 0) std::fill_n(bits.begin(), before, tone);
            EXPECT_LE(errors(bits, hear(bits, air, slow), before + preamble), 1) << tone;
        }
}
} // namespace
