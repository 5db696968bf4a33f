// Options that several commands have.
#pragma once
#include "text.h"
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <string>

namespace client {
// A sampling rate in whole Hz, 1 to 2^31 - 1, with k or M behind the number.
CLI::Option* add_rate(CLI::App& app, const std::string& names, int32_t& rate, const std::string& help);

// An option with a quantity between two bounds, both included; the value of an absent one stays as it is.
template <class Number>
CLI::Option* add_quantity(CLI::App& app, const char* names, std::optional<Number>& value, double least,
                          double most, const std::string& help)
{
    const auto read = [&value, names, least, most](const std::string& text) {
        const auto quantity = parse_quantity(text);
        const bool whole =
            std::is_floating_point_v<Number> || (quantity && *quantity == std::floor(*quantity));
        if (!quantity || !whole || *quantity < least || *quantity > most)
            throw CLI::ValidationError(names, "'" + text + "' is not a " +
                                                  (std::is_floating_point_v<Number> ? "" : "whole ") +
                                                  "number from " + number(least) + " to " + number(most));
        value = Number(*quantity);
    };
    return app.add_option_function<std::string>(names, read, help);
}
} // namespace client
