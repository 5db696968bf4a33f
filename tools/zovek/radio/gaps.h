// Digital silence in a band, as the filters behind the mixer show it: for each detector sample whether it may
// be taken for the station, or comes out of filters that hold a gap.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace client {
// Of a detector sample, in the order in which a gap passes the filters.
enum class Gap : uint8_t {
    none,
    ebbing, // the newest samples are zero, too few for a gap or for the filters to show it
    inside,
    filling // the gap is over, the filters still hold some of it
};

class Gaps {
public:
    // The filters hold reach samples of the band, and decimation of them come for each detector sample, which
    // reaches the detector so many detector samples late.
    Gaps(int32_t reach, int32_t decimation, int32_t delay = 0);

    // The next samples, a multiple of the decimation.
    void look(std::span<const int16_t> band);
    // As many zeros behind the recording's end, which are no gap unless it ends in one, or they are told to
    // be.
    void look_behind_end(size_t count, bool gap);

    // The next sample doesn't follow the last one: what the filters hold is no station until they are full
    // again. Gives how many samples that takes.
    int32_t jump() { return filling_ = reach_; }

    // Zeros in a row that make a gap.
    int32_t least() const { return least_; }
    // Of each detector sample that the last look was for, at the detector and before the delay.
    std::span<const Gap> marks() const { return std::span(marks_).first(looked_); }
    std::span<const Gap> arriving() const { return std::span(marks_).last(looked_); }
    // Whether the filters were full of the band throughout the samples that are at the detector.
    bool none() const
    {
        return std::ranges::all_of(marks(), [](Gap mark) { return mark == Gap::none; });
    }

private:
    void make_room(size_t marks);

    int32_t reach_, decimation_, least_; // samples
    int32_t zeros_;                      // in a row, up to least_; as many before the recording
    int32_t filling_ = 0;                // samples to come until the filters are full
    size_t looked_ = 0;                  // marks of the last look
    std::vector<Gap> marks_;             // delayed ones and those of the last look
};

// Whether all samples are zero in 16 bits.
bool is_silent(std::span<const int32_t> band);
} // namespace client
