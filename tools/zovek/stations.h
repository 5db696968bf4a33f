// Several stations of a band at once: one read of the input, a receiver in a thread of its own for each.
#pragma once
#include "reception.h"
#include <string>
#include <vector>

namespace client {
// What --station asks for, FREQUENCY:MODE[,bandwidth=HZ]:FILE. Throws WrongValue.
struct StationWish {
    int64_t frequency; // Hz
    Mode mode;
    std::optional<double> bandwidth; // Hz
    std::string path;
};
StationWish station_wish(const std::string& text);

// The checked options of each station: the common ones, where its mode has a use for them. Throws WrongUsage
// where no mode has, or two stations go to one file.
std::vector<ReceiveOptions> options_of(const std::vector<StationWish>& wishes, const ReceiveOptions& common);

// A station's options with what follows from them. Throws WrongUsage if they don't go together.
ReceiveOptions checked(ReceiveOptions options);

// Receives them all, out of the input of the common options. A station that fails is told of, and the others
// go on. Gives the exit status.
int receive_stations(const std::vector<ReceiveOptions>& stations, const ReceiveOptions& common);
} // namespace client
