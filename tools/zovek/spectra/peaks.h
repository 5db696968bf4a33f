// Tones in a spectrum: what stands out of its surroundings and isn't the skirt of something stronger.
#pragma once
#include <cstddef>
#include <vector>

namespace client::spectra {
struct Peak {
    double bin;   // place between the bins
    double power; // of the tone that it is, had it met the middle of a bin
    double floor; // power of the noise in a bin there
    double top;   // power of its highest bin, tone and noise
};

// Power spectra of a recording, averaged.
struct Mean {
    std::vector<double> power;  // of each bin
    std::vector<double> square; // mean square of the same powers
    double averages;            // independent spectra that scatter as little as the mean does; 1 at least
};

// How a window shows a tone, measured on the library's own table.
class Kernel {
public:
    explicit Kernel(int window);

    // Power that a tone of power 1, so many bins off a bin's middle, leaves in the bin; up to 1.5 bins off.
    double main_lobe(double off) const;
    // The most that it leaves in bins that many bins away and farther.
    double skirt(size_t away) const { return skirt_[away < skirt_.size() ? away : skirt_.size() - 1]; }
    // Place of a tone, -0.5 to 0.5 from the middle one of three neighbours: where their powers fit best, by
    // least squares.
    double place(const double* neighbours) const;

private:
    std::vector<double> lobe_; // by 1/128 bin from the middle
    std::vector<double> skirt_;
};

// Tones, the strongest first, no more than most: tops as the noise around them makes in one spectrum of ten
// thousand, and that aren't the skirts of stronger ones.
std::vector<Peak> find_peaks(const Mean& mean, const Kernel& kernel, size_t most);
} // namespace client::spectra
