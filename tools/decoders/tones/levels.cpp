// Levels of given frequencies over time, by the library's tone detector: two narrow band-passes, a sum.
#include "decoders/blocks.h"
#include "decoders/tones/tones.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace decoders::tones {
namespace {
constexpr double floor_level = -120; // dB: less than 16-bit samples can show

class Levels : public Decoder {
public:
    Levels(double rate, const LevelsSettings& settings, Emit emit)
        : settings_(settings),
          rate_(rate),
          emit_(std::move(emit)),
          period_(std::max<int64_t>(std::llround(settings.every * rate), 1))
    {
        const double width = settings.width.value_or(2 / settings.every);
        if (width >= rate / 5)
            throw NotAtThisRate("a width of " + words::number(width) + " Hz",
                                "too much at " + words::number(rate) + " Hz");
        for (const double frequency : settings.frequencies) {
            if (frequency >= rate / 2)
                throw NotAtThisRate(words::number(frequency) + " Hz",
                                    "not below half the rate of " + words::number(rate) + " Hz");
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
        std::vector<words::JsonObject> levels;
        char text[32];
        std::snprintf(text, sizeof text, "%.3f", message.time);
        message.text = text;
        for (size_t k = 0; k < detectors_.size(); ++k) {
            // A sine of amplitude a has a mean magnitude of 2 a / pi.
            const double amplitude = detectors_[k][1]->tone_level / double(filled_) * M_PI / 2 / 32768;
            const double level = tenth(std::max(20 * std::log10(amplitude + 1e-9), floor_level));
            (message.text += ",") += words::decimals(level);
            levels.emplace_back().add("frequency", settings_.frequencies[k]).add("level", level);
            ZVToneDetector_Init(detectors_[k][1]);
        }
        message.fields.add("levels", levels);
        filled_ = 0;
        emit_(message);
    }

    const LevelsSettings settings_;
    const double rate_; // Hz
    const Emit emit_;
    const int64_t period_;                                      // samples
    std::vector<std::array<zovek::ToneDetector, 2>> detectors_; // of each frequency, one behind the other
    int64_t filled_ = 0, periods_ = 0;
};
} // namespace

MadeDecoder make_levels(double rate, const LevelsSettings& settings, Emit emit)
{
    return std::make_unique<Levels>(rate, settings, std::move(emit));
}
} // namespace decoders::tones
