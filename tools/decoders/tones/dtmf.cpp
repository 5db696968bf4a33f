// Telephone keys: each digit is two tones at once, one of four low ones and one of four high ones.
#include "decoders/tones/spectra.h"
#include "decoders/tones/symbols.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <cmath>

namespace decoders::tones {
namespace {
constexpr double rows[] = {697, 770, 852, 941}, columns[] = {1209, 1336, 1477, 1633}; // Hz
constexpr char keys[] = "123A456B789C*0#D";

constexpr double most_off = 0.025;     // of a tone's frequency, in a frame
constexpr double most_mean_off = 0.02; // of a key: senders keep to 0.015
constexpr double most_twist = 12;      // dB
constexpr double least_share = 0.35;   // of the power that is heard, in a frame
constexpr double least_clear = 5.5;    // dB: speech reaches 4, digits 3 dB over the noise in 4 kHz 8 and more
constexpr double below = 650;          // Hz: from here down, lines that stand are those of the exchange
constexpr double beside = 75;          // Hz, from a tone to what is another line
constexpr double least_duration = 0.028; // s

class Dtmf : public SpectraDecoder {
public:
    Dtmf(double rate, double pause, Emit emit)
        : SpectraDecoder(rate, {.rate = 8000, .window = 0.032, .hop = 0.004}, std::move(emit)),
          pause_(pause),
          symbols_(spectra_.hop(), [this](const Symbol& symbol) { take(symbol); })
    {
    }

private:
    void look(double time) override
    {
        if (standing_.push(spectra_.bins(below))) last_floor_ = standing_.floor();
        if (!symbols_.running()) floor_ = last_floor_;
        spectra_.leave_out(floor_);
        const Peak low = spectra_.peak(650, 1000), high = spectra_.peak(1150, 1720);
        const int row = nearest(rows, low.frequency), column = nearest(columns, high.frequency);
        const double low_off = low.frequency / rows[row] - 1, high_off = high.frequency / columns[column] - 1;
        Sight sight{.time = time,
                    .power = low.power + high.power,
                    .twist = decibels_over(high.power, low.power),
                    .off = {low_off, high_off}};
        const double other = std::max({spectra_.peak(300, low.frequency - beside).power,
                                       spectra_.peak(low.frequency + beside, high.frequency - beside).power,
                                       spectra_.peak(high.frequency + beside, 3400).power});
        sight.clear = decibels_over(std::min(low.power, high.power), other);
        if (sight.power > least_share * spectra_.power(300, 3400) && std::fabs(sight.twist) < most_twist &&
            std::fabs(low_off) < most_off && std::fabs(high_off) < most_off)
            sight.symbol = 4 * row + column;
        symbols_.push(sight);
        if (!line_.empty() && !symbols_.running() && time - line_.back().end > pause_) end();
    }

    void take(const Symbol& symbol)
    {
        const double off = std::max(std::fabs(symbol.off[0]), std::fabs(symbol.off[1]));
        if (symbol.duration() < least_duration || symbol.clear < least_clear || off > most_mean_off) return;
        if (!line_.empty() && symbol.begin - line_.back().end > pause_) end();
        line_.push_back(symbol);
    }

    void end() override
    {
        if (line_.empty()) return;
        Message message{.time = line_.front().begin, .level = mean_level(line_)};
        std::vector<words::JsonObject> digits;
        for (const Symbol& symbol : line_) {
            const std::string digit(1, keys[symbol.symbol]);
            message.text += digit;
            digits.emplace_back()
                .add("digit", digit)
                .add("time", symbol.begin)
                .add("duration", symbol.duration())
                .add("level", tenth(decibels(symbol.power)))
                .add("twist", tenth(symbol.twist));
        }
        message.fields.add("digits", digits);
        line_.clear();
        emit_(message);
    }

    const double pause_; // s
    Standing standing_;
    std::vector<float> last_floor_, floor_; // of what stands, and of what stood before the key
    Symbols symbols_;
    std::vector<Symbol> line_;
};
} // namespace

MadeDecoder make_dtmf(double rate, const DtmfSettings& settings, Emit emit)
{
    require(rate, (1 + most_off) * columns[3], "a tone of " + words::number(columns[3]) + " Hz");
    return std::make_unique<Dtmf>(rate, settings.pause, std::move(emit));
}
} // namespace decoders::tones
