// String list: rows, and random work against a vector that is sorted, stably, after each change.
#include "support/platform.h"
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <zovek.hpp>

namespace {
using Entries = std::vector<std::string>;
using Pointers = std::vector<char*>;

class StringList : public testing::Test {
protected:
    StringList() { ZVStringList_Construct(&list); }
    ~StringList() override { ZVStringList_Destruct(&list, 0); }
    Entries entries() const { return {list.items, list.items + list.count}; }
    Pointers pointers() const { return {list.items, list.items + list.count}; }
    void add(const Entries& texts)
    {
        for (const auto& text : texts) ASSERT_EQ(ZVStringList_Add_String(&list, text.c_str()), &list);
    }
    Pointers sorted(Pointers texts) const
    {
        std::stable_sort(texts.begin(), texts.end(), [&](const char* a, const char* b) {
            return list.sorting == 1 ? std::strcmp(a, b) < 0 : std::strcmp(a, b) > 0;
        });
        return texts;
    }
    ZVStringList list;
};

TEST_F(StringList, OrdersByUnsignedBytesInEveryMode)
{
    const Entries mixed = {"b", "", "\xE9", "ab", "A", "a", "b", "Zz", "a"};
    const Entries up = {"", "A", "Zz", "a", "a", "ab", "b", "b", "\xE9"}, down(up.rbegin(), up.rend());
    for (const auto& [mode, result] : {std::pair(0, mixed), {1, up}, {2, down}, {-1, down}}) {
        ZVStringList_Clear(&list);
        ZVStringList_Sorting(&list, mode); // as they are added
        add(mixed);
        EXPECT_EQ(entries(), result) << mode;
        ZVStringList_Clear(ZVStringList_Sorting(&list, 0));
        add(mixed); // and all at once
        EXPECT_EQ(ZVStringList_Sorting(&list, mode), &list);
        EXPECT_EQ(entries(), result) << mode;
        EXPECT_EQ(list.sorting, mode);
    }
    EXPECT_EQ(ZVStringList_IndexOf(&list, "a"), 4); // the first of two, in descending order
    for (const char* none : {"B", "aa", static_cast<const char*>(nullptr)})
        EXPECT_EQ(ZVStringList_IndexOf(&list, none), -1);
    ZVStringList_Replace_Index(&list, 3, list.items[3]); // an entry's own text
    EXPECT_EQ(entries(), down);
}

TEST_F(StringList, TheArrayGrowsAtEach128thEntryAlone)
{
    for (int n = 0; n < 1000; ++n) {
        char** const items = list.items;
        add({"t"});
        ASSERT_EQ(list.items == items, n % 128 != 0) << n;
    }
    char** const items = list.items;
    while (list.count > 0) ZVStringList_Remove(&list, 0);
    ZVStringList_Clear(&list);
    add({"again"});
    EXPECT_EQ(list.items, items); // the block stays, whatever is removed
    EXPECT_EQ(entries(), Entries{"again"});
}

// Texts are told apart by their address, so the order of equal ones shows. A text whose copy finds no memory
// must leave no trace; large ones need a pool of their own.
TEST_F(StringList, EqualsAStablySortedVectorThroughRandomWorkAndRefusals)
{
    std::mt19937 random(4);
    const auto below = [&](int n) { return int(random() % unsigned(n)); };
    Pointers model;
    int refusals = 0;
    for (int n = 0; n < 3000; ++n) {
        const Pointers held = pointers();
        const std::string text(size_t(below(4) == 0 ? 6000 : below(3)), char('a' + below(3)));
        const int at = below(list.count + 2) - 1, step = below(400), mode = below(4) - 1;
        const bool inside = at >= 0 && at < list.count;
        test::pools_left = below(4) == 0 ? 0 : -1;
        if (step < 190)
            ZVStringList_Add_String(&list, text.c_str());
        else if (step < 260)
            ZVStringList_Replace_Index(&list, at, text.c_str());
        else if (step < 395)
            ZVStringList_Remove(&list, at);
        else if (step < 399)
            ZVStringList_Sorting(&list, mode);
        else
            ZVStringList_Clear(&list);
        test::pools_left = -1;

        Pointers fresh = pointers();
        std::erase_if(fresh, [&](char* p) { return std::find(held.begin(), held.end(), p) != held.end(); });
        const bool wanted = step < 190 || (step < 260 && inside);
        refusals += wanted && fresh.empty();
        ASSERT_LE(fresh.size(), size_t(wanted));
        if (!fresh.empty()) {
            ASSERT_EQ(fresh[0], text);
            if (step < 190)
                model.push_back(fresh[0]);
            else
                model[size_t(at)] = fresh[0];
        }
        if (step >= 260 && step < 395 && inside) model.erase(model.begin() + at);
        if (step == 399) model.clear();
        if (list.sorting != 0) model = sorted(model);
        ASSERT_EQ(pointers(), model) << n;
    }
    EXPECT_GT(refusals, 20); // how many varies with the addresses that pools get
}

// What a client wrote itself, order or texts, is sorted by the next add or replace, as if all had been added
// anew.
TEST_F(StringList, IsSortedAnewAfterWhatTheClientWroteItself)
{
    std::mt19937 random(9);
    for (const int count : {1, 2, 3, 100, 1000, 4000}) {
        ZVStringList_Clear(&list);
        list.sorting = 0;
        for (int n = 0; n < count; ++n) add({std::to_string(random() % 500)});
        for (int round = 0; round < 12; ++round) {
            switch (round % 3) {
            case 0:
                list.sorting = round % 2 ? 1 : -1;
                break;
            case 1: // one text alone
                list.items[random() % unsigned(list.count)][0] = char('0' + random() % 10);
                break;
            default:
                std::swap(list.items[0], list.items[list.count - 1]);
            }
            Pointers model = pointers();
            const size_t at = random() % model.size();
            if (round % 2)
                add({"250"});
            else
                ZVStringList_Replace_Index(&list, int32_t(at), "250");
            const Pointers now = pointers(), held = model;
            const auto fresh = std::find_if(now.begin(), now.end(), [&](char* item) {
                return std::find(held.begin(), held.end(), item) == held.end();
            });
            ASSERT_NE(fresh, now.end());
            if (round % 2) model.push_back(nullptr);
            model[round % 2 ? held.size() : at] = *fresh;
            ASSERT_EQ(pointers(), sorted(model)) << count << ", round " << round;
        }
    }
    // A long list that has never been sorted, and a text that is replaced in one.
    ZVStringList_Clear(&list);
    list.sorting = 0;
    for (int n = 0; n < 20000; ++n) add({std::to_string(random())});
    list.sorting = 1;
    Entries model = entries();
    add({"5"});
    model.push_back("5");
    std::sort(model.begin(), model.end());
    EXPECT_EQ(entries(), model);
    list.items[7777][0] = '~';
    ZVStringList_Replace_Index(&list, 0, "#");
    EXPECT_EQ(list.items[0], std::string("#"));
    EXPECT_EQ(list.items[20000][0], '~');
}

TEST_F(StringList, ASetKeepsTheArrayAndFromAnEmptyListNeedsNoMemory)
{
    const zovek::StringList few(ZVStringList_Construct);
    for (int n = 0; n < 380; ++n) add({"text"});
    char** const items = list.items;
    for (const char* text : {"b", "a", "c"}) {
        ZVStringList_Add_String(few, text);
        list.sorting = 2;
        EXPECT_EQ(ZVStringList_Set_ZVStringList(&list, few), &list);
        EXPECT_EQ(list.count, few->count);
        EXPECT_EQ(list.items, items) << text;
    }
    EXPECT_EQ(entries(), (Entries{"c", "b", "a"}));
    ZVStringList_Clear(few);
    {
        const test::Refusing refusing;
        ZVStringList_Set_ZVStringList(&list, few);
    }
    EXPECT_EQ(list.count, 0);
    EXPECT_EQ(list.items, items);
}

TEST_F(StringList, TakesOverAnotherListInItsOwnOrderOrNotAtAll)
{
    Entries texts(300);
    for (auto& text : texts) text = std::to_string(&text - texts.data());
    add(texts);
    const zovek::StringList copy(ZVStringList_Construct);
    ZVStringList_Sorting(copy, 2);
    ZVStringList_Add_String(copy, "kept");
    for (int granted = 0; copy->count != 300; ++granted) {
        ASSERT_TRUE(granted < 100 && copy->count == 1 && copy->items[0] == std::string("kept"));
        const test::Refusing refusing(granted);
        EXPECT_EQ(ZVStringList_Set_ZVStringList(copy, &list), copy);
    }
    std::sort(texts.rbegin(), texts.rend());
    ZVStringList_Set_ZVStringList(copy, copy);
    EXPECT_EQ(Entries(copy->items, copy->items + copy->count), texts);
    EXPECT_EQ(copy->sorting, 2);
}
} // namespace
