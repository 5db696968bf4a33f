// Levels of given frequencies over time, by the library's tone detector: a narrow band-pass, twice, and the
// sum of what comes out of it.
#include "decoders/blocks.h"
#include "decoders/decoder.h"
#include "line/failure.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace decoders::tones {
namespace {
struct Settings {
    std::vector<double> frequencies; // Hz
    double every = 0.1;              // s
    std::optional<double> width;     // Hz
};

constexpr double floor_level = -120; // dB: less than 16-bit samples can show

class Levels : public Decoder {
public:
    Levels(double rate, const Settings& settings, Emit emit)
        : settings_(settings),
          rate_(rate),
          emit_(std::move(emit)),
          period_(std::max<int64_t>(std::llround(settings.every * rate), 1))
    {
        if (settings.frequencies.empty()) throw WrongUsage("--mode tones needs --freq FREQ,...");
        const double width = settings.width.value_or(2 / settings.every);
        if (width >= rate / 5)
            throw Failure("a width of " + number(width) + " Hz", "too much at " + number(rate) + " Hz");
        for (const double frequency : settings.frequencies) {
            if (frequency >= rate / 2)
                throw Failure(number(frequency) + " Hz",
                              "not below half the rate of " + number(rate) + " Hz");
            detectors_.push_back({make_detector(frequency, width), make_detector(frequency, width)});
        }
    }

    void push(const int16_t* samples, size_t count) override
    {
        for (size_t at = 0; at < count;) {
            const auto piece = size_t(std::min(period_ - filled_, int64_t(count - at)));
            for (const auto& [first, second] : detectors_)
                for (size_t k = at; k < at + piece; ++k) {
                    ZVToneDetector_Process_16(first, samples + k, 1, 1);
                    ZVToneDetector_Process_double(second, &first->y1, 1, 1);
                }
            at += piece;
            filled_ += int64_t(piece);
            if (filled_ == period_) emit();
        }
    }

private:
    zovek::ToneDetector make_detector(double frequency, double width) const
    {
        zovek::ToneDetector detector(ZVToneDetector_Construct);
        detector->sampling_rate = rate_;
        detector->frequency = frequency;
        detector->bandwidth = width / std::sqrt(std::sqrt(2) - 1); // two in a row are so much narrower
        ZVToneDetector_Update(detector);
        return detector;
    }

    void emit()
    {
        Message message{.time = double(periods_++ * period_) / rate_};
        std::vector<JsonObject> levels;
        char text[32];
        std::snprintf(text, sizeof text, "%.3f", message.time);
        message.text = text;
        for (size_t k = 0; k < detectors_.size(); ++k) {
            // A sine of amplitude a has a mean magnitude of 2 a / pi.
            const double amplitude = detectors_[k][1]->tone_level / double(filled_) * M_PI / 2 / 32768;
            const double level =
                std::round(std::max(20 * std::log10(amplitude + 1e-9), floor_level) * 10) / 10;
            std::snprintf(text, sizeof text, ",%.1f", level);
            message.text += text;
            levels.emplace_back().add("frequency", settings_.frequencies[k]).add("level", level);
            ZVToneDetector_Init(detectors_[k][1]);
        }
        message.fields.add("levels", levels);
        filled_ = 0;
        emit_(message);
    }

    const Settings settings_;
    const double rate_; // Hz
    const Emit emit_;
    const int64_t period_;                                      // samples
    std::vector<std::array<zovek::ToneDetector, 2>> detectors_; // of each frequency, one behind the other
    int64_t filled_ = 0, periods_ = 0;
};

// A positive number with k or M, and its unit.
double positive(const std::string& text, const char* unit)
{
    const auto quantity = parse_quantity(text, unit);
    if (!quantity || *quantity <= 0 || *quantity > 1e9) throw WrongValue(not_a("a number above 0", text));
    return *quantity;
}
} // namespace

std::vector<DataMode> levels_modes(CommandLine& line)
{
    const auto settings = std::make_shared<Settings>();
    const std::vector options = {
        line.texts(
                "--freq",
                [settings](const std::string& text) {
                    settings->frequencies.push_back(positive(text, "Hz"));
                },
                "frequencies, as a,b; takes k")
            .separated_by(',')
            .unit("HZ"),
        line.text(
                "--every", [settings](const std::string& text) { settings->every = positive(text, "s"); },
                "between levels (0.1)")
            .unit("SECONDS"),
        line.text(
                "--width", [settings](const std::string& text) { settings->width = positive(text, "Hz"); },
                "width of a tone's band (2 / every)")
            .unit("HZ")};
    return {{"tones", "levels of the tones of --freq: time in s and a level in dB each, every 0.1 s",
             [settings](double rate, Emit emit) {
                 return std::make_unique<Levels>(rate, *settings, std::move(emit));
             },
             options}};
}
} // namespace decoders::tones
