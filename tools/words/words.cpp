#include "words/words.h"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace words {
std::optional<double> parse_quantity(const std::string& text, const std::string& unit)
{
    double value = 0;
    const char *end = text.data() + text.size(),
               *begin = text.data() + (text.starts_with('+') && !text.starts_with("+-"));
    const auto [rest, error] = std::from_chars(begin, end, value, std::chars_format::general);
    if (error != std::errc() || !std::isfinite(value)) return {};
    std::string suffix(rest, end);
    if (!unit.empty() && ends_with_word(suffix, unit)) {
        suffix.resize(suffix.size() - unit.size());
        if (suffix.starts_with(' ')) suffix.erase(0, 1);
    }
    if (suffix.empty()) return value;
    if (suffix == "k" || suffix == "K") return value * 1e3;
    if (suffix == "M") return value * 1e6;
    if (suffix == "G") return value * 1e9;
    return {};
}

std::string not_a(const std::string& what, const std::string& text)
{
    const bool comma = text.find(',') != std::string::npos;
    return "'" + text + "' is not " + what + (comma ? " (the decimal mark is a point)" : "");
}

std::string Range::text() const
{
    if (!called.empty()) return called;
    return std::string("a ") + (whole ? "whole " : "") + "number from " + number(least) + " to " +
           number(most);
}

std::string either(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : &name == &names.back() ? " or " : ", ") + name;
    return list;
}

std::string symbol_of(const std::string& unit)
{
    constexpr const char* symbols[][2] = {{"HZ", "Hz"},     {"SECONDS", "s"}, {"DB", "dB"},
                                          {"DBFS", "dBFS"}, {"PERCENT", "%"}, {"BD", "Bd"}};
    for (const auto& [name, symbol] : symbols)
        if (unit == name) return symbol;
    return {};
}

static char lower(char letter) { return letter >= 'A' && letter <= 'Z' ? char(letter - 'A' + 'a') : letter; }

bool same_word(const std::string& a, const std::string& b)
{
    return std::ranges::equal(a, b, {}, lower, lower);
}

bool ends_with_word(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && same_word(text.substr(text.size() - end.size()), end);
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

std::string exact(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", value);
    return text;
}

std::string decimals(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

size_t utf8_length(const std::string& text, size_t place)
{
    const auto byte = [&](size_t k) { return k < text.size() ? uint8_t(text[k]) : uint8_t(0); };
    const uint8_t first = byte(place), second = byte(place + 1);
    const size_t length = first < 0x80                    ? 1
                          : first >= 0xc2 && first < 0xe0 ? 2
                          : first >= 0xe0 && first < 0xf0 ? 3
                          : first >= 0xf0 && first < 0xf5 ? 4
                                                          : 0;
    for (size_t n = 1; n < length; ++n)
        if ((byte(place + n) & 0xc0) != 0x80) return 0;
    const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ||
                       (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90);
    return wrong ? 0 : length;
}

std::string printable(const std::string& bytes)
{
    std::string line;
    size_t end = bytes.size();
    while (end > 0 && (bytes[end - 1] == '\n' || bytes[end - 1] == '\r')) --end;
    for (size_t k = 0; k < end;) {
        const auto first = uint8_t(bytes[k]);
        size_t length = utf8_length(bytes, k);
        if (first < 0x20 || first == 0x7f || length == 0) {
            line += "<0x" + hex(bytes.substr(k, 1)) + ">";
            length = 1;
        } else
            line.append(bytes, k, length);
        k += length;
    }
    return line;
}

std::string hex(const std::string& bytes)
{
    std::string digits;
    for (const char byte : bytes)
        for (const int shift : {4, 0}) digits += "0123456789abcdef"[uint8_t(byte) >> shift & 15];
    return digits;
}

// A string literal: quotes, backslashes and control characters escaped, characters in UTF-8 as they are.
static std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (size_t k = 0, length; k < text.size(); k += std::max<size_t>(length, 1)) {
        const char c = text[k];
        char escape[8];
        length = utf8_length(text, k);
        if (c == '"' || c == '\\')
            (result += '\\') += c;
        else if (static_cast<unsigned char>(c) < 0x20) {
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            result += escape;
        } else if (length == 0)
            result += "\\ufffd";
        else
            result.append(text, k, length);
    }
    return result + '"';
}

static std::string real(double value) { return std::isfinite(value) ? number(value) : "null"; }

template <class Element, class Text>
static std::string list(const std::vector<Element>& elements, Text text)
{
    std::string result;
    for (const Element& element : elements) result += (result.empty() ? "" : ", ") + text(element);
    return "[" + result + "]";
}

JsonObject& JsonObject::raw(const char* name, const std::string& value)
{
    if (!members_.empty()) members_ += ", ";
    members_ += quoted(name) + ": " + value;
    return *this;
}

JsonObject& JsonObject::add(const char* name, const std::string& text) { return raw(name, quoted(text)); }

JsonObject& JsonObject::add(const char* name, double value) { return raw(name, real(value)); }

JsonObject& JsonObject::add(const char* name, const std::vector<std::string>& texts)
{
    return raw(name, list(texts, quoted));
}

JsonObject& JsonObject::add(const char* name, const std::vector<double>& values)
{
    return raw(name, list(values, real));
}

JsonObject& JsonObject::add(const char* name, const std::vector<JsonObject>& objects)
{
    return raw(name, list(objects, [](const JsonObject& object) { return object.text(); }));
}

JsonObject& JsonObject::append(const JsonObject& object)
{
    if (!members_.empty() && !object.members_.empty()) members_ += ", ";
    members_ += object.members_;
    return *this;
}
} // namespace words
