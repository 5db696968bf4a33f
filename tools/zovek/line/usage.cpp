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

// The place behind the option's letter whose value ends a word of short options like -vf3; 0 if there is none.
size_t value_place(const CLI::App& app, const std::string& word)
{
    for (size_t k = 1; k < word.size(); ++k) {
        const CLI::Option* option = app.get_option_no_throw(std::string("-") + word[k]);
        if (!option) return 0;
        if (option->get_items_expected_min() > 0) return k + 1;
    }
    return 0;
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
        } else if (!word.starts_with("-")) {
            result.push_back(word);
        } else if (word.starts_with("--")) {
            const CLI::Option* option = command->get_option_no_throw(word); // none of --rate=8k
            result.push_back(word);
            if (option && option->get_items_expected_min() > 0 && k + 1 < words.size())
                result.push_back(words[++k]);
        } else {
            const size_t value = value_place(*command, word);
            const bool equals = value && word[value] == '=';
            result.push_back(equals ? word.substr(0, value) : word);
            if (equals)
                result.push_back(word.substr(value + 1));
            else if (value == word.size() && k + 1 < words.size())
                result.push_back(words[++k]);
        }
    }
    return result;
}

std::string explain(const CLI::App& app, const CLI::ParseError& error)
{
    for (const CLI::App* command : app.get_subcommands())
        if (const std::string text = stray(*command); !text.empty()) return text;
    if (const std::string text = stray(app); !text.empty()) return text;
    if (app.get_subcommands().empty()) return "which command?";
    const std::string text = error.what();
    const std::string name = text.substr(0, text.find_first_of(": \n"));
    if (error.get_name() == "ArgumentMismatch") {
        if (text.find("At Most") != std::string::npos) return name + " is given more than once";
        if (text.find("flag override") != std::string::npos) return "--" + name + " takes no value";
        return name + " needs a value";
    }
    return text.substr(0, text.find('\n')); // help may stand behind it
}
} // namespace client
