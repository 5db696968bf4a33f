#include "modes.h"
#include <algorithm>
#include <utility>

namespace client {
using namespace words;
namespace {
using decoders::Setting;
using Modes = std::vector<DataMode>;

// --pager-baud of pager_baud.
std::string option_name(const std::string& setting)
{
    std::string name = "--" + setting;
    std::ranges::replace(name, '_', '-');
    return name;
}

// The option that sets all these of one name. The first tells of it.
Option added(CommandLine& line, const std::vector<Setting>& same)
{
    const Setting& first = same.front();
    const std::string name = option_name(first.name), help = spelled(first.help);
    if (std::get_if<Setting::Flag>(&first.kind))
        return line.flag(
            name,
            [same] {
                for (const Setting& setting : same) std::get<Setting::Flag>(setting.kind).raise();
            },
            help);
    if (const auto* const word = std::get_if<Setting::Word>(&first.kind)) {
        const auto take = [same](size_t place) {
            for (const Setting& setting : same) std::get<Setting::Word>(setting.kind).take(place);
        };
        return line.choice(name, word->words, take, help).unit(first.unit);
    }
    const auto& quantity = std::get<Setting::Quantity>(first.kind);
    const auto take = [same](double number) {
        for (const Setting& setting : same) std::get<Setting::Quantity>(setting.kind).take(number);
    };
    return quantity.many ? line.quantities(name, quantity.range, take, first.unit, help)
                         : line.quantity(name, quantity.range, take, first.unit, help);
}

// Its options, added by the first mode that has a setting of the name.
void add_options(DataMode& mode, CommandLine& line, const decoders::Modes& all)
{
    for (const Setting& setting : mode.settings) {
        std::vector<Setting> same;
        for (const decoders::Mode& other : all)
            for (const Setting& row : other.settings)
                if (std::string(row.name) == setting.name) same.push_back(row);
        const auto there = line.find(option_name(setting.name));
        const Option option = there ? *there : added(line, same);
        if (*setting.usual) (void)option.usually(setting.usual);
        for (const std::string& other : setting.excludes)
            (void)option.excludes(*line.find(option_name(other)));
        mode.options.push_back(option);
    }
}

// Names as "a, b".
std::string listed(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    return list;
}

// Of the modes that heed an option.
std::vector<std::string> names_of(const Modes& modes, Option option)
{
    std::vector<std::string> names;
    for (const DataMode& mode : modes)
        if (std::ranges::count(mode.options, option)) names.emplace_back(mode.name);
    return names;
}
} // namespace

std::string spelled(const std::string& text) { return decoders::spelled(text, option_name); }

Modes add_modes(CommandLine& line)
{
    const decoders::Modes all = decoders::modes();
    Modes modes;
    for (const decoders::Mode& mode : all) add_options(modes.emplace_back(DataMode{mode}), line, all);
    for (const DataMode& mode : modes) // help tells of options under the names of the modes that have them
        for (const Option option : mode.options)
            (void)option.group("Options of " + listed(names_of(modes, option)));
    return modes;
}

Modes chosen(const Modes& modes, const std::vector<std::string>& names)
{
    const bool all = std::ranges::count(names, all_modes) > 0;
    Modes result;
    for (const DataMode& mode : modes) {
        const std::string needed = *mode.needed ? option_name(mode.needed) : "";
        const bool able = needed.empty() ||
                          std::ranges::any_of(
                              mode.options,
                              [&](const Option&option) { return option.name() == needed && option.given(); }),
                   named = std::ranges::count(names, mode.name) > 0;
        if (named && !able) throw WrongUsage("--mode " + std::string(mode.name) + " needs " + needed);
        if (named || (all && able)) result.push_back(mode);
    }
    for (const DataMode& mode : modes)
        for (const Option option : mode.options) {
            const auto heeds = [&](const DataMode& row) {
                return std::ranges::count(row.options, option) > 0;
            };
            if (option.given() && std::ranges::none_of(result, heeds))
                throw WrongUsage(option.name() + " is an option of --mode " +
                                 listed(names_of(modes, option)) + ", not of " + listed(names));
        }
    return result;
}
} // namespace client
