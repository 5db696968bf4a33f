// The client's spectra: calibrated levels, tones found, round ticks, rows that lose nothing, an even ramp.
#include "spectra/axis.h"
#include "spectra/lines.h"
#include "spectra/palette.h"
#include "spectra/peaks.h"
#include "spectra/transform.h"
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

using namespace client::spectra;

namespace {
constexpr double full = 32767.4; // a sine of this amplitude, rounded, reaches full scale

// size samples, or pairs, of a tone between the bins, and noise.
std::vector<int16_t> tone(int32_t size, double bin, bool iq, double amplitude = full, double noise = 0)
{
    std::mt19937 random(5);
    std::normal_distribution<double> gauss(0, 1);
    std::vector<int16_t> block;
    for (int32_t t = 0; t < size; ++t)
        for (int part = 0; part <= (iq ? 1 : 0); ++part)
            block.push_back(int16_t(std::lround(amplitude * std::cos(2 * std::numbers::pi * bin * t / size +
                                                                     0.3 - part * std::numbers::pi / 2) +
                                                noise * gauss(random))));
    return block;
}

double db(double power) { return 10 * std::log10(power); }

// The mean of one spectrum.
Mean one(const std::vector<double>& power)
{
    Mean mean = {power, power, 1};
    for (double& square : mean.square) square *= square;
    return mean;
}

struct Window {
    double scalloping, noise_width; // dB; bins (Harris, On the use of windows, 1978)
};
constexpr Window windows[] = {{3.92, 1.00}, {1.82, 1.33}, {1.42, 1.50}, {1.75, 1.36}, {1.10, 1.73}};
} // namespace

TEST(Transform, AFullScaleSineReadsZeroInEveryWindow)
{
    for (int window = 0; window < 5; ++window)
        for (const bool iq : {false, true})
            for (const int32_t size : {64, 1024, 16384}) {
                SCOPED_TRACE(std::string(window_names[window]) + (iq ? " I/Q " : " ") + std::to_string(size));
                Transform transform(size, window, iq);
                ASSERT_EQ(transform.bins(), size_t(iq ? size : size / 2));
                for (const int bin :
                     iq ? std::vector{-size / 4, -5, 0, 7} : std::vector{5, size / 4, size / 2 - 6}) {
                    const int place = bin + (iq ? size / 2 : 0);
                    EXPECT_NEAR(db(transform.run(tone(size, bin, iq).data())[place]), 0, 0.005) << bin;
                    if (std::abs(bin) == size / 4 && size > 64) { // where the mirror image's skirts don't add
                        EXPECT_NEAR(db(transform.run(tone(size, bin + 0.5, iq).data())[place]),
                                    -windows[window].scalloping, 0.02);
                    }
                    EXPECT_NEAR(db(transform.run(tone(size, bin, iq, full / 100).data())[place]), -40, 0.02);
                }
                EXPECT_NEAR(transform.noise_width(), windows[window].noise_width, 0.03);
            }
}

TEST(Transform, NoiseReadsItsDensityTimesTheNoiseWidth)
{
    for (int window = 0; window < 5; ++window)
        for (const bool iq : {false, true}) {
            const int32_t size = 16384;
            Transform transform(size, window, iq);
            const float* power = transform.run(tone(size, 0, iq, 0, 1000).data());
            double sum = 0;
            for (size_t k = 10; k < transform.bins() - 10; ++k) sum += power[k];
            // A full-scale sine has the power 1/2, a complex tone 1; noise lies in size / 2 bins, or size
            // with both parts.
            const double density = std::pow(1000 / 32768.0, 2) * 2 / (size / 2.0) / (iq ? 2 : 1);
            EXPECT_NEAR(db(sum / double(transform.bins() - 20) / (density * transform.noise_width())), 0,
                        0.15);
        }
}

TEST(Peaks, AToneStandsWhereItIsAndSoHigh)
{
    for (int window = 0; window < 5; ++window) {
        const Kernel kernel(window);
        for (int tenths = 2000; tenths <= 2010; ++tenths)
            for (const double amplitude : {30000.0, 1000.0}) {
                const double bin = tenths / 10.0;
                SCOPED_TRACE(std::string(window_names[window]) + " " + std::to_string(bin));
                Transform transform(2048, window, false);
                const float* found = transform.run(tone(2048, bin, false, amplitude, 3).data());
                const auto peaks = find_peaks(one({found, found + 1024}), kernel, 50);
                ASSERT_FALSE(peaks.empty());
                EXPECT_NEAR(peaks[0].bin, bin, 0.02);
                EXPECT_NEAR(db(peaks[0].power), 20 * std::log10(amplitude / 32768), 0.05);
                EXPECT_EQ(peaks.size(), 1u) << "skirts taken for tones, the first at " << peaks[1].bin;
            }
    }
}

TEST(Peaks, AreTheStrongestAboveTheirSurroundings)
{
    std::vector<double> power(1000, 1e-6);
    for (const auto& [bin, level] :
         {std::pair(100, 1e-2), {103, 1e-3}, {500, 1e-4}, {600, 0.9e-5}, {900, 1e-1}})
        power[size_t(bin)] = level;
    const Kernel hann(2);
    const auto bins = [&](size_t most) {
        std::vector<int> result;
        for (const Peak& peak : find_peaks(one(power), hann, most))
            result.push_back(int(std::lround(peak.bin)));
        return result;
    };
    EXPECT_EQ(bins(99), (std::vector{900, 100, 103, 500}));
    EXPECT_EQ(bins(2), (std::vector{900, 100}));
    // Between two bins the strongest of all, though its highest bin isn't.
    for (const auto& [bin, off] : {std::pair(299, 1.49), {300, 0.49}, {301, 0.51}, {302, 1.5}})
        power[size_t(bin)] = 0.11 * hann.main_lobe(off);
    EXPECT_EQ(bins(1), std::vector{300});
    EXPECT_EQ(bins(3), (std::vector{300, 900, 100}));
    EXPECT_EQ(bins(0), std::vector<int>());
    std::fill_n(power.begin() + 299, 4, 1e-6);
    for (size_t k = 490; k < 600; ++k) power[k] = 1e-4; // a station as wide as that has no peaks
    EXPECT_EQ(bins(99), (std::vector{900, 100, 103}));
}

// Powers of noise are exponential; a tone is so much stronger than the noise of its bin. However many spectra
// are averaged, noise makes no tone, steady or in overs, flat or with a step, and weaker tones are found the
// more there are.
TEST(Peaks, NoiseMakesNone)
{
    const Kernel hann(2);
    for (const auto& [blocks, least] : {std::pair(1, 50.0), {4, 10.0}, {30, 2.0}, {400, 0.6}})
        for (const bool step : {false, true})
            for (const bool overs : {false, true})
                for (uint32_t seed = 1; seed <= 12; ++seed) {
                    std::mt19937 random(seed);
                    std::exponential_distribution<double> noise(1);
                    Mean mean = {std::vector<double>(1024), std::vector<double>(1024), double(blocks)};
                    for (int block = 0; block < blocks; ++block)
                        for (size_t k = 0; k < 1024; ++k) {
                            const double level =
                                (step && k > 500 ? 1e-3 : 1) * (overs && block % 5 ? 1e-2 : 1);
                            const double power = level * noise(random) / blocks;
                            mean.power[k] += power;
                            mean.square[k] += blocks * power * power;
                        }
                    ASSERT_TRUE(find_peaks(mean, hann, 9).empty()) << blocks << step << overs << seed;
                    if (step || overs) continue;
                    mean.power[300] += least;
                    const auto peaks = find_peaks(mean, hann, 9);
                    ASSERT_EQ(peaks.size(), 1u) << blocks << " " << seed;
                    EXPECT_NEAR(peaks[0].bin, 300, 0.5);
                }
}

TEST(Axis, TicksAreRoundAndWhereTheirValuesAre)
{
    for (const auto& [range, most, step] :
         {std::tuple(48e3, 12.0, 5e3), {3000, 15, 200}, {1, 10, 0.1}, {7, 5, 2}, {1e7, 1, 1e7}})
        EXPECT_DOUBLE_EQ(round_step(range, most), step) << range << " / " << most;

    const auto labels = [](const Ticks& ticks) {
        std::string text;
        for (const Tick& tick : ticks.ticks)
            if (!tick.label.empty()) text += tick.label + " ";
        return text + ticks.unit;
    };
    EXPECT_EQ(labels(frequency_ticks({-12, 47988, 72, 1024}, 80)), "0 5 10 15 20 25 30 35 40 45 kHz");
    EXPECT_EQ(labels(frequency_ticks({-1.2e6, 1.2e6, 0, 500}, 80)), "-1000 -500 0 500 1000 kHz");
    EXPECT_EQ(labels(frequency_ticks({7.0e6, 7.2e6, 0, 500}, 80)), "7 7.05 7.1 7.15 MHz");
    EXPECT_EQ(labels(frequency_ticks({14200, 14204, 0, 500}, 80)), "14200 14201 14202 14203 Hz");
    EXPECT_EQ(labels(frequency_ticks({10489.5495e6, 10489.5505e6, 0, 500}, 80)),
              "10489.5496 10489.5498 10489.55 10489.5502 10489.5504 MHz");
    EXPECT_EQ(labels(time_ticks({0.02, 0.31, 0, 300}, 60)), "0.1 0.2 0.3 s");
    EXPECT_EQ(labels(time_ticks({0, 240, 0, 300}, 60)), "0:00 1:00 2:00 3:00 min:s");
    EXPECT_EQ(labels(time_ticks({3500, 9000, 0, 300}, 60)),
              "1:00:00 1:20:00 1:40:00 2:00:00 2:20:00 h:min:s");
    const Axis axis = {100, 200, 10, 50};
    EXPECT_EQ(axis.place(100), 10);
    EXPECT_EQ(axis.place(199.9), 59);
    EXPECT_EQ(axis.place(150), 35);
}

// However many blocks come, all of them are in the rows, and the highest bin of a group stands in its column.
TEST(Lines, NoBlockIsLost)
{
    for (const int blocks : {1, 3, 8, 9, 16, 17, 1000, 1023})
        for (const int64_t each : {1, 3}) {
            Lines lines(7, 3, 8, each);
            ASSERT_EQ(lines.columns(), 2u);
            for (int k = 0; k < blocks; ++k) {
                const float power[] = {0, float(k), 0, 2, 1, 0, 99};
                lines.add(power);
            }
            lines.finish();
            ASSERT_LE(lines.count(), 8u);
            EXPECT_EQ(int64_t(lines.count()), (blocks + lines.each() - 1) / lines.each());
            for (size_t row = 0; row < lines.count(); ++row) {
                const double first = double(row) * double(lines.each());
                const double last = std::min(first + double(lines.each()), double(blocks)) - 1;
                EXPECT_NEAR(lines.powers()[2 * row], (first + last) / 2, 1e-3 * (last + 1)) << blocks;
                EXPECT_FLOAT_EQ(lines.powers()[2 * row + 1], 2);
            }
        }
}

TEST(Lines, TheRangeHoldsNoiseAndTones)
{
    std::vector<float> levels(10000, -80);
    std::fill_n(levels.begin(), 100, -12.0f);
    const Range tones = range_of(levels, 100, -130);
    EXPECT_FLOAT_EQ(tones.floor, -85);
    EXPECT_FLOAT_EQ(tones.ceiling, -10);
    const Range silence = range_of(std::vector<float>(50, -200), 10, -130);
    EXPECT_LE(silence.floor + 30, silence.ceiling);
}

// A band of 100 columns: what lies at its edges, and between the two columns.
TEST(Lines, TheRangeLeavesEmptyEdgesOut)
{
    const auto floor_of = [](size_t first, size_t last, float inside, float edges) {
        std::vector<float> levels;
        for (int row = 0; row < 40; ++row)
            for (size_t c = 0; c < 100; ++c) levels.push_back(c < first || c > last ? edges : inside);
        levels[50] = levels[150] = levels[250] = levels[350] = levels[450] = -10;
        return range_of(levels, 100, -130).floor;
    };
    EXPECT_FLOAT_EQ(floor_of(10, 89, -62, -97), -65);  // a receiver's filter
    EXPECT_FLOAT_EQ(floor_of(0, 30, -62, -97), -65);   // speech at a high rate
    EXPECT_FLOAT_EQ(floor_of(48, 52, -42, -72), -75);  // a station in noise
    EXPECT_FLOAT_EQ(floor_of(10, 89, -62, -78), -80);  // noise that falls a little
    EXPECT_FLOAT_EQ(floor_of(48, 52, -42, -131), -45); // a station without noise
    EXPECT_FLOAT_EQ(floor_of(10, 89, -35, -57), -60);  // all of it can be shown
}

// Lightness after CIE 1976, another scale than the one by which the ramp is made: it rises all along, and no
// tenth of the ramp has more than twice or less than half its share.
TEST(Palette, TheRampIsEven)
{
    const Palette palette = make_palette();
    const auto lightness = [&](size_t k) {
        const double weights[] = {0.0722, 0.7152, 0.2126};
        double y = 0;
        for (int byte = 0; byte < 3; ++byte) {
            const double v = double(palette[k] >> (8 * byte) & 255) / 255;
            y += weights[byte] * (v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4));
        }
        return y > 0.008856 ? 116 * std::cbrt(y) - 16 : 903.3 * y;
    };
    const double share = (lightness(ramp_colours - 1) - lightness(0)) / 10;
    EXPECT_GT(share, 8);
    for (size_t k = 0; k + 16 < ramp_colours; ++k) {
        EXPECT_GT(lightness(k + 4), lightness(k)) << k;
        EXPECT_LT(lightness(k + 16) - lightness(k), 2 * share) << k;
        EXPECT_GT(lightness(k + 16) - lightness(k), share / 2) << k;
    }
    EXPECT_EQ(level_colour(-1), 0);
    EXPECT_EQ(level_colour(0.5), ramp_colours / 2);
    EXPECT_EQ(level_colour(NAN), 0);
    EXPECT_EQ(level_colour(7), ramp_colours - 1);
}
