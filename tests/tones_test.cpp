// Tones: a stream cut anywhere gives the same messages. The samples go to the decoders themselves, piece by piece.
#include "decoders/decoder.h"
#include <cmath>
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

std::vector<std::string> heard(const DataMode& mode, const std::vector<int16_t>& samples, size_t piece)
{
    std::vector<std::string> messages;
    const auto decoder = mode.make(rate, [&](const Message& message) {
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
        std::vector<DataMode> (*family)(client::CommandLine&);
        double seconds;
        std::vector<Tone> tones;
        size_t messages;
    };
    // The last tones reach to the end, where silence brings them out.
    const Case cases[] = {
        {dtmf_modes, 1, {{0.1, 0.05, 697}, {0.1, 0.05, 1209}, {0.9, 0.1, 941}, {0.9, 0.1, 1633}}, 2},
        {five_tone_modes,
         0.55,
         {{0.2, 0.07, 1060}, {0.27, 0.07, 2600}, {0.34, 0.07, 2200}, {0.41, 0.07, 970}, {0.48, 0.07, 810}},
         1},
        {selcal_modes, 2.4, {{0.2, 1, 312.6}, {0.2, 1, 1479.1}, {1.4, 1, 881}, {1.4, 1, 977.2}}, 1},
        {ctcss_modes, 9, {{0, 3, 67}, {6, 3, 254.1}}, 3},
    };
    for (const auto& [family, seconds, tones, messages] : cases) {
        client::CommandLine line;
        const DataMode mode = family(line).front();
        SCOPED_TRACE(mode.name);
        const std::vector<int16_t> samples = audio(seconds, tones);
        const auto whole = heard(mode, samples, samples.size());
        EXPECT_EQ(whole.size(), messages);
        for (const size_t piece : {1, 7, 441, 1000}) EXPECT_EQ(heard(mode, samples, piece), whole) << piece;
    }
}
