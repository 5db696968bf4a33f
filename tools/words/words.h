// Numbers as users write them, and JSON as programs read it.
#pragma once
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace words {
// A finite decimal number with an optional suffix k (1000), M (1000000) or G (1000000000), and behind it the
// unit, if it has one and if it is given: "14.25k" is 14250, and so is "14.25 kHz" of the unit "Hz". Else
// nothing.
std::optional<double> parse_quantity(const std::string& text, const std::string& unit = {});
// Why a text that should be a quantity isn't one: "'4,5k' is not a number (the decimal mark is a point)".
std::string not_a(const std::string& what, const std::string& text);

// What a quantity may be, both bounds included.
struct Range {
    double least, most;
    bool whole = false;
    std::string called = {}; // what messages call such a quantity, else made of the bounds

    bool has(double value) const
    {
        return value >= least && value <= most && (!whole || value == std::floor(value));
    }
    std::string text() const; // "a whole number from 1 to 17"
};
// "a, b or c".
std::string either(const std::vector<std::string>& names);
// The symbol of a unit by the name that help has for it, as Hz of HZ; nothing if it has none.
std::string symbol_of(const std::string& unit);

// Words are compared whatever the case of their letters, which are those of ASCII.
bool same_word(const std::string& a, const std::string& b);
bool ends_with_word(const std::string& text, const std::string& end);

// The shortest decimal form that reads as the number to 9 digits: 14250, 0.35.
std::string number(double value);
// The same to 15 digits, for frequencies beside which 9 are too few: 10489550123.25.
std::string exact(double value);
// One digit behind the point: 3.2.
std::string decimals(double value);

// Bytes that the character at a place takes in UTF-8 (RFC 3629: no overlong forms, surrogates or numbers
// beyond the last); 0 where there is none.
size_t utf8_length(const std::string& text, size_t place);

// Text for one line: control characters and bytes that are no UTF-8 as <0x0d>, line ends at the end left out.
std::string printable(const std::string& bytes);
// Two digits a byte, lower case.
std::string hex(const std::string& bytes);

// One JSON object on one line, built member by member. A byte of a text that isn't UTF-8, as names of files
// may have, becomes U+FFFD, the replacement character.
class JsonObject {
public:
    JsonObject& add(const char* name, const std::string& text);
    JsonObject& add(const char* name, const char* text) { return add(name, std::string(text)); }
    JsonObject& add(const char* name, double value); // null where JSON has no such number
    JsonObject& add_exact(const char* name, double value) { return raw(name, exact(value)); } // a finite one
    JsonObject& add(const char* name, int64_t value) { return raw(name, std::to_string(value)); }
    JsonObject& add(const char* name, bool value) { return raw(name, value ? "true" : "false"); }
    JsonObject& add(const char* name, const std::vector<std::string>& texts);
    JsonObject& add(const char* name, const std::vector<double>& values);
    JsonObject& add(const char* name, const std::vector<JsonObject>& objects);
    JsonObject& add(const char* name, const JsonObject& object) { return raw(name, object.text()); }
    JsonObject& append(const JsonObject& object); // its members behind the ones that are there
    std::string text() const { return "{" + members_ + "}"; }

private:
    JsonObject& raw(const char* name, const std::string& value);
    std::string members_;
};
} // namespace words
