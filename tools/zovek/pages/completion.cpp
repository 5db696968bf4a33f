// Completion for three shells: commands, their options, the values of a choice, and names of files where one
// is taken.
#include "pages/pages.h"

namespace client::pages {
namespace {
std::string joined(const std::vector<std::string>& words, const std::string& between)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

std::vector<std::string> names_of(const Program& program)
{
    std::vector<std::string> names;
    for (const Program::Row& row : program.rows) names.emplace_back(row.command->name);
    return names;
}

// With a backslash before each of the marks.
std::string escaped(const std::string& text, const std::string& marks)
{
    std::string result;
    for (const char c : text) result += (marks.find(c) == std::string::npos ? "" : "\\") + std::string(1, c);
    return result;
}

// Within single quotes of a Bourne shell.
std::string quoted(const std::string& text)
{
    std::string result;
    for (const char c : text) result += c == '\'' ? "'\\''" : std::string(1, c);
    return "'" + result + "'";
}
} // namespace

std::string bash(const Program& program)
{
    std::string values, options;
    const auto add = [&](const std::string& command, CLI::App& app) {
        std::vector<std::string> all;
        for (const Entry& entry : entries(app)) {
            if (entry.positional) continue;
            all.insert(all.end(), entry.names.begin(), entry.names.end());
            if (entry.value.empty()) continue;
            std::vector<std::string> cases;
            for (const std::string& name : entry.names) cases.push_back(quoted(joined({command, name}, " ")));
            values += "        " + joined(cases, " | ") + ") ";
            if (!entry.choices.empty())
                values +=
                    std::string(entry.separator ? "list" : "words") + "='" + joined(entry.choices, " ") + "'";
            else
                values += entry.takes_file ? "files=1" : "return";
            values += " ;;\n";
        }
        options += "        '" + command + "') words='" + joined(all, " ") + "' ;;\n";
    };
    for (const Program::Row& row : program.rows) add(row.command->name, *row.options);
    const std::string names = joined(names_of(program), " ");
    return "# Completion of zovek for bash.\n"
           "_zovek()\n{\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' "
           "words='' list='' files='' k\n"
           "    COMPREPLY=()\n"
           "    if [[ $word == '=' ]]; then word=''; # --rate=8k is three words here\n"
           "    elif [[ $before == '=' ]]; then before=${COMP_WORDS[COMP_CWORD - 2]}; fi\n"
           "    for ((k = 1; k < COMP_CWORD; ++k)); do\n"
           "        case ${COMP_WORDS[k]} in\n"
           "        help | " +
           joined(names_of(program), " | ") +
           ") command=${COMP_WORDS[k]}; break ;;\n"
           "        esac\n    done\n"
           "    case \"$command $before\" in\n" +
           values +
           "        *) case $command in\n"
           "        '') words='" +
           names +
           " help --help --version' ;;\n"
           "        help) words='" +
           names +
           "' ;;\n"
           "        *) if [[ $word != -* ]]; then files=1; else case $command in\n" +
           options +
           "        esac; fi ;;\n"
           "        esac ;;\n"
           "    esac\n"
           "    if [[ $files ]]; then\n"
           "        compopt -o filenames 2>/dev/null\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
           "    elif [[ $list ]]; then\n"
           "        local first=''\n"
           "        [[ $word != *,* ]] || first=${word%,*},\n"
           "        mapfile -t COMPREPLY < <(compgen -P \"$first\" -W \"$list\" -- \"${word##*,}\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "    fi\n}\n"
           "complete -F _zovek zovek\n";
}

std::string zsh(const Program& program)
{
    const auto arguments = [](CLI::App& app) {
        std::string text;
        for (const Entry& entry : entries(app)) {
            std::string action = entry.takes_file ? "_files" : " ";
            if (!entry.choices.empty())
                action = entry.separator ? "_values -s , " + entry.value + " " + joined(entry.choices, " ")
                                         : "(" + joined(entry.choices, " ") + ")";
            std::string told = "[" + escaped(entry.help, "[]\\:") + "]";
            if (!entry.value.empty()) told += ":" + escaped(entry.value, ":") + ":" + action;
            if (entry.positional) {
                text += " \\\n            " +
                        quoted((entry.repeats ? "*:" : ":") + escaped(entry.names.front(), ":") + ":_files");
                continue;
            }
            const std::string before = entry.repeats ? "*" : "(" + joined(entry.names, " ") + ")";
            for (const std::string& name : entry.names)
                text += " \\\n            " + quoted(joined({before, name, told}, ""));
        }
        return text;
    };
    std::string commands, cases;
    for (const Program::Row& row : program.rows) {
        const std::string name = row.command->name;
        commands += "            " + quoted(name + ":" + escaped(row.command->help, ":")) + "\n";
        cases += "        " + name + ") _arguments" + arguments(*row.options) + " ;;\n";
    }
    return "#compdef zovek\n# Completion of zovek for zsh.\n"
           "_zovek()\n{\n"
           "    local curcontext=$curcontext state line\n"
           "    local -a commands\n"
           "    typeset -A opt_args\n"
           "    _arguments -C" +
           arguments(*program.app) +
           " \\\n            '1: :->command' '*:: :->rest'\n"
           "    case $state in\n"
           "    command)\n"
           "        commands=(\n" +
           commands +
           "            'help:tell of a command'\n        )\n"
           "        _describe command commands ;;\n"
           "    rest)\n"
           "        case $words[1] in\n" +
           cases +
           "        esac ;;\n"
           "    esac\n}\n"
           "_zovek \"$@\"\n";
}

std::string fish(const Program& program)
{
    // Within single quotes fish knows a backslash and a quote.
    const auto text = [](const std::string& said) { return "'" + escaped(said, "\\'") + "'"; };
    std::string result = "# Completion of zovek for fish.\ncomplete -c zovek -f\n";
    const auto add = [&](const std::string& where, CLI::App& app) {
        for (const Entry& entry : entries(app)) {
            std::string line = "complete -c zovek -n " + where;
            for (const std::string& name : entry.names)
                if (!entry.positional)
                    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            if (entry.positional)
                line += " -F";
            else {
                const std::string list = joined(entry.choices, " ");
                if (!list.empty())
                    line +=
                        " -x -a " + (entry.separator ? "'(__fish_append , " + list + ")'" : "'" + list + "'");
                else if (!entry.value.empty())
                    line += entry.takes_file ? " -r -F" : " -x";
                line += " -d " + text(entry.help);
            }
            result += line + "\n";
        }
    };
    add("__fish_use_subcommand", *program.app);
    for (const Program::Row& row : program.rows)
        result += "complete -c zovek -n __fish_use_subcommand -a " + std::string(row.command->name) + " -d " +
                  text(row.command->help) + "\n";
    for (const Program::Row& row : program.rows)
        add("'__fish_seen_subcommand_from " + std::string(row.command->name) + "'", *row.options);
    return result;
}
} // namespace client::pages
