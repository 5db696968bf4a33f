#include "text.h"
#include <charconv>
#include <cmath>
#include <cstdio>

namespace client {
std::optional<double> parse_quantity(const std::string& text)
{
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value, std::chars_format::general);
    if (error != std::errc() || !std::isfinite(value)) return {};
    if (rest == end) return value;
    if (rest + 1 == end && (*rest == 'k' || *rest == 'K')) return value * 1e3;
    if (rest + 1 == end && *rest == 'M') return value * 1e6;
    return {};
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

// A string literal: quotes, backslashes and control characters escaped, all other bytes as they are.
static std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char c : text) {
        char escape[8];
        if (c == '"' || c == '\\')
            (result += '\\') += c;
        else if (static_cast<unsigned char>(c) < 0x20) {
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            result += escape;
        } else
            result += c;
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
} // namespace client
