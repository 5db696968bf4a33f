#include "words/time_of_day.h"
#include <cstdio>
#include <regex>

namespace words {
namespace {
using namespace std::chrono;

struct Fields {
    int year;
    unsigned month, day;
    int hours, minutes, seconds, microseconds;
};

Fields fields_of(Time time)
{
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return {int(date.year()),
            unsigned(date.month()),
            unsigned(date.day()),
            int(clock.hours().count()),
            int(clock.minutes().count()),
            int(clock.seconds().count()),
            int(clock.subseconds().count())};
}
} // namespace

std::optional<Time> parse_time(const std::string& text)
{
    static const std::regex form(R"((\d{4})-(\d\d)-(\d\d)[T ](\d\d):(\d\d)(?::(\d\d)(?:[.,](\d{1,9}))?)?)"
                                 R"( ?(?:(Z)|([+-])(\d\d):?(\d\d)?))",
                                 std::regex::icase);
    std::smatch part;
    if (!std::regex_match(text, part, form)) return {};
    const auto whole = [&](size_t k) { return part[k].matched ? std::stoi(part[k]) : 0; };
    const year_month_day date{year(whole(1)), month(unsigned(whole(2))), day(unsigned(whole(3)))};
    if (!date.ok() || whole(4) > 23 || whole(5) > 59 || whole(6) > 60 || whole(10) > 14 || whole(11) > 59)
        return {};
    const std::string decimals = (part[7].str() + "000000").substr(0, 6);
    const auto zone = hours(whole(10)) + minutes(whole(11));
    return sys_days(date) + hours(whole(4)) + minutes(whole(5)) + seconds(whole(6)) +
           microseconds(std::stoi(decimals)) + (part[9] == "-" ? zone : -zone);
}

std::optional<seconds> parse_duration(const std::string& text)
{
    static const std::regex form(R"((\d{1,8}) ?([smhd]))", std::regex::icase);
    std::smatch part;
    if (!std::regex_match(text, part, form)) return {};
    const std::string units = "smhdSMHD";
    constexpr seconds lengths[] = {seconds(1), minutes(1), hours(1), days(1)};
    const seconds whole = std::stoi(part[1]) * lengths[units.find(part[2].str()) % 4];
    if (whole <= seconds(0) || whole > days(1000)) return {};
    return whole;
}

std::string exact_time(Time time)
{
    const Fields f = fields_of(time);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", f.year, f.month, f.day, f.hours,
                  f.minutes, f.seconds, f.microseconds);
    return text;
}

std::string iso_time(Time time)
{
    const std::string text = exact_time(time);
    return text.substr(0, text.size() - 4) + "Z";
}

std::string compact_time(Time time)
{
    const Fields f = fields_of(time);
    char text[96];
    std::snprintf(text, sizeof text, "%04d%02u%02uT%02d%02d%02dZ", f.year, f.month, f.day, f.hours, f.minutes,
                  f.seconds);
    return text;
}
} // namespace words
