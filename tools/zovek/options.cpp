#include "options.h"
#include "text.h"
#include <cmath>

namespace client {
CLI::Option* add_rate(CLI::App& app, const std::string& names, int32_t& rate, const std::string& help)
{
    const auto read = [&rate, names](const std::string& text) {
        const auto hz = parse_quantity(text);
        if (!hz || *hz < 1 || *hz > INT32_MAX || *hz != std::floor(*hz))
            throw CLI::ValidationError(names, "'" + text + "' is not a rate in whole Hz");
        rate = int32_t(*hz);
    };
    return app.add_option_function<std::string>(names, read, help)->type_name("RATE");
}
} // namespace client
