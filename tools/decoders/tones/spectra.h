// Short-time spectra of a stream, for modes that know a signal by its tones.
#pragma once
#include "decoders/blocks.h"
#include "decoders/decoder.h"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace decoders::tones {
struct Peak {
    double frequency = 0; // Hz
    double power = 0;     // 1 is a sine of full scale
};

// Of a tone's power in the frame in whose middle it begins or ends: the amplitude is halved there.
constexpr double edge_power = 0.25;

// The place of the tone that is next to a frequency, Hz.
template <size_t count>
int nearest(const double (&tones)[count], double frequency)
{
    const auto off = [&](const double& tone) { return std::fabs(tone - frequency); };
    return int(std::ranges::min_element(tones, {}, off) - tones);
}

// Spectra under a Hann window, hop after hop, at a rate that holds the frequencies wanted. Lines are found
// between the bins: the window is followed by at least as many zeros.
class Spectra {
public:
    struct Plan {
        double rate;   // Hz, at which the spectra are made
        double window; // s
        double hop;    // s
    };
    Spectra(double rate, const Plan& plan);

    // Calls frame with the time of the window's middle, s, after each hop; what is below then speaks of it.
    void push(const int16_t* samples, size_t count, const std::function<void(double time)>& frame);
    // The same of audio at rate() already, at half of full scale: times then count from its first sample.
    void push32(const int32_t* samples, size_t count, const std::function<void(double time)>& frame);
    // Silence at the end brings out the frames that reach beyond it.
    void finish(const std::function<void(double time)>& frame);

    // The present frame's bins up to a frequency, Hz.
    std::span<const float> bins(double high) const { return {module(), size_t(bin(high)) + 1}; }
    double bin_width() const { return rate() / fft_->buffer_size; } // Hz
    double line_scale() const { return line_scale_; }               // a Peak's power for a bin's of 1
    // What follows leaves out, of the present frame, the bins that have little more than a floor for as many.
    void leave_out(std::span<const float> floor);

    // The strongest line between two frequencies, and what lies beside it in Hz left out.
    Peak peak(double low, double high) const;
    Peak peak_beside(double low, double high, double other, double distance) const;
    double power(double low, double high) const;         // of all between two frequencies
    double hop() const { return double(hop_) / rate(); } // s
    double rate() const { return to_rate_.rate(); }

private:
    int bin(double frequency) const;
    Peak line(int bin) const;
    const float* module() const { return static_cast<const float*>(fft_->module); }
    const float* heard() const { return left_.empty() ? module() : left_.data(); }

    Resampler to_rate_;
    zovek::FFT fft_;
    size_t window_, hop_; // samples
    double line_scale_, sum_scale_;
    int64_t frames_ = 0;
    std::vector<int32_t> waiting_;
    std::vector<float> left_; // the frame's bins, 0 what is left out; empty: all are heard
};

// What stands in each bin: the least of the powers that were its greatest in 40 ms each, for 0.2 s. A tone
// that lasts keeps its power in it, and so do two that beat; what comes and goes and a voice don't. (Minimum
// statistics, R. Martin, 2001.)
class Standing {
public:
    // The bins of a frame. Whether there is another floor.
    bool push(std::span<const float> bins)
    {
        greatest_.resize(bins.size());
        for (size_t k = 0; k < bins.size(); ++k) greatest_[k] = std::max(greatest_[k], bins[k]);
        if (++frames_ % block) return false;
        blocks_.push_back(std::exchange(greatest_, {}));
        if (blocks_.size() > kept) blocks_.pop_front();
        return blocks_.size() == kept;
    }
    std::vector<float> floor() const
    {
        std::vector<float> floor = blocks_.front();
        for (const std::vector<float>& one : blocks_)
            for (size_t k = 0; k < floor.size(); ++k) floor[k] = std::min(floor[k], one[k]);
        return floor;
    }

private:
    static constexpr size_t block = 10, kept = 5; // frames; blocks
    size_t frames_ = 0;
    std::vector<float> greatest_; // in the present block
    std::deque<std::vector<float>> blocks_;
};

// A decoder that looks at spectra, one after the other.
class SpectraDecoder : public Decoder {
public:
    void push(const int16_t* samples, size_t count) override
    {
        spectra_.push(samples, count, [this](double time) { look(time); });
    }
    void finish() override
    {
        spectra_.finish([this](double time) { look(time); });
        end();
    }

protected:
    SpectraDecoder(double rate, const Spectra::Plan& plan, Emit emit)
        : emit_(std::move(emit)), spectra_(rate, plan)
    {
    }
    virtual void look(double time) = 0; // s, of the present frame
    virtual void end() = 0;             // what has been taken is complete

    const Emit emit_;
    Spectra spectra_;
};
} // namespace decoders::tones
