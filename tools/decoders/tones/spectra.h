// Short-time spectra of a stream, for modes that know a signal by its tones.
#pragma once
#include "decoders/blocks.h"
#include "decoders/decoder.h"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
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

    // The strongest line between two frequencies, and what lies beside it in Hz left out.
    Peak peak(double low, double high) const;
    Peak peak_beside(double low, double high, double other, double distance) const;
    double power(double low, double high) const;         // of all between two frequencies
    double hop() const { return double(hop_) / rate(); } // s
    double rate() const { return to_rate_.rate(); }

private:
    int bin(double frequency) const;
    Peak line(int bin) const;

    Resampler to_rate_;
    zovek::FFT fft_;
    size_t window_, hop_; // samples
    double line_scale_, sum_scale_;
    int64_t frames_ = 0;
    std::vector<int32_t> waiting_;
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
