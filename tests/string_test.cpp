// String object: limits, random work against std::string with refusals, the current directory and the
// registry.
#include "core/heap.h"
#include "platform/platform.h"
#include "support/guarded.h"
#include "support/platform.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <zovek/string.h>

// The test's registry: what a value is at each question, "-" for none; the last one stays. And the sizes
// asked with.
static std::deque<std::string> registry_values;
static std::vector<uint32_t> registry_sizes;

uint32_t zv::platform::registry_value(void*, const char*, const char*, uint32_t size, char* buffer)
{
    registry_sizes.push_back(size);
    const std::string value = registry_values.front();
    if (registry_values.size() > 1) registry_values.pop_front();
    if (value == "-") return 0;
    if (value.size() < size) std::memcpy(buffer, value.c_str(), value.size() + 1);
    return uint32_t(value.size() + 1);
}

namespace {
class String : public testing::Test {
protected:
    String() { ZVString_Construct(&s); }
    ~String() override
    {
        ZVString_Destruct(&s, 0);
        EXPECT_EQ(zv::heap::newest_pool(), nullptr) << "a block is left behind";
    }

    // The text, with a look at the record's invariants.
    std::string text() const
    {
        EXPECT_TRUE(s.length >= 0 && uint32_t(s.length) < s.capacity && s.capacity % 64 == 0);
        EXPECT_EQ(s.text[s.length], 0);
        return {s.text, size_t(s.length)};
    }
    ZVString s;
};

TEST_F(String, TheLongestTextStaysAndARefusedConstructionGivesAllBack)
{
    ZVString full = {s.text, INT32_MAX, 0x80000000u}; // but for its characters
    ZVString_Add_Character(&full, 'x');
    ZVString_Insert_Character(&full, 0, 'x');
    EXPECT_EQ(full.length, INT32_MAX);
    const test::Refusing refusing; // the record still fits in the present pool
    EXPECT_EQ(ZVString_Construct_String(nullptr, std::string(50'000, 'x').c_str()), nullptr);
}

// The block holds the longest need so far, in steps of 64 bytes. A third of the steps find no memory: these
// may leave the text as it was, but only where it would have had to grow.
TEST_F(String, EqualsStdStringThroughRandomWorkAndRefusals)
{
    std::mt19937 random(3);
    const auto below = [&](int n) { return int(random() % unsigned(n)); };
    int refusals = 0;
    for (int n = 0; n < 20'000; ++n) {
        if (s.capacity > 4096) ZVString_Destruct(&s, 0), ZVString_Construct(&s);
        const std::string before = text(), add(size_t(below(below(8) == 0 ? 9000 : 90)), 'x');
        const int length = s.length, at = below(length + 8) - 4, last = below(length + 8) - 4;
        const bool inside = at >= 0 && at < length;
        const auto place = size_t(inside ? at : length);
        ZVString other;
        ASSERT_TRUE(ZVString_Construct_String(&other, add.c_str()));
        std::string want = before, bytes = add; // bytes: with a byte 0, which survives between objects
        if (!add.empty()) bytes[add.size() / 2] = other.text[add.size() / 2] = 0;
        const uint32_t capacity = s.capacity;
        const bool refuse = below(3) == 0;
        test::pools_left = refuse ? 0 : -1;
        // clang-format off
        switch (below(11)) {
        case 0: ZVString_Set_String(&s, add.c_str());      want = add; break;
        case 1: ZVString_Set_ZVString(&s, &other);         want = bytes; break;
        case 2: ZVString_Add_String(&s, add.c_str());      want += add; break;
        case 3: ZVString_Add_ZVString(&s, &other);         want += bytes; break;
        case 4: ZVString_Add_Character(&s, char(n));       want += char(n); break;
        case 5: ZVString_Insert_Character(&s, at, 'I');    want.insert(place, 1, 'I'); break;
        case 6: ZVString_Replace_Character(&s, 'x', 'R');  std::replace(want.begin(), want.end(), 'x', 'R'); break;
        case 7: ZVString_Delete_Character(&s, at);         want.erase(place, 1); break;
        case 8: ZVString_Truncate(&s, uint32_t(at));       want.resize(place); break;
        case 9: ZVString_Delete_Range(&s, at, last);
            if (const int first = std::max(at, 0); first < length && last >= first)
                want.erase(size_t(first), size_t(last) - size_t(first) + 1), want = want.substr(0, want.find('\0'));
            break;
        case 10: ZVString_Set_ZVString(ZVString_Set_String(&s, s.text), &s); // nothing, both
            if (inside && at > 0) ZVString_Set_String(&s, s.text + at), want = before.c_str() + at;
            break;
        }
        // clang-format on
        test::pools_left = -1;
        ZVString_Destruct(&other, 0);
        const auto steps = uint32_t((want.size() + 64) / 64 * 64);
        const bool refused = refuse && steps > capacity && s.capacity == capacity;
        ASSERT_EQ(text(), refused ? before : want) << n;
        ASSERT_EQ(s.capacity, refused ? capacity : std::max(capacity, steps)) << n;
        refusals += refused;
    }
    EXPECT_GT(refusals, 20); // how many varies with the sizes that pools get
}

TEST_F(String, NumbersHaveABoundedMinimumOfDigits)
{
    ZVString_Add_Integer(&s, -5, 10, 3);
    EXPECT_EQ(ZVString_Add_Integer(&s, 1, 37, 3), &s);
    ZVString_Add_Integer64(&s, INT64_MIN, 10, 0);
    EXPECT_EQ(text(), "-005-9223372036854775808");
    ZVString_Add_Integer(ZVString_Set_String(&s, ""), -5, 10, UINT32_MAX);
    EXPECT_EQ(text(), "-" + std::string(32, '0') + "5");
    ZVString_Add_Integer64(ZVString_Set_String(&s, ""), -5, 10, 1000);
    EXPECT_EQ(text(), "-" + std::string(64, '0') + "5");
}

TEST_F(String, AX25CallSigns)
{
    const struct {
        const char* characters;
        uint8_t ssid;
        const char* result;
    } rows[] = {
        {"AB1CD ", 0x0E, "AB1CD-7"},   {"AB1CD ", 0xE0, "AB1CD"}, {"AB1CD ", 0x61, "AB1CD"},
        {"AB1CD ", 0x7F, "AB1CD-15"},  {"A BCDE", 0x00, "ABCDE"}, {"      ", 0x06, "-3"},
        {"ABCDEF", 0xF4, "ABCDEF-10"},
    };
    for (const auto& [characters, ssid, result] : rows) {
        test::Guarded<uint8_t> address(7);
        std::memcpy(address.data(), characters, 6);
        address[6] = ssid;
        ZVString_Set_String(&s, std::string(55, '>').c_str());
        EXPECT_EQ(ZVString_Add_AX25CallSign(&s, address.data()), &s);
        EXPECT_EQ(text(), std::string(55, '>') + result);
        EXPECT_EQ(s.capacity, 128u); // for the longest call sign, whatever this one takes
    }
}

// The second question is for the size that the first one gave, so a value that has grown since is a failure,
// also where the block would hold it; one that has shrunk is taken.
TEST_F(String, AValueOfTheRegistryIsAskedForItsSizeFirst)
{
    const std::pair<std::deque<std::string>, std::string> rows[] = {
        {{"12.5"}, "12.5"},
        {{"12.5", "12.50"}, ""},
        {{"12.5", "12"}, "12"},
        {{"12.5", "-"}, ""},
        {{"-"}, ""},
        {{std::string(200, 'v')}, std::string(200, 'v')},
    };
    for (const auto& [answers, result] : rows) {
        ZVString_Set_String(&s, "old");
        registry_values = answers;
        registry_sizes.clear();
        ZVString_Set_FromRegistry(&s, ZV_HKEY_USERS, "", "value");
        EXPECT_EQ(text(), result);
        const auto need = uint32_t(answers[0].size()) + 1;
        EXPECT_EQ(registry_sizes, answers[0] == "-" ? std::vector{0u} : (std::vector{0u, need}))
            << answers[0];
    }
}

TEST_F(String, CurrentDirectoryIsAskedForItsSizeFirst)
{
    const std::string deep = "/" + std::string(100'000, 'd');
    const std::pair<std::deque<std::string>, std::string> rows[] = {
        // what the system says to the question for the size and to the one for the name
        {{"/home"}, "/home"}, {{deep}, deep},        {{}, "old"},
        {{deep, "/"}, "/"},   {{"/home", deep}, ""}, {{"/home", ""}, ""},
    };
    test::directories = {deep};
    {
        const test::Refusing refusing;
        ZVString_Set_CurrentDirectory(ZVString_Set_String(&s, "old"));
        EXPECT_EQ(text(), "old");
    }
    for (const auto& [answers, result] : rows) {
        ZVString_Destruct(&s, 0);
        ZVString_Construct_String(&s, "old");
        test::directories = answers;
        EXPECT_EQ(ZVString_Set_CurrentDirectory(&s), &s);
        EXPECT_EQ(text(), result);
    }
}
} // namespace
