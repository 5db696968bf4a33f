#include "io/iq.h"
#include "io/narrow.h"
#include "io/raw_input.h"
#include "io/sigmf.h"
#include "io/talk.h"
#include "io/zoom.h"
#include "line/failure.h"
#include "line/options.h"
#include <algorithm>
#include <cstdlib>
#include <new>
#include <vector>
#include <zovek.hpp>

namespace client {
using namespace words;
namespace {
// Input samples that an output is made of. The edge of the filters lies at 0.425 of the recording's rate and
// is 5.5 / filter_taps / 2 of it wide; what they leave of the image is below the rounding.
constexpr int32_t filter_taps = 96;
constexpr size_t piece = 4096; // frames

// One of the two channels at each second place of twice the rate: those on the samples, or those between
// them.
class Half {
public:
    explicit Half(bool between)
    {
        ZVResampler32_BufferSize(half_, piece);
        ZVResampler32_Over(half_, 2);
        ZVResampler32_Under(half_, 2);
        ZVResampler32_TapsNum(half_, 2 * filter_taps + 1);
        if (half_->over != 2 || half_->under != 2 || half_->taps_count != 2 * filter_taps + 1 ||
            half_->buffer_size != piece)
            throw std::bad_alloc();
        half_->phase = between;
    }

    // Room for the next samples, at most piece of them; Q31.
    int32_t* room() { return half_->input_write; }
    // As many results as samples, until the next call.
    const int32_t* run(size_t count)
    {
        ZVResampler32_ProcessIn(half_, nullptr, uint32_t(count));
        return half_->output_buffer;
    }

private:
    const zovek::Resampler half_{ZVResampler32_Construct};
};

class Band : public Input {
public:
    Band(std::unique_ptr<Input> source, bool swap) : source_(std::move(source)), first_(swap)
    {
        take_after(*source_);
        rate = 2 * source_->rate;
        centre = source_->rate / 2;
        per_frame = 2;
        recorded_rate = source_->recorded_rate;
        if (source_->announced >= 0) announced = 2 * source_->announced;
    }

    size_t read(int16_t* samples, size_t count) override { return give(samples, count); }
    size_t read(int32_t* samples, size_t count) override { return give(samples, count); }

private:
    template <class Sample>
    size_t give(Sample* samples, size_t count)
    {
        size_t got = 0;
        while (got < count && convert((count - got + 1) / 2)) {
            const size_t some = std::min(count - got, band_.size() - given_);
            std::transform(band_.begin() + ptrdiff_t(given_), band_.begin() + ptrdiff_t(given_ + some),
                           samples + got, [](int32_t sample) { return to_bits<Sample>(sample); });
            given_ += some;
            got += some;
        }
        taken += int64_t(got);
        return got;
    }

    // Sees to it that the band has samples to give, from the wanted number of frames or fewer. False at the
    // end.
    bool convert(size_t wanted)
    {
        while (given_ == band_.size()) {
            given_ = 0;
            band_.clear();
            frames_.resize(2 * std::min(wanted, piece));
            size_t count = source_->read(frames_.data(), frames_.size() / 2);
            overloads = source_->overloads;
            if (count == 0) { // silence behind the end brings out what still is in the filters
                faults = source_->faults;
                recorded = source_->recorded;
                count = size_t(std::min(source_->taken - made_, int64_t(piece)));
                if (count == 0) return false;
                frames_.assign(2 * count, 0);
            }
            turn(count);
        }
        return true;
    }

    void turn(size_t count)
    {
        int32_t *i = i_.room(), *q = q_.room();
        for (size_t k = 0; k < count; ++k) {
            const int32_t re = frames_[2 * k + first_], im = frames_[2 * k + 1 - first_];
            const bool silent = silence_.holds(re, im);
            i[k] = silent ? 0 : re;
            q[k] = silent ? 0 : im;
        }
        const int32_t *real = i_.run(count), *imaginary = q_.run(count);
        const size_t late = std::min(size_t(late_), count);
        late_ -= int32_t(late);
        band_.resize(2 * (count - late));
        int64_t sign = made_ % 2 ? -1 : 1;
        int32_t* to = band_.data();
        for (size_t k = late; k < count; ++k, sign = -sign) {
            *to++ = saturated(sign * real[k]);
            *to++ = saturated(-sign * imaginary[k]);
        }
        made_ += int64_t(count - late);
    }

    const std::unique_ptr<Input> source_;
    const size_t first_; // offset of I in a frame
    Half i_{false}, q_{true};
    ByteSilence silence_;
    int32_t late_ = filter_taps / 2; // results before the one on the first sample
    int64_t made_ = 0;               // pairs of samples
    std::vector<int32_t> frames_, band_;
    size_t given_ = 0; // of band_
};
} // namespace

void add_iq_options(CommandLine& line, IQOptions& options)
{
    line.flag("--iq", options.iq,
              "the recording's two channels are I and Q; frequencies count from its centre, negative below");
    line.flag("--swap-iq", options.swap, "the same with Q in the first channel");
    line.quantity(
        options.centre_names, options.centre, 0, highest_tuned, "HZ",
        "what the recording's middle was tuned to; takes k, M and G: frequencies are true ones then");
}

bool is_iq(const InputOptions& options, const IQOptions& iq)
{
    const auto sigmf = options.type == "auto" ? read_sigmf(options.path) : std::nullopt;
    const RawType* raw = raw_type(sigmf ? sigmf->type : options.type);
    return iq.iq || iq.swap || (raw && raw->channels == 2);
}

void tell_centre(const Input& input)
{
    if (input.tuned && input.tuned->source)
        say(input.name + ": its centre is " + exact(double(input.tuned->centre)) + " Hz, by " +
            input.tuned->source);
}

std::unique_ptr<Input> open_pairs(InputOptions options, const IQOptions& iq)
{
    if (options.channel) throw WrongUsage("I/Q takes two channels: no --channel");
    options.all_channels = true;
    if (options.type == "raw" && !options.channels) options.channels = 2;
    auto source = Input::open(options);
    if (source->channels != 2)
        throw Failure(source->name, "I/Q takes two channels, not " + std::to_string(source->channels));
    if (iq.centre) source->tuned = {*iq.centre};
    if (source->tuned) source->origin = source->tuned->centre;
    return source;
}

std::unique_ptr<Input> open_real(InputOptions options, const IQOptions& iq)
{
    options.maybe_iq = true;
    auto source = Input::open(options);
    source->tuned.reset();
    if (iq.centre) {
        source->tuned = {*iq.centre};
        source->origin = *iq.centre - source->rate / 4;
    }
    return source;
}

// The lower rate leaves the part some room, and divides the recording's. Where the band fades, or nothing is
// gained, the recording stays whole.
static int32_t zoom_step(const Input& source, int64_t shift, double width)
{
    constexpr double room = 2.25;
    if (double(std::abs(shift)) + width / 2 > usable_band * source.rate) return 1;
    auto step = std::max(1, int32_t(source.rate / (room * width)));
    while (source.rate % step) --step;
    return step;
}

std::unique_ptr<Input> open_band(InputOptions options, const IQOptions& iq, std::optional<Part> part)
{
    if (!is_iq(options, iq)) return open_real(std::move(options), iq);
    return band_of(open_pairs(std::move(options), iq), iq, part);
}

std::unique_ptr<Input> band_of(std::unique_ptr<Input> pairs, const IQOptions& iq, std::optional<Part> part)
{
    if (pairs->rate > 50'000'000) throw Failure(pairs->name, "a rate beyond 50 MHz is too high for I/Q");
    const int64_t shift = part ? part->frequency.value_or(pairs->origin) - pairs->origin : 0;
    const int32_t step = part ? zoom_step(*pairs, shift, part->width) : 1;
    if (step == 1) return std::make_unique<Band>(std::move(pairs), iq.swap);
    constexpr double skirts = 1.5; // of the width, with what the filters behind leave of its neighbours
    return std::make_unique<Band>(
        std::make_unique<Zoom>(std::move(pairs), step, shift, skirts * part->width / 2, iq.swap), false);
}
} // namespace client
