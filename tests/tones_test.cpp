// Tones: a stream cut anywhere gives the same messages. The samples go to the decoders themselves, piece by
// piece. And the way down to their rates.
#include "decoders/blocks.h"
#include "decoders/tones/tones.h"
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <random>

using namespace decoders;
using namespace decoders::tones;

namespace {
constexpr double rate = 11025; // Hz

struct Tone {
    double begin, seconds, frequency;
};

// Tones over noise 20 dB below each.
std::vector<int16_t> audio(double seconds, const std::vector<Tone>& tones)
{
    std::mt19937 random(1);
    std::vector<int16_t> samples(size_t(seconds * rate));
    for (size_t k = 0; k < samples.size(); ++k) {
        const double time = double(k) / rate;
        double sum = 200 * (double(random()) / 4294967296.0 - 0.5) * std::sqrt(12);
        for (const Tone& tone : tones)
            if (time >= tone.begin && time < tone.begin + tone.seconds)
                sum += 2800 * std::sin(2 * M_PI * tone.frequency * (time - tone.begin));
        samples[k] = int16_t(std::lround(sum));
    }
    return samples;
}

using Make = std::function<MadeDecoder(Emit)>;

std::vector<std::string> heard(const Make& make, const std::vector<int16_t>& samples, size_t piece)
{
    std::vector<std::string> messages;
    const auto decoder = make([&](const Message& message) {
        messages.push_back(std::to_string(message.time) + " " + message.text + " " + message.fields.text());
    });
    for (size_t at = 0; at < samples.size(); at += piece)
        decoder->push(&samples[at], std::min(piece, samples.size() - at));
    decoder->finish();
    return messages;
}
} // namespace

TEST(Tones, CutAnywhereAreTheSame)
{
    struct Case {
        const char* name;
        Make make;
        double seconds;
        std::vector<Tone> tones;
        size_t messages;
    };
    // The last tones reach to the end, where silence brings them out.
    const Case cases[] = {
        {"dtmf",
         [](Emit emit) { return make_dtmf(rate, {}, std::move(emit)); },
         1,
         {{0.1, 0.05, 697}, {0.1, 0.05, 1209}, {0.9, 0.1, 941}, {0.9, 0.1, 1633}},
         2},
        {"zvei",
         [](Emit emit) { return make_five_tone(rate, {}, std::move(emit)); },
         0.55,
         {{0.2, 0.07, 1060}, {0.27, 0.07, 2600}, {0.34, 0.07, 2200}, {0.41, 0.07, 970}, {0.48, 0.07, 810}},
         1},
        {"tones",
         [](Emit emit) { return make_levels(rate, {.frequencies = {697}}, std::move(emit)); },
         0.35,
         {{0.1, 0.2, 697}},
         3},
        {"selcal",
         [](Emit emit) { return make_selcal(rate, std::move(emit)); },
         2.4,
         {{0.2, 1, 312.6}, {0.2, 1, 1479.1}, {1.4, 1, 881}, {1.4, 1, 977.2}},
         1},
        {"ctcss",
         [](Emit emit) { return make_ctcss(rate, std::move(emit)); },
         9,
         {{0, 3, 67}, {6, 3, 254.1}},
         3},
        {"ctcss beside hum",
         [](Emit emit) { return make_ctcss(rate, std::move(emit)); },
         9,
         {{0, 9, 50}, {0, 9, 100}, {0, 9, 150}, {0, 9, 200}, {5, 4, 123}},
         1},
    };
    for (const auto& [name, make, seconds, tones, messages] : cases) {
        SCOPED_TRACE(name);
        const std::vector<int16_t> samples = audio(seconds, tones);
        const auto whole = heard(make, samples, samples.size());
        EXPECT_EQ(whole.size(), messages);
        for (const size_t piece : {1, 7, 441, 1000}) EXPECT_EQ(heard(make, samples, piece), whole) << piece;
    }
}

// At the wanted rate what passes is as it was, at its time, and what would fold is 70 dB down, whatever the
// ratio.
TEST(Resampler, IsAsSharpHoweverFarDown)
{
    constexpr double low = 600; // Hz
    // Amplitude, half scale being 1, and phase of a sine of full scale behind the resampler.
    const auto heard = [](double from, double frequency, double at) {
        decoders::Resampler resampler(from, low);
        std::vector<int16_t> samples(size_t(from * 1.2));
        for (size_t k = 0; k < samples.size(); ++k)
            samples[k] = int16_t(std::lround(32767 * std::cos(2 * M_PI * frequency * double(k) / from)));
        const std::vector<int32_t>& out = resampler.push32(samples.data(), samples.size());
        std::complex<double> sum = 0;
        constexpr size_t first = 90, count = 600; // behind the filters; whole periods
        for (size_t k = first; k < first + count; ++k)
            sum += double(out[k]) *
                   std::polar(1.0, -2 * M_PI * at * (double(k) / resampler.rate() - resampler.delay()));
        return sum * 2.0 / double(count) / 1073741824.0;
    };
    for (const double from : {8000, 11025, 44100, 96000, 250000, 2400000}) {
        SCOPED_TRACE(from);
        EXPECT_LT(std::abs(heard(from, 100, 100) - 1.0), 0.003);
        for (const double folds : {1, 2, 3, 5, 10})
            EXPECT_LT(std::abs(heard(from, folds * low - 100, 100)), 3e-4) << folds;
    }
}
