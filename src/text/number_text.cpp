// Numbers to text in any base, and decimal text to a number.
#include "core/real.h"
#include <algorithm>
#include <zovek/text.h>

namespace zv::text {
// Digits come off lowest first, by repeated division, and are turned round at the end.
static char* write_number(uint64_t magnitude, bool negative, uint32_t base, char* target, uint32_t minimum)
{
    char* end = target;
    if (base >= 2 && base <= 36) {
        uint32_t digits = 0;
        do {
            *end++ = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[magnitude % base];
            magnitude /= base;
        } while (++digits < minimum || magnitude != 0);
        if (negative) *end++ = '-';
        std::reverse(target, end);
    }
    *end = 0;
    return target;
}

static bool is_digit(char c) { return c >= '0' && c <= '9'; }
} // namespace zv::text

using namespace zv;

char* IntegerToString(int32_t value, uint32_t base, char* target, uint32_t minimum_digits)
{
    const bool negative = base == 10 && value < 0;
    const uint32_t bits = value;
    return text::write_number(negative ? 0 - bits : bits, negative, base, target, minimum_digits);
}

char* Int64ToString(int64_t value, uint32_t base, char* target, uint32_t minimum_digits)
{
    const bool negative = base == 10 && value < 0;
    const uint64_t bits = value;
    return text::write_number(negative ? 0 - bits : bits, negative, base, target, minimum_digits);
}

long double StringToDouble(const char* text)
{
    while (*text == ' ' || *text == '\t') ++text;
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    extended value = 0;
    for (; text::is_digit(*text); ++text) value = value * 10 + (*text - '0');
    if (*text == '.' || *text == ',') {
        extended scale = 1;
        while (text::is_digit(*++text)) {
            scale /= 10;
            value += scale * (*text - '0');
        }
    }
    return negative ? -value : value;
}
