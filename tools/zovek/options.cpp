#include "options.h"
#include "text.h"
#include <algorithm>
#include <cmath>

namespace client {
std::string spoken(const std::string& names) { return names.substr(names.rfind(',') + 1); }

CLI::Option* add_rate(CLI::App& app, const std::string& names, int32_t& rate, const std::string& help)
{
    const auto read = [&rate, names](const std::string& text) {
        const auto hz = parse_quantity(text);
        if (!hz || *hz < 1 || *hz > INT32_MAX || *hz != std::floor(*hz))
            throw CLI::ValidationError(spoken(names), "'" + text + "' is not a rate in whole Hz");
        rate = int32_t(*hz);
    };
    return app.add_option_function<std::string>(names, read, help)->type_name("HZ");
}

CLI::Validator one_of(std::vector<std::string> names)
{
    const auto check = [names = std::move(names)](const std::string& text) -> std::string {
        if (std::ranges::count(names, text)) return {};
        std::string list;
        for (const std::string& name : names)
            list += (list.empty() ? "" : &name == &names.back() ? " or " : ", ") + name;
        return "'" + text + "' is not " + list;
    };
    return {check, ""};
}
} // namespace client
