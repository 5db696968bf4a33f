#include "line/options.h"
#include "words/words.h"
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <utility>

namespace client {
using namespace words;
namespace {
// The name by which messages call an option: --rate of "-r,--rate".
std::string spoken(const std::string& names) { return names.substr(names.rfind(',') + 1); }

// The same reader for the parser: what it throws has the option's name. Nothing is no value of any option,
// and no name of a file.
CommandLine::Read named(const std::string& names, CommandLine::Read read)
{
    return [name = spoken(names), read = std::move(read)](const std::string& text) {
        try {
            if (text.empty()) throw WrongValue("the value is empty");
            read(text);
        } catch (const WrongValue& wrong) {
            throw CLI::ValidationError(name, wrong.what());
        }
    };
}

// Gives the numbers of texts in a unit that lie in a range.
CommandLine::Read number_reader(const Range& range, const std::string& unit, CommandLine::TakeNumber take)
{
    return [range, symbol = symbol_of(unit), take = std::move(take)](const std::string& text) {
        const auto quantity = parse_quantity(text, symbol);
        if (!quantity || !range.has(*quantity)) throw WrongValue(not_a(range.text(), text));
        take(*quantity);
    };
}
} // namespace

Option Option::unit(const std::string& text) const { return Option(option_->type_name(text)); }
Option Option::usually(const std::string& text) const { return Option(option_->default_str(text)); }
Option Option::group(const std::string& title) const { return Option(option_->group(title)); }
Option Option::separated_by(char mark) const { return Option(option_->delimiter(mark)); }
Option Option::or_bare() const { return Option(option_->expected(0, 1)); }
Option Option::required() const { return Option(option_->required()); }
Option Option::needs(Option other) const { return Option(option_->needs(other.option_)); }
Option Option::excludes(Option other) const { return Option(option_->excludes(other.option_)); }

Option Option::one_of(const std::vector<std::string>& names) const
{
    const auto check = [names](std::string& text) -> std::string {
        const auto same = [&text](const std::string& name) { return same_word(name, text); };
        if (const auto name = std::ranges::find_if(names, same); name != names.end()) {
            text = *name;
            return {};
        }
        return "'" + text + "' is not " + either(names);
    };
    std::string list; // by which pages and shells tell of them
    for (const std::string& name : names) list += (list.empty() ? "" : "|") + name;
    return Option(option_->transform(CLI::Validator(check, "", list)));
}

std::string Option::name() const { return option_->get_name(); }
bool Option::given() const { return option_->count() > 0; }
std::string Option::text() const { return option_->as<std::string>(); }

Option CommandLine::flag(const std::string& names, bool& value, const std::string& help, bool stands_for)
{
    return flag(
        names, [&value, stands_for] { value = stands_for; }, help);
}

Option CommandLine::flag(const std::string& names, const std::function<void()>& raise,
                         const std::string& help)
{
    return Option(app_->add_flag_callback(names, raise, help));
}

Option CommandLine::text(const std::string& names, std::string& value, const std::string& help)
{
    return text(
        names, [&value](const std::string& text) { value = text; }, help);
}

Option CommandLine::text(const std::string& names, Read read, const std::string& help)
{
    return Option(app_->add_option_function<std::string>(names, named(names, std::move(read)), help));
}

Option CommandLine::texts(const std::string& names, std::vector<std::string>& values, const std::string& help)
{
    const auto add = [&values, fresh = true](const std::string& text) mutable {
        if (std::exchange(fresh, false)) values.clear(); // what is there stands for an absent option
        values.push_back(text);
    };
    return texts(names, add, help);
}

Option CommandLine::texts(const std::string& names, Read read, const std::string& help)
{
    const auto each = [read = named(names, std::move(read))](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) read(text);
    };
    CLI::Option* const option = app_->add_option_function<std::vector<std::string>>(names, each, help);
    // Words behind an option's value are no more of them.
    return Option(option->get_positional() ? option : option->allow_extra_args(false));
}

Option CommandLine::choice(const std::string& names, const std::vector<std::string>& table,
                           const std::function<void(size_t)>& take, const std::string& help)
{
    const auto read = [table, take](const std::string& text) {
        take(size_t(std::ranges::find(table, text) - table.begin()));
    };
    return text(names, read, help).one_of(table);
}

Option CommandLine::quantity(const std::string& names, const Range& range, TakeNumber take,
                             const std::string& unit, const std::string& help)
{
    return text(names, number_reader(range, unit, std::move(take)), help).unit(unit);
}

Option CommandLine::quantities(const std::string& names, const Range& range, TakeNumber take,
                               const std::string& unit, const std::string& help)
{
    return texts(names, number_reader(range, unit, std::move(take)), help).separated_by(',').unit(unit);
}

Option CommandLine::rate(const std::string& names, int32_t& hz, const std::string& help)
{
    return quantity(
        names, Range{1, INT32_MAX, true, "a rate in whole Hz"}, [&hz](double read) { hz = int32_t(read); },
        "HZ", help);
}

void CommandLine::footer(const std::string& text) { app_->footer(text); }

std::optional<Option> CommandLine::find(const std::string& name) const
{
    CLI::Option* const option = app_->get_option_no_throw(name);
    return option ? std::optional(Option(option)) : std::nullopt;
}

bool CommandLine::given(const std::string& name) const { return app_->count(name) > 0; }

std::vector<Option> CommandLine::order() const
{
    const auto& given = app_->parse_order();
    return {given.begin(), given.end()};
}
} // namespace client
