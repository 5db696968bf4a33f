// Tones that each stand for a digit or a letter: frame by frame to symbols with a beginning and an end.
#pragma once
#include <cstddef>
#include <functional>
#include <vector>

namespace decoders::tones {
// What one frame of a stream looks like.
struct Sight {
    double time = 0;  // s
    int symbol = -1;  // -1: none
    double power = 0; // of its tones; 1 is a sine of full scale
    double clear = 0; // dB, its weakest tone over the strongest other line
    double twist = 0; // dB, the higher tone over the lower
    double off[2]{};  // of its tones, parts of their frequencies
};

struct Symbol {
    int symbol = -1;
    double begin = 0, end = 0;                        // s
    double power = 0, clear = 0, twist = 0, off[2]{}; // means, as above
    double duration() const { return end - begin; }
};
double mean_level(const std::vector<Symbol>& symbols); // dB: 0 is a sine of full scale

// Runs of frames with one symbol, as far as they have a quarter of their greatest power: under a window that
// is half as high where a tone begins, these are the frames from there to its end.
class Symbols {
public:
    Symbols(double hop, std::function<void(const Symbol&)> take) : hop_(hop), take_(std::move(take)) {}

    void push(const Sight& sight);
    bool running() const { return !run_.empty(); }

private:
    void end();

    const double hop_; // s
    const std::function<void(const Symbol&)> take_;
    std::vector<Sight> run_; // from the first frame of a symbol on
    size_t good_ = 0;        // frames of the run to the last that is the symbol's
    double peak_ = 0;        // greatest power in the run
};
} // namespace decoders::tones
