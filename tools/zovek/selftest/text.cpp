// Texts, strings and lists.
#include "parts.h"
#include <zovek.hpp>

namespace client::selftest {
// A text of up to 20 characters, all but the terminator, mostly letters of either case.
static std::string some_text(Dice& dice)
{
    std::string text(static_cast<size_t>(dice.below(20)), ' ');
    for (char& c : text)
        c = static_cast<char>(dice.below(9) == 0 ? 1 + dice.below(255) : 'A' + dice.below(60));
    return text;
}

void texts(Hash& hash)
{
    Dice dice(17);
    char digits[80];
    for (uint32_t base = 0; base <= 37; ++base)
        for (int n = 0; n < 6; ++n) {
            const auto value = static_cast<int32_t>(n == 0 ? 0x80000000 : dice.next() >> (6 * n - 5));
            hash.text(IntegerToString(value, base, digits, uint32_t(dice.below(12))));
            const auto size =
                uint32_t(dice.below(70)); // a draw a statement, as compilers order arguments differently
            const auto factor = static_cast<int32_t>(dice.next());
            hash.text(Int64ToString(int64_t(value) * factor, base, digits, size));
        }
    for (int n = 0; n < 300; ++n) {
        std::string a = some_text(dice), b = n % 3 ? some_text(dice) : a;
        if (n % 6 == 0 && !b.empty()) b.back() ^= 0x20;
        hash.value(StringCompare(a.c_str(), b.c_str()));
        hash.value(StringCompareI(a.c_str(), b.c_str()));
        const std::string piece = b.substr(b.size() / 3, b.size() / 2);
        const char* found = StringString(b.c_str(), piece.c_str());
        hash.value(found ? int32_t(found - b.c_str()) : -1);
        hash.value(StringLength(a.c_str()));
        hash.text(StringReverse(a.data()));
        hash.text(StringCopy(digits, a.c_str()));
    }
}

// What a change of a string takes.
struct Drawn {
    const char* text;
    int32_t index, value;
    Dice& dice;
};

// clang-format off
static void (*const changes[])(ZVString*, const Drawn&) = {
    [](ZVString* s, const Drawn& d) { ZVString_Set_String(s, d.text); },
    [](ZVString* s, const Drawn& d) { ZVString_Add_Character(s, d.text[0]); },
    [](ZVString* s, const Drawn& d) { ZVString_Add_Integer(s, d.value, uint32_t(2 + d.index % 30),
                                                           uint32_t(d.index & 15)); },
    [](ZVString* s, const Drawn& d) { ZVString_Add_Integer64(s, int64_t(d.value) * d.value, 16, 4); },
    [](ZVString* s, const Drawn& d) { ZVString_Insert_Character(s, d.index, 'i'); },
    [](ZVString* s, const Drawn& d) { ZVString_Delete_Character(s, d.index); },
    [](ZVString* s, const Drawn& d) { ZVString_Delete_Range(s, d.index, d.index + d.dice.below(9)); },
    [](ZVString* s, const Drawn& d) { ZVString_Replace_Character(s, 'a', char('a' + d.dice.below(26))); },
    [](ZVString* s, const Drawn& d) { ZVString_Truncate(s, uint32_t(d.dice.below(150))); },
    [](ZVString* s, const Drawn& d) { ZVString_Add_String(s, d.text); },
};
// clang-format on

void strings(Hash& hash)
{
    Dice dice(18);
    const zovek::String string(ZVString_Construct);
    const auto see = [&] {
        hash.bytes(string->text, static_cast<size_t>(string->length) + 1);
        hash.value(string->capacity);
    };
    for (int n = 0; n < 200; ++n) {
        const std::string piece = some_text(dice);
        const int32_t index = dice.below(100) - 10, value = static_cast<int32_t>(dice.next());
        changes[dice.below(10)](string, {piece.c_str(), index, value, dice});
        see();
    }
    ZVString_Set_String(string, "");
    ZVString_Add_AX25CallSign(string, reinterpret_cast<const uint8_t*>("AB1 D \x0E"));
    see();
}

void string_lists(Hash& hash)
{
    Dice dice(19);
    const zovek::StringList list(ZVStringList_Construct);
    for (const int32_t sorting : {0, 1, 2})
        for (int n = 0; n < 150; ++n) {
            if (n == 50) ZVStringList_Sorting(list, sorting);
            const std::string text = some_text(dice);
            ZVStringList_Add_String(list, text.c_str());
            if (n % 4 == 0) ZVStringList_Remove(list, dice.below(list->count + 1));
            if (n % 5 == 0) ZVStringList_Replace_Index(list, dice.below(list->count + 1), text.c_str());
            hash.value(ZVStringList_IndexOf(list, text.c_str()));
        }
    for (int32_t n = 0; n < list->count; ++n) hash.text(list->items[n]);
}
} // namespace client::selftest
