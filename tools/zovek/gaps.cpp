#include "gaps.h"
#include <algorithm>

namespace client {
// A quarter of a windowed sinc weighs next to nothing, so a gap is known before the filters show it. 32 zeros in
// a row come by chance in no band that has a station in it.
Gaps::Gaps(int32_t reach, int32_t decimation)
    : reach_(reach), decimation_(decimation), least_(std::max(reach / 4, 32)), zeros_(least_)
{
}

void Gaps::look(const int16_t* band, size_t count, size_t step)
{
    marks_.resize(count / size_t(decimation_));
    none_ = true;
    for (Gap& mark : marks_) {
        bool zero = true;
        for (int32_t k = 0; k < decimation_; ++k, band += step) zero = zero && *band == 0;
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
        none_ = none_ && mark == Gap::none;
    }
}

void Gaps::look_behind_end(size_t count)
{
    none_ = zeros_ < least_;
    marks_.assign(count / size_t(decimation_), none_ ? Gap::none : Gap::inside);
}

bool is_silent(const int16_t* band, size_t count, int32_t channels, int32_t channel)
{
    for (size_t k = 0; k < count; ++k)
        if (band[k * size_t(channels) + size_t(channel)]) return false;
    return true;
}
} // namespace client
