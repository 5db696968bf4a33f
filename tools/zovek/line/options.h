// The options of a command, and how their values are read. The library that parses command lines stands
// behind it, and takes seconds to compile: what adds options or asks for them sees this file alone.
//
//     line.quantity("-f,--frequency", hz, 0, 1e9, "HZ", "of the carrier").required();
//
// Names are given as "-r,--rate", or as "INPUT" for the words that stand without one. Values are read while
// the line is, so what they go to has to live as long; that of an absent option stays as it is. Readers throw
// WrongValue; an empty value is one.
#pragma once
#include "line/failure.h"
#include "words/words.h"
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace client {
// An option of a command line: a name for it, which lives no longer than the line does.
class Option {
public:
    explicit Option(CLI::Option* option) : option_(option) {}

    // These change the option, and give it back.
    Option unit(const std::string& text) const;                 // what help calls its value
    Option usually(const std::string& text) const;              // the value of an absent one, for help
    Option group(const std::string& title) const;               // what help has it under
    Option one_of(const std::vector<std::string>& names) const; // takes these alone, in any case of letters
    Option separated_by(char mark) const;                       // several values in one word
    Option or_bare() const;                                     // may lack its value: usually() tells it
    Option required() const;
    Option needs(Option other) const;
    Option excludes(Option other) const;

    std::string name() const; // the long one: --rate
    bool given() const;
    std::string text() const; // its value, as given
    bool operator==(const Option&) const = default;

private:
    CLI::Option* option_;
};

// The options of one command. Copies are of the same options.
class CommandLine {
public:
    using Read = std::function<void(const std::string& text)>;
    using TakeNumber = std::function<void(double)>;

    explicit CommandLine(std::shared_ptr<CLI::App> app) : app_(std::move(app)) {}

    // Without a value: the variable becomes what it stands for.
    Option flag(const std::string& names, bool& value, const std::string& help, bool stands_for = true);
    Option flag(const std::string& names, const std::function<void()>& raise, const std::string& help);
    Option text(const std::string& names, std::string& value, const std::string& help);
    Option text(const std::string& names, Read read, const std::string& help);
    // Any number of times, one value each (or more: separated_by); a reader gets one after the other.
    Option texts(const std::string& names, std::vector<std::string>& values, const std::string& help);
    Option texts(const std::string& names, Read read, const std::string& help);
    // A word of a table; the variable becomes its place there.
    template <class Value, size_t count>
    Option choice(const std::string& names, Value& value, const char* const (&table)[count],
                  const std::string& help)
    {
        return choice(
            names, {table, table + count}, [&value](size_t place) { value = Value(place); }, help);
    }
    // The same where a function takes the place.
    Option choice(const std::string& names, const std::vector<std::string>& table,
                  const std::function<void(size_t)>& take, const std::string& help);
    // A quantity between two bounds, both included, in a unit; whole if the variable is. Takes k and
    // M, and the unit's symbol.
    template <class Value>
    Option quantity(const std::string& names, Value& value, double least, double most,
                    const std::string& unit, const std::string& help)
    {
        using Number = typename decltype(std::optional(value))::value_type;
        return quantity(
            names, words::Range{least, most, std::is_integral_v<Number>},
            [&value](double read) { value = Number(read); }, unit, help);
    }
    // The same where a function takes the number; and several of them, each given to it.
    Option quantity(const std::string& names, const words::Range& range, TakeNumber take,
                    const std::string& unit, const std::string& help);
    Option quantities(const std::string& names, const words::Range& range, TakeNumber take,
                      const std::string& unit, const std::string& help);
    // A sampling rate in whole Hz, 1 to 2^31 - 1. Takes k and M.
    Option rate(const std::string& names, int32_t& hz, const std::string& help);

    // What help says behind the options.
    void footer(const std::string& text);

    std::optional<Option> find(const std::string& name) const; // by one of its names
    bool given(const std::string& name) const;
    std::vector<Option> order() const; // the options given, in the order of the line, as often as they were

private:
    std::shared_ptr<CLI::App> app_;
};
} // namespace client
