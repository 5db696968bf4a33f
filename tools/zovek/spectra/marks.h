// Stations that the user names, to be marked in a picture.
#pragma once
#include "radio/plan.h"
#include <optional>
#include <string>

namespace client::spectra {
struct Mark {
    double frequency; // Hz, of the carrier
    std::optional<Mode> mode;
    std::string name;

    std::string title() const; // the name, else the mode, else nothing
    std::string about() const; // the frequency, and the mode where the title doesn't tell it
};

// FREQ[:MODE][:NAME]. Throws WrongValue.
Mark mark_of(const std::string& text);
} // namespace client::spectra
