#include "io/tuned.h"
#include "words/words.h"
#include <cmath>
#include <regex>

namespace client {
std::optional<Tuned> tuned_by_name(const std::string& path, int32_t rate)
{
    static const std::regex quantity(
        "(?:^|[^0-9A-Za-z.])([0-9]+(?:[.][0-9]+)? ?[kKMG]?[Hh][Zz])(?![0-9A-Za-z])");
    const std::string name = path.substr(path.find_last_of("/\\") + 1);
    for (std::sregex_iterator found(name.begin(), name.end(), quantity), end; found != end; ++found) {
        const auto hz = words::parse_quantity((*found)[1], "Hz");
        if (hz && *hz > 0 && *hz <= highest_tuned && std::llround(*hz) != rate)
            return Tuned{std::llround(*hz), "its name"};
    }
    return {};
}
} // namespace client
