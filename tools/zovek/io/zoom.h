// A part of an I/Q recording as I/Q at a lower rate, its middle at 0 Hz: turned and decimated by a whole
// number in single precision. What follows costs as much less.
#pragma once
#include "io/input.h"
#include "radio/low_pass.h"

namespace client {
// Unsigned bytes have no zero: their digital silence is half a step to either side of it, always the same.
class ByteSilence {
public:
    // Whether the next frame is of such silence.
    bool holds(int32_t re, int32_t im);

private:
    int32_t last_re_ = 0, last_im_ = 0, alike_ = 0; // the frame before; so many like it, up to a limit
};

class Zoom : public Input {
public:
    // What lies within reach of shift, both Hz from the recording's centre, unharmed; each step-th sample, a
    // divisor of the rate. With swap the first channel is Q.
    Zoom(std::unique_ptr<Input> source, int32_t step, int64_t shift, double reach, bool swap);

    size_t read(int16_t* samples, size_t frames) override;
    size_t read(int32_t* samples, size_t frames) override;

private:
    static constexpr size_t turns = 256; // frames that are turned at once

    bool fetch();

    const std::unique_ptr<Input> source_;
    const size_t step_, first_; // first_: offset of I in a frame
    const int64_t shift_;
    const LowPass filter_;
    std::vector<float> cosines_, sines_;  // of the first turns
    std::vector<float> real_, imaginary_; // turned, from the first sample that the next result needs on
    size_t at_ = 0;                       // where those of the next result begin
    size_t due_ = 0;     // frames that came and have not been the middle of a result's samples
    int64_t turned_ = 0; // frames so far
    bool ended_ = false;
    ByteSilence silence_;
    std::vector<int32_t> frames_, wide_;
};
} // namespace client
