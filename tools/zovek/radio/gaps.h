// Digital silence in a band, as the filters behind the mixer show it: for each detector sample whether it may
// be taken for the station, or comes out of filters that hold a gap.
#pragma once
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
    // The filters hold reach samples of the band, and decimation of them come for each detector sample.
    Gaps(int32_t reach, int32_t decimation);

    // The next samples, a multiple of the decimation.
    void look(std::span<const int16_t> band);
    // As many zeros behind the recording's end, which are no gap unless it ends in one, or they are told to be.
    void look_behind_end(size_t count, bool gap);

    // The next sample doesn't follow the last one: what the filters hold is no station until they are full again.
    // Gives how many samples that takes.
    int32_t jump() { return filling_ = reach_; }

    // Zeros in a row that make a gap.
    int32_t least() const { return least_; }
    // Of each detector sample of the last look.
    const std::vector<Gap>& marks() const { return marks_; }
    // Whether the filters were full of the band throughout the last look.
    bool none() const { return none_; }

private:
    int32_t reach_, decimation_, least_; // samples
    int32_t zeros_;                      // in a row, up to least_; as many before the recording
    int32_t filling_ = 0;                // samples to come until the filters are full
    bool none_ = true;
    std::vector<Gap> marks_;
};

// Whether all samples are zero in 16 bits.
bool is_silent(std::span<const int32_t> band);
} // namespace client
