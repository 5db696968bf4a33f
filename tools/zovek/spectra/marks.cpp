#include "spectra/marks.h"
#include "line/failure.h"
#include "spectra/axis.h"
#include "words/words.h"
#include <algorithm>

namespace client::spectra {
using namespace words;
Mark mark_of(const std::string& text)
{
    const size_t colon = std::min(text.find(':'), text.size());
    const auto hz = parse_quantity(text.substr(0, colon), "Hz");
    if (!hz) throw WrongValue(not_a("FREQ[:MODE][:NAME] with a frequency in Hz", text));
    Mark mark = {*hz};
    if (colon == text.size()) return mark;
    const size_t second = std::min(text.find(':', colon + 1), text.size());
    const std::string mode = text.substr(colon + 1, second - colon - 1);
    const auto* place =
        std::ranges::find_if(mode_names, [&mode](const char* name) { return same_word(name, mode); });
    if (place != std::end(mode_names)) {
        mark.mode = Mode(place - std::begin(mode_names));
        mark.name = text.substr(std::min(second + 1, text.size()));
    } else if (second < text.size())
        throw WrongValue("'" + mode + "' in '" + text + "' is not a mode of zovek receive");
    else
        mark.name = text.substr(colon + 1);
    return mark;
}

std::string Mark::title() const { return !name.empty() ? name : mode ? mode_names[int(*mode)] : ""; }

std::string Mark::about() const
{
    return frequency_text(frequency) +
           (mode && !name.empty() ? std::string(" ") + mode_names[int(*mode)] : "");
}
} // namespace client::spectra
