// String list. In a list that is in order a new or replaced entry needs no sort: its place is found by halves
// and the entries between move by one. Whether it is in order has to be looked at, since a client may have
// written sorting or a text. All else is sorted by merging in place (the merge of K. Dudzinski and A. Dydek,
// 1981: cut the longer run in half, find the cut's place in the other, rotate), which is stable and asks for
// no memory, so it can't fail.
#include "core/frame.h"
#include "core/round_up.h"
#include <algorithm>
#include <cstring>
#include <utility>
#include <zovek/string_list.h>
#include <zovek/text.h>

namespace zv::string_list {
static constexpr int32_t step = 128; // entries that the array grows by
// Entries up to which an add looks at all of them, which takes 15 us there. In a list of 100 000, made by
// sorted adds, the looks would take tens of seconds, and all the rest takes half of one.
static constexpr int32_t looked_over = 4096;

// Whether one text comes before another in the mode's order; texts that are equal do not.
struct Before {
    bool descending;
    explicit Before(int32_t mode) : descending(mode != 1) {}
    bool operator()(const char* a, const char* b) const
    {
        const int difference = strcmp(a, b); // StringCompare's order
        return descending ? difference > 0 : difference < 0;
    }
};

// Moves one entry of a list that is otherwise in order to its place: behind the equal ones that stand before
// it and ahead of those behind it.
static void settle(char** first, char** entry, char** end, Before before)
{
    char** place = std::upper_bound(first, entry, *entry, before);
    if (place != entry) {
        std::rotate(place, entry, entry + 1);
    } else {
        place = std::lower_bound(entry + 1, end, *entry, before);
        std::rotate(entry, entry + 1, place);
    }
}

// Whether all entries but this one are in order.
static bool in_order(char** first, char** entry, char** end, Before before)
{
    const char* last = nullptr;
    for (char** at = first; at != end; ++at) {
        if (at == entry) continue;
        if (last && before(*at, last)) return false;
        last = *at;
    }
    return true;
}

// Whether those that a search for the last entry's place meets stand in order with the ones before them, as
// in a list that is in disorder hardly all do.
static bool in_order_on_the_way(char** first, char** entry, Before before)
{
    for (char **low = first, **high = entry; low != high;) {
        char** middle = low + (high - low) / 2;
        if (middle != first && before(*middle, middle[-1])) return false;
        if (before(*entry, *middle))
            high = middle;
        else
            low = middle + 1;
    }
    return true;
}

static void merge(char** first, char** middle, char** end, Before before)
{
    if (first == middle || middle == end || !before(*middle, middle[-1])) return;
    if (end - first == 2) return std::swap(*first, *middle);
    char **left, **right;
    if (middle - first > end - middle) {
        left = first + (middle - first) / 2;
        right = std::lower_bound(middle, end, *left, before);
    } else {
        right = middle + (end - middle) / 2;
        left = std::upper_bound(first, middle, *right, before);
    }
    char** cut = std::rotate(left, middle, right);
    merge(first, left, cut, before);
    merge(cut, right, end, before);
}

static void sort(char** first, char** end, Before before)
{
    if (end - first < 2) return;
    char** middle = first + (end - first) / 2;
    sort(first, middle, before);
    sort(middle, end, before);
    merge(first, middle, end, before);
}

// Makes the array hold so many entries, by whole steps; false if it can't.
static bool reserve(ZVStringList* self, int32_t entries)
{
    const uint64_t bytes = round_up<step>(uint64_t(entries)) * sizeof(char*);
    return grow(self->items, bytes);
}

// Adds a copy behind the others; false if it can't.
static bool append(ZVStringList* self, const char* text)
{
    if (self->count % step == 0 && !reserve(self, self->count + 1)) return false;
    char* copy = StringDuplicate(text);
    if (copy) self->items[self->count++] = copy;
    return copy;
}

// Puts a new entry where it belongs, and the others too if a look at them finds disorder. Only the last one's
// look may be at some.
static void settle_at(ZVStringList* self, int32_t index, bool look_at_all)
{
    if (self->sorting == 0) return;
    char **first = self->items, **entry = first + index, **end = first + self->count;
    const Before before(self->sorting);
    if (look_at_all ? in_order(first, entry, end, before) : in_order_on_the_way(first, entry, before))
        settle(first, entry, end, before);
    else
        sort(first, end, before);
}

static bool build(ZVStringList* self)
{
    *self = {.items = static_cast<char**>(MemoryAlloc(1))};
    return self->items;
}

static bool has(const ZVStringList* self, int32_t index) { return index >= 0 && index < self->count; }
} // namespace zv::string_list

using namespace zv;

ZVStringList* ZVStringList_Construct(ZVStringList* self)
{
    return construct(self, string_list::build, ZVStringList_Destruct);
}

void ZVStringList_Destruct(ZVStringList* self, uint32_t flags)
{
    if (!self) return;
    ZVStringList_Clear(self);
    MemoryFree(self->items);
    dismiss(self, flags);
}

ZVStringList* ZVStringList_Add_String(ZVStringList* self, const char* text)
{
    if (string_list::append(self, text))
        string_list::settle_at(self, self->count - 1, self->count <= string_list::looked_over);
    return self;
}

// The newest first: their blocks are the ones that the heap finds soonest.
void ZVStringList_Clear(ZVStringList* self)
{
    while (self->count > 0) MemoryFree(self->items[--self->count]);
}

int32_t ZVStringList_IndexOf(const ZVStringList* self, const char* text)
{
    if (!text) return -1;
    const auto equal = [text](const char* item) { return StringCompare(item, text) == 0; };
    char** const end = self->items + self->count;
    char** const found = std::find_if(self->items, end, equal);
    return found == end ? -1 : static_cast<int32_t>(found - self->items);
}

ZVStringList* ZVStringList_Remove(ZVStringList* self, int32_t index)
{
    if (!string_list::has(self, index)) return self;
    MemoryFree(self->items[index]);
    std::copy(self->items + index + 1, self->items + self->count, self->items + index);
    --self->count;
    return self;
}

ZVStringList* ZVStringList_Replace_Index(ZVStringList* self, int32_t index, const char* text)
{
    if (!string_list::has(self, index)) return self;
    char* copy = StringDuplicate(text);
    if (!copy) return self;
    MemoryFree(std::exchange(self->items[index], copy));
    string_list::settle_at(self, index, true);
    return self;
}

// The copies are made in a list of their own, so that a refusal leaves this one alone, and move over at last.
ZVStringList* ZVStringList_Set_ZVStringList(ZVStringList* self, const ZVStringList* source)
{
    if (source == self) return self;
    ZVStringList copies = {};
    const auto complete = [&] {
        for (int32_t k = 0; k < source->count; ++k)
            if (!string_list::append(&copies, source->items[k])) return false;
        return copies.count == 0 || string_list::reserve(self, copies.count);
    };
    if (complete()) {
        ZVStringList_Clear(self);
        std::copy_n(copies.items, copies.count, self->items);
        self->count = std::exchange(copies.count, 0);
        ZVStringList_Sorting(self, self->sorting);
    }
    ZVStringList_Destruct(&copies, 0);
    return self;
}

ZVStringList* ZVStringList_Sorting(ZVStringList* self, int32_t mode)
{
    self->sorting = mode;
    if (mode != 0) string_list::sort(self->items, self->items + self->count, string_list::Before(mode));
    return self;
}
