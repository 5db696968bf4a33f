// The modes by name, and what can be set of each: rows that a command line and the C interface read alike.
#pragma once
#include "decoders/decoder.h"
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace decoders {
// What can be set. In texts of settings and errors {name} stands for a setting: a command line writes --name.
struct Setting {
    struct Flag {
        std::function<void()> raise;
    };
    struct Quantity {
        std::function<void(double)> take;
        words::Range range;
        bool many = false; // a list, taken one by one
    };
    struct Word {
        std::function<void(size_t place)> take;
        std::vector<std::string> words; // whatever the case of letters
    };

    const char* name; // of small letters and _: pager_baud
    std::string help; // one line
    std::variant<Flag, Quantity, Word> kind;
    const char* unit = "";                  // of a value, as help calls it: HZ
    const char* usual = "";                 // the value of an absent one, where help doesn't say it
    std::vector<std::string> excludes = {}; // settings that can't stand beside it
};

struct Mode {
    const char* name;
    std::string help; // one line
    // The decoder of audio at a rate in Hz, as the settings are then. Throws WrongSettings and NotAtThisRate.
    std::function<MadeDecoder(double rate, Emit emit)> make;
    std::vector<Setting> settings = {};
    const char* needed = ""; // of the settings, what it can't do without
    bool has_frames = false; // its messages do
    // What it wants of a station's audio, Hz; nothing: what the station's modulation usually has.
    std::function<std::optional<double>()> audio_cutoff = {};
};
using Modes = std::vector<Mode>;

// All of them, family by family, each time with settings of their own.
Modes modes();

// A text in which {name} of settings is written by a rule.
std::string spelled(const std::string& text, std::string (*rule)(const std::string& name));

// What is told of a message of a mode in JSON, beside its time.
words::JsonObject told(const char* mode, const Message& message);

// Makes decoders by settings as they are when it is called.
template <class Settings>
auto made_by(const std::shared_ptr<Settings>& settings, MadeDecoder (*make)(double, const Settings&, Emit))
{
    return [=](double rate, Emit emit) { return make(rate, *settings, std::move(emit)); };
}

// ---- The families' rows ----
namespace packet {
Modes modes();
}
namespace tones {
Modes modes();
}
namespace bulletins {
Modes modes();
}
namespace pages {
Modes modes();
}
namespace keyed {
Modes modes();
}
} // namespace decoders
