// I/Q recordings as a real band, which is what receivers take: two channels at a rate R become one at 2 R, in
// which the recording's centre stands at R / 2 and the rest beside it, in order.
//
// Each channel goes up by 2, I on the even and Q on the odd places, and all turn with the quarter of the new
// rate:
//
//   band = Re((I + jQ) exp(j pi n / 2)) = I, -Q, -I, Q, ...
//
// So a place needs one of the two channels only, and none becomes larger than it was. Results have 32
// bits or are rounded to nearest from them, and saturate.
#pragma once
#include "io/input.h"

namespace client {
struct IQOptions {
    bool iq = false;
    bool swap = false;             // the recording has Q in the first channel
    std::optional<int64_t> centre; // Hz; of a real band, of its middle, a quarter of its rate
    std::string centre_names = "--centre,--center"; // the options that tell it
};

// --iq, --swap-iq and --center.
void add_iq_options(CommandLine& line, IQOptions& options);

// True of I/Q: a complex type of samples or a swap tells it as well as --iq.
bool is_iq(const InputOptions& options, const IQOptions& iq);
// Opens a recording of I/Q as it is: two channels, in the order of the recording. Where its centre stands the
// options tell, else the recording. A real one's middle the options alone tell, for audio has the frequency
// of its station in its name, too.
std::unique_ptr<Input> open_pairs(InputOptions options, const IQOptions& iq);
// Opens a recording that isn't told to be I/Q, where it might be.
std::unique_ptr<Input> open_real(InputOptions options, const IQOptions& iq);
// What is wanted of a band, Hz: so wide about a frequency as the user counts, or about the middle.
struct Part {
    std::optional<int64_t> frequency;
    double width;
};
// Opens a recording of a band, real or I/Q. Of I/Q a part that is wanted alone may come at a lower rate.
std::unique_ptr<Input> open_band(InputOptions options, const IQOptions& iq, std::optional<Part> part = {});
// The same of pairs that are open.
std::unique_ptr<Input> band_of(std::unique_ptr<Input> pairs, const IQOptions& iq, std::optional<Part> part);

// Says where the centre stands if the recording tells it; once all else is found right.
void tell_centre(const Input& input);

// What comes through unharmed: this part of the recording's rate to either side of its centre.
constexpr double usable_band = 0.40;
} // namespace client
