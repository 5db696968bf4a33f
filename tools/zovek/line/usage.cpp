#include "line/usage.h"
#include <algorithm>
#include <numeric>

namespace client {
namespace {
constexpr size_t names_column = 30, line_length = 100;

// Letters to put in, leave out or change to make one word of the other (Levenshtein distance).
size_t distance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t(0));
    for (size_t i = 0; i < a.size(); ++i) {
        size_t corner = row[0];
        row[0] = i + 1;
        for (size_t k = 0; k < b.size(); ++k) {
            const size_t above = row[k + 1];
            row[k + 1] = std::min({above + 1, row[k] + 1, corner + (a[i] != b[k])});
            corner = above;
        }
    }
    return row.back();
}

std::string unknown(const std::string& kind, const std::string& word, const std::vector<std::string>& names)
{
    const std::string* best = nullptr;
    size_t least = std::max<size_t>(word.size() / 3, 1) + 1; // so many wrong letters make it another word
    for (const std::string& name : names)
        if (const size_t d = name.starts_with(word) ? 1 : distance(word, name); d < least) {
            least = d;
            best = &name;
        }
    return "there is no " + kind + " '" + word + "'" + (best ? ": " + *best + "?" : "");
}

const CLI::App* command_of(const CLI::App& app, const std::string& name)
{
    for (const CLI::App* command : app.get_subcommands({}))
        if (command->get_name() == name) return command;
    return nullptr;
}

// The option of a word and the value that stands in it: of --rate=8k, and of several short ones like -vf3 the
// one that takes a value. None if the word isn't one of an option.
struct Given {
    const CLI::Option* option = nullptr;
    std::string value;
};

bool takes_value(const CLI::Option* option) { return option && option->get_items_expected_min() > 0; }

Given given(const CLI::App& command, const std::string& word)
{
    if (word.starts_with("--")) {
        const size_t name = std::min(word.find('='), word.size());
        return {command.get_option_no_throw(word.substr(0, name)),
                word.substr(std::min(name + 1, word.size()))};
    }
    if (word.starts_with("-"))
        for (size_t k = 1; k < word.size(); ++k) {
            const CLI::Option* option = command.get_option_no_throw(std::string("-") + word[k]);
            if (!option) break;
            if (takes_value(option)) return {option, word.substr(k + 1)};
        }
    return {};
}

// What the line's words are that nothing took; empty if all were taken.
std::string stray(const CLI::App& app)
{
    const std::vector<std::string> words = app.remaining();
    if (words.empty()) return {};
    const std::string word = words[0].substr(0, words[0].find('='));
    const bool option = word.starts_with("-");
    if (!option && app.get_parent()) return "'" + word + "' is one word too many";
    std::vector<std::string> names;
    if (option)
        for (const CLI::Option* each : app.get_options())
            for (const std::string& name : each->get_lnames()) names.push_back("--" + name);
    else
        for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return unknown(option ? "option" : "command", word, names);
}

// Which option lacks its value, has one that it doesn't take, or has two; empty if none does.
std::string mismatch(const CLI::App& command, const std::vector<std::string>& words)
{
    for (size_t k = 0; k < words.size(); ++k) {
        const auto [option, value] = given(command, words[k]);
        if (takes_value(option) && value.empty() && ++k == words.size())
            return option->get_name() + " needs a value";
        if (option && option->get_items_expected_max() == 0 && !value.empty() && value != "true")
            return option->get_name() + " takes no value";
    }
    for (const CLI::Option* option : command.get_options())
        if (const int most = option->get_items_expected_max(); most > 0 && int(option->count()) > most)
            return option->get_name() + " is given more than once";
    return {};
}

// Which option should be there, or not be there beside another; empty if none.
std::string misfit(const CLI::App& command)
{
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_required() && option->count() == 0) return option->get_name() + " is required";
        if (option->count() == 0) continue;
        for (const CLI::Option* other : option->get_needs())
            if (other->count() == 0) return option->get_name() + " requires " + other->get_name();
        for (const CLI::Option* other : option->get_excludes())
            if (other->count() > 0) return option->get_name() + " excludes " + other->get_name();
    }
    return {};
}
} // namespace

Help::Help()
{
    column_width(names_column);
    label("SUBCOMMAND", "COMMAND");
}

// One empty line where there were two.
std::string Help::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const
{
    std::string text = Formatter::make_help(app, std::move(name), mode);
    for (size_t at; (at = text.find("\n\n\n")) != std::string::npos;) text.erase(at, 1);
    return text;
}

std::string Help::make_option_desc(const CLI::Option* option) const
{
    std::string text = option->get_description();
    for (size_t first = 0; text.size() - first > line_length - names_column;) {
        const size_t blank = text.rfind(' ', first + line_length - names_column);
        if (blank == std::string::npos || blank <= first) break;
        text[blank] = '\n';
        first = blank + 1;
    }
    return text;
}

std::vector<std::string> arranged(const CLI::App& app, std::vector<std::string> words)
{
    if (!words.empty() && words[0] == "help") {
        words.erase(words.begin());
        if (words.empty() || words[0] == "help") return {"--help"};
        if (command_of(app, words[0])) words.insert(words.begin() + 1, "--help");
    }
    std::vector<std::string> result;
    const CLI::App* command = nullptr;
    for (size_t k = 0; k < words.size(); ++k) {
        const std::string& word = words[k];
        if (!command) { // all up to its name is the program's
            command = command_of(app, word);
            if (!command && !word.starts_with("-")) return {word}; // nobody's --help
            if (word != "--") result.push_back(word);
        } else if (word == "--") {
            for (++k; k < words.size(); ++k)
                result.push_back((words[k].starts_with("-") && words[k] != "-" ? "./" : "") + words[k]);
        } else {
            const auto [option, value] = given(*command, word);
            const bool equals = !word.starts_with("--") && value.starts_with("="); // -f=3
            result.push_back(equals ? word.substr(0, word.size() - value.size()) : word);
            if (equals)
                result.push_back(value.substr(1));
            else if (takes_value(option) && value.empty() && k + 1 < words.size())
                result.push_back(words[++k]);
        }
    }
    return result;
}

std::string explain(const CLI::App& app, const std::vector<std::string>& words, const CLI::ParseError& error)
{
    for (const CLI::App* command : app.get_subcommands())
        if (std::string text = stray(*command); !text.empty()) return text;
    if (std::string text = stray(app); !text.empty()) return text;
    if (app.get_subcommands().empty()) return "which command?";
    const CLI::App& command = *app.get_subcommands().front();
    const bool told = dynamic_cast<const CLI::ValidationError*>(&error); // by those who read the values
    std::string text = told ? "" : mismatch(command, words);
    if (text.empty() && !told) text = misfit(command);
    if (text.empty()) text = error.what();
    return text.substr(0, text.find('\n')); // a value may be of several lines
}
} // namespace client
