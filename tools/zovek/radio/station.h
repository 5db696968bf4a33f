// One station of a recorded band as audio.
//
// The first second of the band passes the receiver three times: to measure the station's level, to let the
// carrier loop and the DC blocker settle, and to be heard. Audio stands where it stood in the recording: the
// filters' delay is dropped at the start and made up with silence behind the end.
#pragma once
#include "io/converter.h"
#include "io/selected.h"
#include "radio/receiver.h"
#include <functional>
#include <span>
#include <vector>

namespace client {
class Station {
public:
    // Of the input's chosen channel. Fails with the reason if the station can't be received.
    Station(Input& input, const Wishes& wishes, const Level& level = {});

    // The width is final when there is audio: a strong neighbour in the first second makes it narrower.
    const Plan& plan() const { return plan_; }

    // The next audio at plan().output_rate(), full scale 2^31: left, right, left, right. None behind the end.
    const std::vector<int32_t>& next();
    // The left channel alone.
    const std::vector<int32_t>& next_left();

    // Hands out the station's I/Q at plan().detector_rate(): interleaved, a sine of full scale has amplitude
    // 1.
    void record(std::function<void(std::span<const float> pairs)> take);

    int64_t heard() const { return heard_; } // samples of the band so far
    double seconds() const { return double(heard_) / plan_.rate; }
    int64_t frames() const { return frames_; }       // of audio so far
    int64_t overloads() const { return overloads_; } // blocks so far
    // What the detector told of the station up to the band's end.
    const Receiver::Readings& readings() const { return readings_; }

private:
    bool read();
    void settle();
    const std::vector<int32_t>& hear(); // a block of ahead_
    const std::vector<int32_t>& resampled(const std::vector<int32_t>& audio);
    int64_t due() const;

    void take_pairs(std::span<const int32_t> i, std::span<const int32_t> q);

    Plan plan_;
    Receiver radio_;
    Selected band_;
    std::vector<int32_t> ahead_; // of the band, Q31: a block, or the first second
    size_t given_ = 0;           // samples of it that have been heard
    bool settled_ = false, ended_ = false;
    int64_t heard_ = 0, frames_ = 0, overloads_ = 0;
    Receiver::Readings readings_ = {};
    std::vector<std::unique_ptr<Converter>> converters_; // to the output's rate: one, in isb one a side
    int64_t late_ = 0; // of the converters' outputs, those before the recording's first
    std::function<void(std::span<const float> pairs)> take_;
    std::vector<float> pairs_;
    int64_t pairs_late_ = 0, pairs_taken_ = 0; // behind the filters' delay; given so far
    std::vector<int32_t> sides_[2], stereo_, audio_, left_;
};
} // namespace client
