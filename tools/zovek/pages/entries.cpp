#include "pages/pages.h"
#include "words/words.h"
#include <algorithm>

namespace client::pages {
namespace {
std::vector<std::string> split(const std::string& text, char mark)
{
    std::vector<std::string> parts;
    for (size_t first = 0; first <= text.size() && !text.empty();) {
        const size_t end = std::min(text.find(mark, first), text.size());
        parts.push_back(text.substr(first, end - first));
        first = end + 1;
    }
    return parts;
}

// Of what Option::one_of left with the parser.
std::vector<std::string> choices_of(CLI::Option& option)
{
    try {
        return split(option.get_validator(0)->get_name(), '|');
    } catch (const CLI::OptionNotFound&) {
        return {};
    }
}
} // namespace

std::vector<Entry> entries(CLI::App& app)
{
    std::vector<Entry> result;
    for (CLI::Option* option : app.get_options()) {
        const bool positional = option->get_positional();
        Entry entry{.names = split(option->get_name(positional, true), ','),
                    .value = option->get_type_size() == 0 ? "" : option->get_type_name(),
                    .usual = option->get_default_str(),
                    .help = option->get_description(),
                    .group = option->get_group(),
                    .choices = choices_of(*option),
                    .positional = positional,
                    .required = option->get_required(),
                    .repeats = option->get_items_expected_max() > 1,
                    .separator = option->get_delimiter()};
        entry.takes_file = positional || entry.value.starts_with("FILE");
        for (const CLI::Option* other : option->get_needs())
            entry.fits.push_back("needs " + other->get_name());
        for (const CLI::Option* other : option->get_excludes())
            entry.fits.push_back("not with " + other->get_name());
        std::ranges::sort(entry.fits); // the parser has them by their places in memory
        result.push_back(entry);
    }
    return result;
}

std::string notes(const Program::Row& row)
{
    const std::string footer = row.options->get_footer();
    const size_t example = footer.rfind("Example: ");
    const size_t end = footer.find_last_not_of('\n', example == 0 ? 0 : example - 1);
    return example == 0 || end == std::string::npos ? "" : footer.substr(0, end + 1);
}
} // namespace client::pages
