// A recording as a series of power spectra: what waterfall and spectrum have in common.
#pragma once
#include "io/iq.h"
#include "io/selected.h"
#include "spectra/transform.h"
#include "words/words.h"
#include <cmath>
#include <optional>
#include <string>

namespace client::spectra {
struct AnalysisOptions {
    InputOptions input;
    IQOptions iq;
    int32_t size = 0;               // samples or pairs; 0: chosen
    int window = ZVWindowType_Hann; // place in window_names
    std::optional<double> overlap;  // percent of a block that the next one has too
    std::optional<double> from, to; // Hz; the whole band
    double start = 0;               // s
    std::optional<double> end;      // s
};

// INPUT and all of the above.
void add_analysis_options(CommandLine& line, AnalysisOptions& options);

// What a picture wants, where the options leave it open.
struct Resolution {
    double bins;               // at least so many bins in the band
    double rows = 0;           // so many rows of up to four blocks each; 0: blocks overlap by half
    double longest = 1.0 / 32; // of a block, seen from the recording
    double seconds = 1;        // a block is no longer, where the recording's length isn't known
};

class Analysis {
public:
    // Opens the recording and chooses size and overlap. Fails with the reason.
    Analysis(const AnalysisOptions& options, const Resolution& resolution);

    // The next block's power, bins() values of the band asked for; null at the end. A recording shorter than
    // a block is filled up with silence.
    const float* next();

    size_t bins() const { return bins_; }
    double bin_width() const { return double(input_->rate) / size_; } // Hz
    double frequency(double bin) const { return (double(first_) + bin) * bin_width() + double(origin()); }
    double low() const { return frequency(-0.5); } // Hz: the edges of the first and the last bin
    double high() const { return frequency(double(bins_) - 0.5); }
    double noise_width() const { return transform_.noise_width() * bin_width(); } // Hz
    // dBFS: what rounding to whole 16-bit samples makes of silence in a bin (an error of 1/12, as noise).
    double rounding_level() const
    {
        return 10 * std::log10(transform_.noise_width() / (6.0 * 32768 * 32768) * double(frame_) / size_ * 2);
    }
    double hop() const { return double(hop_) / input_->rate; }            // s
    double middle() const { return start_ + size_ / 2.0 / input_->rate; } // s: of the first block
    double seconds() const { return double(frames_) / input_->rate; }     // read so far
    int64_t blocks() const { return blocks_; }                            // made so far
    // Independent blocks whose mean of noise would scatter as that of these does; 1 at least.
    double averages() const;
    std::optional<int64_t> blocks_expected() const;
    int32_t rate() const { return input_->rate; }

    // A frequency as a member: a true one has more digits.
    void add_frequency(words::JsonObject& to, const char* name, double hz) const;
    bool tuned() const { return input_->tuned.has_value(); }

    // "96 kHz, 4096 points, Hann, 89 % overlap, noise bandwidth 35.16 Hz".
    std::string described() const;
    std::string title() const { return input_->name.substr(input_->name.rfind('/') + 1); }
    // After the end: tells on standard error what the recording lacks.
    void tell_end(const char* command) const;
    void add_to(words::JsonObject& summary) const;

private:
    bool iq() const { return frame_ == 2; }
    int64_t origin() const { return input_->origin; }
    size_t read(int16_t* to, size_t frames);
    void choose_band(const AnalysisOptions& options);

    size_t frame_; // values a frame: 1, or 2 in I/Q
    size_t swap_;  // 1 where the first channel is Q
    std::unique_ptr<Input> input_;
    Selected selected_;
    int window_;
    double start_;
    int64_t most_;                    // frames between start and end
    std::optional<int64_t> expected_; // frames that will come, where the header tells
    int32_t size_, hop_;
    Transform transform_;
    int64_t first_ = 0;             // of the band, in whole bins of bin_width from 0 Hz
    size_t skipped_ = 0, bins_ = 0; // of the transform's bins: before the band, in it
    std::vector<int16_t> block_;
    int64_t frames_ = 0, blocks_ = 0;
};
} // namespace client::spectra
