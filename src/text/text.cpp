// Functions on zero-terminated byte strings.
#include <algorithm>
#include <array>
#include <cstring>
#include <zovek/memory.h>
#include <zovek/text.h>

namespace zv::text {
using Masks = std::array<uint8_t, 256>;

// What a byte is ANDed with before a comparison: all bits, or all but the case of a small letter.
constexpr Masks as_it_is = [] {
    Masks masks{};
    masks.fill(0xFF);
    return masks;
}();
constexpr Masks as_capital = [] {
    Masks masks = as_it_is;
    for (int c = 'a'; c <= 'z'; ++c) masks[size_t(c)] = 0xDF;
    return masks;
}();

template <const Masks& masks>
static int32_t compare(const char* a, const char* b)
{
    for (;; ++a, ++b) {
        const uint8_t left = *a, right = *b;
        const int32_t difference = (left & masks[left]) - (right & masks[right]);
        if (difference != 0 || left == 0) return difference;
    }
}
} // namespace zv::text

using namespace zv;

uint32_t StringLength(const char* text) { return static_cast<uint32_t>(strlen(text)); }

char* StringCopy(char* target, const char* source)
{
    return static_cast<char*>(memmove(target, source, strlen(source) + 1));
}

char* StringDuplicate(const char* text)
{
    return static_cast<char*>(MemoryDuplicate(text, StringLength(text) + 1));
}

char* StringReverse(char* text)
{
    std::reverse(text, text + strlen(text));
    return text;
}

int32_t StringCompare(const char* a, const char* b) { return text::compare<text::as_it_is>(a, b); }
int32_t StringCompareI(const char* a, const char* b) { return text::compare<text::as_capital>(a, b); }

char* StringString(const char* text, const char* pattern)
{
    return *text ? const_cast<char*>(strstr(text, pattern)) : nullptr;
}
