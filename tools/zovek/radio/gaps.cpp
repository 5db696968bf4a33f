#include "radio/gaps.h"
#include "io/narrow.h"
#include <algorithm>

namespace client {
// A quarter of a windowed sinc weighs next to nothing, so a gap is known before the filters show it. 32 zeros
// in a row come by chance in no band that has a station in it.
Gaps::Gaps(int32_t reach, int32_t decimation, int32_t delay)
    : reach_(reach),
      decimation_(decimation),
      least_(std::max(reach / 4, 32)),
      zeros_(least_),
      marks_(size_t(delay), Gap::inside)
{
}

// In place of those that the detector has had.
void Gaps::make_room(size_t marks)
{
    marks_.erase(marks_.begin(), marks_.begin() + ptrdiff_t(looked_));
    looked_ = marks;
    marks_.resize(marks_.size() + marks);
}

void Gaps::look(std::span<const int16_t> band)
{
    make_room(band.size() / size_t(decimation_));
    const int16_t* sample = band.data();
    for (Gap& mark : std::span(marks_).last(looked_)) {
        bool zero = true;
        for (int32_t k = 0; k < decimation_; ++k) zero = *sample++ == 0 && zero;
        zeros_ = zero ? std::min(zeros_ + decimation_, least_) : 0;
        if (zeros_ >= least_) {
            mark = Gap::inside;
            filling_ = reach_;
        } else if (filling_ > 0) {
            mark = Gap::filling;
            filling_ -= decimation_;
        } else {
            mark = zeros_ >= least_ / 4 ? Gap::ebbing : Gap::none;
        }
    }
}

void Gaps::look_behind_end(size_t count, bool gap)
{
    make_room(count / size_t(decimation_));
    const bool none = zeros_ < least_ && !gap;
    std::ranges::fill(std::span(marks_).last(looked_), none ? Gap::none : Gap::inside);
}

bool is_silent(std::span<const int32_t> band)
{
    return std::ranges::all_of(band, [](int32_t sample) { return narrow(sample) == 0; });
}
} // namespace client
