// Options that several commands have, and options of usual kinds.
#pragma once
#include "text.h"
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <string>

namespace client {
// The name by which messages call an option: --rate of "-r,--rate".
std::string spoken(const std::string& names);

// A sampling rate in whole Hz, 1 to 2^31 - 1, with k or M behind the number.
CLI::Option* add_rate(CLI::App& app, const std::string& names, int32_t& rate, const std::string& help);

// Takes the names alone.
CLI::Validator one_of(std::vector<std::string> names);

template <class Value>
struct Held {
    using Number = Value;
};
template <class Value>
struct Held<std::optional<Value>> {
    using Number = Value;
};

// An option with a quantity between two bounds, both included, in a unit; the value of an absent one stays as it is.
template <class Value>
CLI::Option* add_quantity(CLI::App& app, const char* names, Value& value, double least, double most,
                          const char* unit, const std::string& help)
{
    using Number = typename Held<Value>::Number;
    const auto read = [&value, names, least, most](const std::string& text) {
        const auto quantity = parse_quantity(text);
        const bool whole =
            std::is_floating_point_v<Number> || (quantity && *quantity == std::floor(*quantity));
        if (!quantity || !whole || *quantity < least || *quantity > most)
            throw CLI::ValidationError(spoken(names), "'" + text + "' is not a " +
                                                          (std::is_floating_point_v<Number> ? "" : "whole ") +
                                                          "number from " + number(least) + " to " +
                                                          number(most));
        value = Number(*quantity);
    };
    return app.add_option_function<std::string>(names, read, help)->type_name(unit);
}
} // namespace client
