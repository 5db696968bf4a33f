// Keyed tones, stage by stage: a sender sample by sample or tick by tick, and what each stage makes of it.
#include "decoders/keyed/alphabet.h"
#include "support/signals.h"
#include <bit>

using namespace decoders::keyed;

namespace {
constexpr double rate = 8000, loud = 1500; // Hz
constexpr Tones wide = {2125, 2295, 50}, narrow = {390, 450, 75}, fast = {1270, 1070, 300};

struct Air {
    Tones tones;
    std::array<double, 2> amplitude; // of space and mark
    double snr;                      // of a loud tone: energy of a bit over noise density, dB
    double offset;                   // Hz
    int most;                        // errors
    bool fading = false;             // one tone after the other
};

test::Signal send(const std::vector<int>& bits, const Air& air)
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(
        0, loud * std::sqrt(rate / (4 * air.tones.baud) * std::pow(10, -air.snr / 10)));
    test::Signal signal(size_t(double(bits.size()) * rate / air.tones.baud));
    double phase = 1;
    for (size_t n = 0; n < signal.size(); ++n) {
        const int bit = bits[size_t(double(n) * air.tones.baud / rate)];
        phase += 2 * std::numbers::pi * ((bit ? air.tones.mark : air.tones.space) + air.offset) / rate;
        const double gain = air.fading ? std::cos(4 * double(n) / rate + bit) : 1;
        signal[n] = int16_t(std::lrint(gain * air.amplitude[size_t(bit)] * std::cos(phase) + noise(random)));
    }
    return signal;
}

struct Heard {
    State mean{.noise = 0};
    int blind = 0, known = 0, louder = 0; // errors: at first, by what is known, by mere energy
    double predicted = 0;                 // errors, as the known likelihoods say
};

Heard hear(const Air& air)
{
    std::mt19937 random(3);
    std::vector<int> bits(4000);
    for (int& bit : bits) bit = int(random() >> 31);
    const auto signal = send(bits, air);
    Correlator correlator(rate, air.tones);
    Surveyor surveyor(air.tones, correlator);
    Listener listener(air.tones, correlator);
    Heard heard;
    const int64_t begin = std::lround(correlator.delay() * air.tones.baud * ticks_per_bit);
    int64_t told = 0, out = 0;
    Recent<Correlator::Piece> pieces(13);
    const auto tick = [&](const Correlator::Piece& piece) {
        pieces.push(piece);
        const float likely = surveyor.push(piece);
        const int64_t past = pieces.end() - begin;
        if (past <= 0 || past % ticks_per_bit) return;
        const int bit = bits[size_t(past / ticks_per_bit - 1)];
        heard.blind += (likely > 0) != bit;
        const auto state = surveyor.find({pieces.end(), bit ? mark : space});
        if (!state) return;
        EXPECT_EQ(state->end, pieces.end() - surveyor.reach() * ticks_per_bit);
        const float share = 1 / float(int(bits.size()) - surveyor.reach());
        for (const Tone tone : {space, mark}) heard.mean.amplitude[tone] += state->amplitude[tone] * share;
        heard.mean.noise += state->noise * share;
        heard.mean.turn += state->turn * share;
        for (; told < state->end; ++told) {
            const auto known = listener.push(pieces[told], *state);
            EXPECT_EQ(bool(known), told >= listener.delay());
            if (!known) continue;
            const int64_t end = ++out - begin;
            if (end <= 0 || end % ticks_per_bit) continue;
            const int sent = bits[size_t(end / ticks_per_bit - 1)];
            heard.known += (known->mark > 0) != sent;
            heard.louder += (known->energy[mark] > known->energy[space]) != sent;
            heard.predicted += 1 / (1 + std::exp(std::fabs(known->mark)));
            EXPECT_GE(known->state.end, out);
        }
    };
    for (size_t at = 0, count; at < signal.size(); at += count) {
        count = std::min(1 + at % 97, signal.size() - at);
        for (const auto& piece : correlator.push(&signal[at], count)) tick(piece);
    }
    return heard;
}

TEST(Keying, SurveysTheSignalAndHearsBetterForIt)
{
    const Air airs[] = {
        {wide, {1500, 1500}, 9, 0, 30},   {wide, {1500, 375}, 11, 0, 60},
        {fast, {500, 1500}, 11, 20, 9},   {fast, {1500, 1500}, 9, -25, 9},
        {narrow, {1500, 1500}, 7, 0, 22}, {narrow, {1500, 1500}, 8, 5, 70},
        {narrow, {1500, 625}, 11, 0, 12}, {fast, {1500, 1500}, 14, 0, 230, true},
    };
    for (const Air& air : airs) {
        const Heard heard = hear(air);
        SCOPED_TRACE(&air - airs);
        EXPECT_LE(heard.known, air.most);
        EXPECT_GE(heard.blind,
                  (&air == airs ? 1 : 1.3) * heard.known); // of equal tones far apart all is known at first
        EXPECT_LT(heard.louder, 800);
        if (air.fading) continue;
        EXPECT_LT(heard.predicted, 3 * heard.known + 2);
        EXPECT_GT(heard.predicted, heard.known / 3.0);
        for (const Tone tone : {space, mark}) { // a weak one is believed to be nearer to the other
            EXPECT_GT(heard.mean.amplitude[tone], 0.9 * air.amplitude[tone]);
            EXPECT_LT(heard.mean.amplitude[tone], 1.05 * std::max(air.amplitude[tone], 550.0) + 150);
        }
        const double noise = loud * loud / 2 * std::pow(10, -air.snr / 10),
                     turn = 2 * std::numbers::pi * air.offset / air.tones.baud / ticks_per_bit;
        EXPECT_NEAR(heard.mean.noise, noise, 0.12 * noise);
        EXPECT_NEAR(heard.mean.turn, 0.65 * turn, 0.1 * std::fabs(turn) + 0.002); // the less is believed
    }
}

struct Typed {
    int character;
    double idle, stop, bit = ticks_per_bit; // ticks before; bits; ticks
    double mistake = 0;                     // added to the level of the third bit of its data
    double begin = 0;                       // ticks
};

// Levels of the characters, and log likelihood ratios of mark from them and noise.
std::vector<float> key(std::vector<Typed>& typed, int bits, double variance)
{
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0, std::sqrt(variance));
    std::vector<double> levels;
    double now = 0;
    const auto until = [&](double end, double level) {
        now = end;
        while (double(levels.size()) + 0.5 < end) levels.push_back(level + noise(random));
    };
    for (Typed& one : typed) {
        until(now + one.idle, 1);
        one.begin = now;
        until(now + one.bit, -1);
        for (int k = 0; k < bits; ++k)
            until(now + one.bit, (one.character >> k & 1 ? 1 : -1) + (k == 2 ? one.mistake : 0));
        until(now + one.stop * one.bit, 1);
    }
    until(now + 1000, 1);
    std::vector<float> marks;
    double sum = 0;
    for (size_t k = 0; k < levels.size(); ++k) {
        sum += levels[k] - (k >= ticks_per_bit ? levels[k - ticks_per_bit] : 0);
        marks.push_back(float(2 * sum / std::max(variance, 3.2))); // less noise isn't believed
    }
    return marks;
}

// Characters that are missing, wrong, late, or more than there were.
int mistakes(std::vector<Typed> typed, const Frame& frame, double variance = 0.25, double late = 3)
{
    PathSearch search(frame, 4);
    std::vector<Span> all;
    int64_t now = 0, decided = 0;
    const double delay = (1 + frame.bits + frame.stop) * ticks_per_bit * 4;
    for (const float mark : key(typed, frame.bits, variance)) {
        std::vector<Span> spans;
        search.push(mark, spans);
        for (const Span& span : spans) { // without gaps, but a little over what was decided otherwise before
            EXPECT_LE(span.begin, decided);
            EXPECT_GE(span.begin, decided - ticks_per_bit / 2);
            decided = span.end;
            if (span.character != Span::idle) all.push_back(span);
        }
        EXPECT_LE(double(decided), std::max(double(now) - delay + 1, 0.0));
        EXPECT_GE(double(decided), double(now++) - delay - (7 + frame.bits) * ticks_per_bit);
    }
    const auto right = std::ranges::count_if(typed, [&](const Typed& one) {
        return std::ranges::any_of(all, [&](const Span& span) {
            return span.character == one.character && std::fabs(double(span.begin) - one.begin) <= late;
        });
    });
    return int(std::max(all.size(), typed.size())) - int(right);
}

Frame plain(int bits, double stop) { return {bits, stop, std::vector<float>(size_t(1) << bits)}; }

std::vector<Typed> typing(size_t count, int bits, double stop, double bit = ticks_per_bit)
{
    std::mt19937 random(9);
    std::vector<Typed> typed;
    for (size_t k = 0; k < count; ++k)
        typed.push_back({int(random() >> (32 - bits)), k % 5 ? 0.0 : double(random() % 64), stop, bit});
    return typed;
}

TEST(PathSearch, FindsCharactersOfAnyLine)
{
    for (const auto& [bits, told, stop, bit] : {std::tuple{5, 1.5, 1.5, 16.0},
                                                {5, 1.5, 1.0, 16.0},
                                                {5, 1.5, 2.0, 16.0},
                                                {5, 1.0, 1.5, 16.0},
                                                {7, 2.0, 2.0, 16.0},
                                                {8, 1.0, 1.0, 15.6},
                                                {8, 1.0, 1.0, 16.4},
                                                {9, 1.0, 1.0, 16.2},
                                                {3, 1.0, 1.0, 16.0}})
        EXPECT_LE(mistakes(typing(200, bits, stop, bit), plain(bits, told)), 1)
            << bits << told << stop << bit;
}

// Characters are found as if each bit's place were known, but for half as many errors again.
TEST(PathSearch, LosesLittleInNoise)
{
    for (const auto& [bits, stop, variance] :
         {std::tuple{5, 1.5, 2.5}, {5, 1.5, 4.0}, {8, 1.0, 2.5}, {8, 1.0, 4.0}}) {
        const double wrong = std::erfc(std::sqrt(ticks_per_bit / variance / 2)) / 2; // bits
        EXPECT_LT(mistakes(typing(2000, bits, stop), plain(bits, stop), variance, ticks_per_bit / 2.0),
                  1.55 * 2000 * (1 - std::pow(1 - wrong, bits)));
    }
}

TEST(PathSearch, LosesWhatIsDamagedAlone)
{
    for (const int slip : {-20, -12, -8, -4, 4, 8, 12}) {
        auto slipped = typing(60, 5, 1.5);
        slipped[30].stop += slip / 16.0;
        EXPECT_LE(mistakes(slipped, plain(5, 1.5)), 1) << slip;
    }
    for (const double mistake : {1.2, -1.2}) { // parity tells
        std::vector<Typed> text = {{'*' | 0x80, 100, 1}};
        for (const unsigned char c : std::string("The quick brown fox"))
            text.push_back({c | (std::popcount(c) & 1) << 7, 0, 1, ticks_per_bit, mistake});
        EXPECT_EQ(mistakes(text, Ascii({.bits = 7, .parity = Ascii::Parity::even}).frame()), 0);
        EXPECT_GE(mistakes(text, plain(8, 1)), 7);
    }
}
} // namespace
