// Pages of the manual. A minus in front of a word is one (of an option, a file or a number), within words a
// hyphen.
#include "pages/pages.h"
#include <zovek/base.h>

namespace client::pages {
namespace {
std::string prose(const std::string& text)
{
    std::string result;
    bool begins = true; // a word
    for (size_t k = 0; k < text.size(); ++k) {
        const char c = text[k];
        if ((c == '.' || c == '\'') && (k == 0 || text[k - 1] == '\n')) result += "\\&";
        if (c == '\\')
            result += "\\e";
        else if (c == '-' && begins)
            result += "\\-";
        else
            result += c;
        begins = begins ? std::string_view(" \n(,=-:").find(c) != std::string_view::npos
                        : std::string_view(" \n(,=").find(c) != std::string_view::npos;
    }
    return result;
}

// As it is typed: every minus is one.
std::string typed(const std::string& text)
{
    std::string result;
    for (const char c : text) result += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
    return result;
}

std::string bold(const std::string& text) { return "\\fB" + typed(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + typed(text) + "\\fR"; }

std::string upper(std::string text)
{
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c -= 'a' - 'A';
    return text;
}

std::string head(const std::string& name, const std::string& help)
{
    return ".TH " + upper(typed(name)) + " 1 \"\" \"zovek " ZOVEK_VERSION "\" \"Zovek\"\n.SH NAME\n" +
           typed(name) + " \\- " + prose(help) + "\n";
}

std::string item(const Entry& entry)
{
    std::string names;
    for (const std::string& name : entry.names)
        names += (names.empty() ? "" : ", ") + (entry.positional ? italic(name) : bold(name));
    if (!entry.positional && !entry.value.empty()) names += " " + italic(entry.value);
    if (entry.repeats) names += " ...";
    std::string text = prose(entry.help);
    for (const std::string& fit : entry.fits) text += "; " + prose(fit);
    if (entry.required) text += "; required";
    if (!entry.usual.empty()) text += " (if left out: " + prose(entry.usual) + ")";
    return ".TP\n" + names + "\n" + text + ".\n";
}

// All of them, a section a group.
std::string options(CLI::App& app)
{
    const std::vector<Entry> all = entries(app);
    std::string text;
    for (const Entry& entry : all)
        if (entry.positional) text += item(entry);
    if (!text.empty()) text = ".SH ARGUMENTS\n" + text;
    for (const std::string& group : app.get_groups()) {
        std::string items;
        for (const Entry& entry : all)
            if (!entry.positional && entry.group == group) items += item(entry);
        if (!items.empty()) text += ".SH " + upper(prose(group)) + "\n" + items;
    }
    return text;
}

constexpr const char* status =
    ".SH EXIT STATUS\n.TP\n0\nAll was done.\n.TP\n1\nA file, a device or memory failed; a line "
    "on standard error tells which and why.\n.TP\n2\nThe command line is wrong.\n";
} // namespace

std::string manual(const Program& program)
{
    std::string text = head("zovek", "signal processing for radio receivers") + ".SH SYNOPSIS\n" +
                       bold("zovek") + " [" + italic("OPTIONS") + "] " + italic("COMMAND") +
                       " ...\n.SH DESCRIPTION\nReceives stations out of recordings and live streams of a "
                       "band, decodes data, "
                       "text and tones, converts sampling rates, cleans speech, and draws spectra. Each "
                       "command has a page of "
                       "its own.\n" +
                       options(*program.app) + ".SH COMMANDS\n";
    for (const Program::Row& row : program.rows)
        text += ".TP\n" + bold("zovek-" + std::string(row.command->name)) + "(1)\n" +
                prose(row.command->help) + ".\n";
    return text + status;
}

std::string manual(const Program::Row& row)
{
    const std::string name = row.command->name;
    std::string words;
    for (const Entry& entry : entries(*row.options))
        if (entry.positional)
            words += " [" + italic(entry.names.front()) + (entry.repeats ? " ..." : "") + "]";
    std::string text = head("zovek-" + name, row.command->help) + ".SH SYNOPSIS\n" + bold("zovek " + name) +
                       " [" + italic("OPTIONS") + "]" + words + "\n" + options(*row.options);
    if (const std::string said = notes(row); !said.empty())
        text += ".SH NOTES\n.nf\n" + prose(said) + "\n.fi\n";
    return text + status + ".SH EXAMPLE\n.nf\n" + typed(row.command->example) + "\n.fi\n.SH SEE ALSO\n" +
           bold("zovek") + "(1)\n";
}
} // namespace client::pages
