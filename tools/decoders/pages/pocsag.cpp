// POCSAG pages out of what an FM discriminator gives: 512, 1200 and 2400 Bd at once, either way up.
#include "decoders/pages/pocsag.h"
#include "decoders/intake.h"
#include "decoders/pages/pocsag_receiver.h"
#include <array>
#include <deque>
#include <utility>

namespace decoders::pages {
namespace {
constexpr int bit_samples = PocsagReceiver::samples_a_bit, block_bits = 24;

// One rate.
class Channel {
public:
    Channel(double from, int baud, PageText as, const Emit& emit)
        : baud_(baud),
          as_(as),
          emit_(emit),
          intake_(from, double(baud) * bit_samples, block_bits * bit_samples, 0.12,
                  [this](const int16_t* samples, size_t count, int64_t) { hear(samples, count); })
    {
    }

    void push(const int16_t* samples, size_t count) { intake_.push(samples, count); }

    void finish()
    {
        intake_.finish(4.0 / baud_);
        give(receiver_.finish());
    }

private:
    // The mean over a bit is the filter that is matched to it. A 1 is the lower frequency.
    void hear(const int16_t* samples, size_t count)
    {
        for (size_t k = 0; k < count; ++k) {
            sum_ += samples[k] - std::exchange(last_[place_], samples[k]);
            place_ = (place_ + 1) % bit_samples;
            give(receiver_.push(float(-sum_) / bit_samples));
        }
    }

    void give(const std::vector<Page>& pages)
    {
        for (const Page& page : pages) print(page);
    }

    void print(const Page& page)
    {
        // Times of a page are those of the ends of its first and last bits.
        const double begin = intake_.time(page.begin + 1) - 1.0 / baud_, end = intake_.time(page.end + 1);
        const std::string kind = page.kind(as_);
        const std::string text = kind == "tone" ? "" : kind == "alpha" ? page.alpha() : page.numeric();
        char head[24];
        std::snprintf(head, sizeof head, "%07d %d", int(page.address), page.function);
        Message message{.time = begin, .text = kind == "tone" ? head : std::string(head) + ": " + text};
        message.level = intake_.level(begin, end);
        message.snr = snr_in_3k(page.words / page.noise, baud_ / 2.0); // the filter's width

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

    const int baud_;
    const PageText as_;
    const Emit& emit_;
    Intake intake_;
    PocsagReceiver receiver_;
    std::array<int16_t, bit_samples> last_{};
    size_t place_ = 0; // in them, of the oldest
    int32_t sum_ = 0;  // of them
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
