// POCSAG pages out of what an FM discriminator gives: 512, 1200 and 2400 Bd at once, either way up.
#include "decoders/pages/pocsag.h"
#include "decoders/intake.h"
#include <algorithm>
#include <cmath>
#include <deque>

namespace decoders::pages {
namespace {
constexpr int bit_samples = 20, block_bits = 24;
constexpr int smoothing_taps = 15; // most of a bit

// Bit timing of a soft stream, sample by sample: the library's loop on the zero crossings, and around it one
// that learns how far the sender's rate is off.
class BitClock {
public:
    // Takes the soft value in the middle of a bit, and where that is, in samples from the first one on.
    using Take = std::function<void(int16_t soft, double position)>;
    explicit BitClock(Take take) : take_(std::move(take))
    {
        loop_->sampling_rate = bit_samples;
        loop_->bit_rate = 1;
        loop_->loop_gain = gain;
        loop_->user_data = reinterpret_cast<uintptr_t>(this);
        loop_->callback = [](uintptr_t self, ZVDataFormatter2* loop, int32_t, int32_t) {
            reinterpret_cast<BitClock*>(self)->decide(loop->next_bit_point);
        };
    }
    BitClock(const BitClock&) = delete;

    void push(int16_t soft)
    {
        level_ = soft;
        ZVDataFormatter2_DPLL_16(loop_, &soft, 1, 1);
        ++position_;
    }

private:
    // The loop moved this bit by gain times the error that it saw. A period moved by gain / 4 of that makes a
    // loop of second order with a damping of 1 (F. M. Gardner, Phaselock Techniques, ch. 2).
    void decide(double ahead)
    {
        const double middle = double(position_) + ahead;
        period_ += gain / 4 * (middle - last_ - period_);
        period_ = std::clamp(period_, bit_samples * (1 - most_off), bit_samples * (1 + most_off));
        last_ = middle;
        loop_->bit_rate = bit_samples / period_;
        take_(level_, middle);
    }

    static constexpr double gain = 0.1, most_off = 0.012; // of the loop; of the sender's rate, a part of it
    const Take take_;
    zovek::DataFormatter loop_{ZVDataFormatter2_Construct};
    double period_ = bit_samples, last_ = 0; // samples: of a bit; middle of the last one
    int64_t position_ = 0;
    int16_t level_ = 0;
};

// One rate.
class Channel {
public:
    Channel(double from, int baud, PageText as, const Emit& emit)
        : baud_(baud),
          as_(as),
          emit_(emit),
          intake_(from, double(baud) * bit_samples, block_bits * bit_samples, 0.12,
                  [this](const int16_t* samples, size_t count, int64_t) { hear(samples, count); }),
          smoothing_(make_fir(ZVFIRType_MovingAverage, smoothing_taps, intake_.rate(), 0, baud)),
          clock_([this](int16_t soft, double at) { hear_bit(soft, at); })
    {
        // Of white noise the smoothing lets through as much as an ideal low-pass of this width.
        const auto* taps = static_cast<const int16_t*>(smoothing_->taps);
        double sum = 0, squares = 0;
        for (int k = 0; k < smoothing_taps; ++k) {
            sum += taps[k];
            squares += double(taps[k]) * taps[k];
        }
        bandwidth_ = intake_.rate() / 2 * squares / (sum * sum);
    }

    void push(const int16_t* samples, size_t count) { intake_.push(samples, count); }

    void finish()
    {
        intake_.finish(4.0 / baud_);
        give(receiver_.finish());
    }

private:
    struct Bit {
        double at;
        float level; // without its sign
    };

    void hear_bit(int16_t soft, double at)
    {
        bits_.push_back({at, std::fabs(float(soft))});
        if (bits_.size() > most_bits) bits_.pop_front();
        give(receiver_.push(soft < 0, at));
    }

    void hear(const int16_t* samples, size_t count)
    {
        smoothed_.resize(count);
        ZVFIR1616_Process_16_16(smoothing_, smoothed_.data(), samples, int32_t(count), 1, 1);
        for (const int16_t sample : smoothed_) {
            // A receiver off tune adds a constant, and what is coupled without DC sags while a level lasts.
            // Zero is where a level stands half the distance of the peaks away from.
            high_ += (sample - high_) / (sample > high_ ? 10.0f : 2500.0f);
            low_ += (sample - low_) / (sample < low_ ? 10.0f : 2500.0f);
            const float value = sample - zero_, half = (high_ - low_) / 2;
            zero_ += 0.005f * (value - std::copysign(half, value));
            clock_.push(int16_t(std::clamp(sample - zero_, -32767.0f, 32767.0f)));
        }
    }

    void give(const std::vector<Page>& pages)
    {
        for (const Page& page : pages) print(page);
    }

    void print(const Page& page)
    {
        // Times of a page are those of the middles of its first and last bits.
        const double begin = time(page.begin) - 0.5 / baud_, end = time(page.end) + 0.5 / baud_;
        const std::string kind = page.kind(as_);
        const std::string text = kind == "tone" ? "" : kind == "alpha" ? page.alpha() : page.numeric();
        char head[24];
        std::snprintf(head, sizeof head, "%07d %d", int(page.address), page.function);
        Message message{.time = begin, .text = kind == "tone" ? head : std::string(head) + ": " + text};
        message.level = intake_.level(begin, end);
        message.snr = snr(page.begin, page.end);
        message.fields.add("address", page.address)
            .add("function", int64_t(page.function))
            .add("kind", kind)
            .add("message", words::printable(text))
            .add("baud", int64_t(baud_))
            .add("corrected", int64_t(page.corrected))
            .add("lost", int64_t(page.lost))
            .add("inverted", page.inverted);
        emit_(message);
    }

    // Of the audio, s, for a time of the receiver's.
    double time(double at) const { return intake_.time(at - (smoothing_taps - 1) / 2.0); }

    // Of the levels of the bits between two times of the receiver's against their spread, dB in 3 kHz.
    std::optional<double> snr(double begin, double end) const
    {
        double count = 0, sum = 0, squares = 0;
        for (const Bit& bit : bits_) {
            if (bit.at < begin || bit.at > end) continue;
            ++count;
            sum += bit.level;
            squares += double(bit.level) * bit.level;
        }
        const double mean = sum / count, variance = squares / count - mean * mean;
        if (!(variance > 0)) return {};
        return snr_in_3k(mean * mean / variance, bandwidth_);
    }

    const int baud_;
    const PageText as_;
    const Emit& emit_;
    Intake intake_;
    zovek::FIR smoothing_;
    BitClock clock_;
    PocsagReceiver receiver_;
    std::vector<int16_t> smoothed_;
    float high_ = 0, low_ = 0, zero_ = 0;
    static constexpr size_t most_bits = 8192; // longer than a page
    std::deque<Bit> bits_;                    // the last ones
    double bandwidth_ = 0;                    // Hz
};

class Pocsag : public Decoder {
public:
    Pocsag(double from, const Settings& settings, Emit emit) : emit_(std::move(emit))
    {
        for (const int baud : {512, 1200, 2400})
            if (settings.baud.value_or(baud) == baud) channels_.emplace_back(from, baud, settings.as, emit_);
    }

    void push(const int16_t* samples, size_t count) override
    {
        for (Channel& channel : channels_) channel.push(samples, count);
    }

    void finish() override
    {
        for (Channel& channel : channels_) channel.finish();
    }

private:
    const Emit emit_;
    std::deque<Channel> channels_;
};
} // namespace

MadeDecoder make_pocsag(double rate, const Settings& settings, Emit emit)
{
    const int baud = settings.baud.value_or(512); // of all, those that can be heard
    require(rate, baud / 2.0, std::to_string(baud) + " Bd");
    return std::make_unique<Pocsag>(rate, settings, std::move(emit));
}
} // namespace decoders::pages
