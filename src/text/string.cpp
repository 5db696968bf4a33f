// String object: a text that looks after its own block. Each operation that lengthens it reserves first, so a
// refusal leaves the text alone.
#include "core/frame.h"
#include "core/round_up.h"
#include "platform/platform.h"
#include <algorithm>
#include <cstring>
#include <zovek/string.h>
#include <zovek/text.h>

namespace zv::string {
static constexpr uint32_t step = 64; // the block's size is a multiple of it

// Makes the block hold need bytes; false, and nothing changed, if it can't or the length would pass 31 bits.
static bool reserve(ZVString* self, uint64_t need)
{
    if (need <= self->capacity) return true;
    return need <= uint64_t(INT32_MAX) + 1 && grow(self->text, self->capacity, round_up<step>(need));
}

static void end_at(ZVString* self, uint32_t length)
{
    self->length = static_cast<int32_t>(length);
    self->text[length] = 0;
}

// Puts count bytes at the index, over what stands there, and ends the text behind them.
static ZVString* put(ZVString* self, uint32_t index, const char* bytes, size_t count)
{
    if (reserve(self, uint64_t(index) + count + 1)) {
        MemoryCopy(self->text + index, bytes, static_cast<uint32_t>(count));
        end_at(self, index + static_cast<uint32_t>(count));
    }
    return self;
}

// The text that ask(size, buffer) writes, asked for its size first, and then with room(need) bytes to write
// to. Where the size is not to be had or can't be held the text stays; if it fails later (it has changed
// between the two) the text becomes empty.
template <class Ask, class Room>
static void fetch(ZVString* self, Ask ask, Room room)
{
    const uint32_t need = ask(0, nullptr);
    if (need == 0 || !reserve(self, need)) return;
    const uint32_t size = room(need), got = ask(size, self->text);
    end_at(self, got <= size ? std::max(got, 1u) - 1 : 0);
}

static ZVString* make(ZVString* self, const char* source)
{
    const auto build = [source](ZVString* string) {
        *string = {};
        put(string, 0, source, strlen(source));
        return string->text != nullptr;
    };
    return construct(self, build, ZVString_Destruct);
}
} // namespace zv::string

using namespace zv;

ZVString* ZVString_Construct(ZVString* self) { return string::make(self, ""); }
ZVString* ZVString_Construct_String(ZVString* self, const char* source) { return string::make(self, source); }

void ZVString_Destruct(ZVString* self, uint32_t flags)
{
    if (!self) return;
    MemoryFree(self->text);
    dismiss(self, flags);
}

ZVString* ZVString_Set_String(ZVString* self, const char* source)
{
    return source == self->text ? self : string::put(self, 0, source, strlen(source));
}

ZVString* ZVString_Set_ZVString(ZVString* self, const ZVString* source)
{
    return source == self ? self : string::put(self, 0, source->text, size_t(source->length));
}

ZVString* ZVString_Set_CurrentDirectory(ZVString* self)
{
    string::fetch(self, platform::current_directory, [=](uint32_t) { return self->capacity; });
    return self;
}

void ZVString_Set_FromRegistry(ZVString* self, void* root, const char* subkey, const char* value_name)
{
    string::end_at(self, 0);
    string::fetch(
        self,
        [=](uint32_t size, char* buffer) {
            return platform::registry_value(root, subkey, value_name, size, buffer);
        },
        [](uint32_t need) { return need; });
}

ZVString* ZVString_Add_Character(ZVString* self, char character)
{
    return string::put(self, uint32_t(self->length), &character, 1);
}

ZVString* ZVString_Add_String(ZVString* self, const char* source)
{
    return string::put(self, uint32_t(self->length), source, strlen(source));
}

ZVString* ZVString_Add_ZVString(ZVString* self, const ZVString* source)
{
    return string::put(self, uint32_t(self->length), source->text, size_t(source->length));
}

ZVString* ZVString_Add_Integer(ZVString* self, int32_t value, uint32_t base, uint32_t minimum_digits)
{
    char number[36]; // sign, 33 digits, terminator
    return ZVString_Add_String(self, IntegerToString(value, base, number, std::min(minimum_digits, 33u)));
}

ZVString* ZVString_Add_Integer64(ZVString* self, int64_t value, uint32_t base, uint32_t minimum_digits)
{
    char number[68]; // sign, 65 digits, terminator
    return ZVString_Add_String(self, Int64ToString(value, base, number, std::min(minimum_digits, 65u)));
}

// One reservation for the longest form, so that all of the call sign is added or nothing.
ZVString* ZVString_Add_AX25CallSign(ZVString* self, const uint8_t* address)
{
    if (!string::reserve(self, uint64_t(self->length) + sizeof "ABCDEF-15")) return self;
    for (int k = 0; k < 6; ++k)
        if (address[k] != ' ') ZVString_Add_Character(self, static_cast<char>(address[k]));
    const int32_t ssid = address[6] >> 1 & 15;
    if (ssid == 0) return self;
    return ZVString_Add_Integer(ZVString_Add_Character(self, '-'), ssid, 10, 0);
}

void ZVString_Insert_Character(ZVString* self, int32_t index, char character)
{
    const uint32_t length = self->length, at = std::min<uint32_t>(index, length);
    if (!string::reserve(self, uint64_t(length) + 2)) return;
    MemoryCopy(self->text + at + 1, self->text + at, length - at);
    self->text[at] = character;
    string::end_at(self, length + 1);
}

ZVString* ZVString_Replace_Character(ZVString* self, char find, char replacement)
{
    std::replace(self->text, self->text + self->length, find, replacement);
    return self;
}

void ZVString_Delete_Character(ZVString* self, int32_t index)
{
    if (uint32_t(index) >= uint32_t(self->length)) return;
    MemoryCopy(self->text + index, self->text + index + 1, uint32_t(self->length - index));
    --self->length;
}

void ZVString_Delete_Range(ZVString* self, int32_t first, int32_t last)
{
    first = std::max(first, 0);
    if (first >= self->length || last < first) return;
    last = std::min(last, self->length - 1);
    StringCopy(self->text + first, self->text + last + 1);
    self->length = static_cast<int32_t>(StringLength(self->text));
}

void ZVString_Truncate(ZVString* self, uint32_t length)
{
    if (uint32_t(self->length) > length) string::end_at(self, length);
}
