// The library on the system's own calls: load, heap, waits and counters, the current directory, the registry.
#include "platform/platform.h"
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <windows.h>
#include <zovek/zovek.h>

namespace {
std::string text_of(const ZVString& s)
{
    EXPECT_EQ(s.text[s.length], 0);
    return {s.text, size_t(s.length)};
}

// Early is a program's own constructor, which may already build objects.
const uint32_t early_signature = _CPU()->signature;
TEST(Windows, TheProcessorIsKnownAheadOfAProgramsConstructors)
{
    EXPECT_NE(early_signature, 0u);
    EXPECT_EQ(early_signature, _CPU()->signature);
}

TEST(Windows, TheHeapIsAHeapOfItsOwnAsLongAsItHasBlocks)
{
    const DWORD before = GetProcessHeaps(0, nullptr);
    char* small = static_cast<char*>(MemoryAlloc(1));
    char* large = static_cast<char*>(MemoryAlloc(50'000'000)); // far past the heap's first size
    ASSERT_TRUE(small && large);
    EXPECT_EQ(GetProcessHeaps(0, nullptr), before + 1);
    memset(large, 1, 50'000'000);
    small = static_cast<char*>(MemoryReAlloc(small, 4000));
    MemoryFree(large);
    EXPECT_EQ(GetProcessHeaps(0, nullptr), before + 1);
    MemoryFree(small);
    EXPECT_EQ(GetProcessHeaps(0, nullptr), before);
}

TEST(Windows, PausesAndCountsInRealTime)
{
    double error = 1; // the best of some tries, as another program may get in between
    for (int attempt = 0; attempt < 5 && error > 0.04; attempt++) {
        const ULONGLONG start = GetTickCount64();
        const uint64_t first = zv::platform::counter();
        for (int n = 0; n < 50; n++) zv::platform::pause();
        const double seconds = double(GetTickCount64() - start) / 1000;
        const double counted = double(zv::platform::counter() - first) / double(zv::platform::counter_rate());
        EXPECT_GE(seconds, 0.04) << "some pauses are none";
        error = std::min(error, std::abs(counted - seconds));
    }
    EXPECT_LE(error, 0.04); // the other clock steps by up to 16 ms
}

TEST(Windows, TellsTheCurrentDirectory)
{
    const std::filesystem::path home = std::filesystem::current_path(), deep = home / std::string(150, 'd');
    std::filesystem::create_directory(deep);
    ZVString s;
    ZVString_Construct(&s);
    for (const auto& folder : {deep, home}) {
        std::filesystem::current_path(folder);
        EXPECT_EQ(ZVString_Set_CurrentDirectory(&s), &s);
        EXPECT_EQ(text_of(s), folder.string());
    }
    std::filesystem::remove(deep);
    ZVString_Destruct(&s, 0);

    char buffer[300] = {}; // what fits is written, what does not leaves the buffer alone
    const uint32_t need = zv::platform::current_directory(0, nullptr);
    EXPECT_EQ(need, home.string().size() + 1);
    EXPECT_EQ(zv::platform::current_directory(need - 1, buffer), need);
    EXPECT_EQ(zv::platform::current_directory(need, buffer), need);
    EXPECT_EQ(buffer, home.string());
}

// A value is its bytes less the last one, whatever its type.
TEST(Windows, ReadsValuesFromTheRegistry)
{
    EXPECT_EQ(ZV_HKEY_CLASSES_ROOT, HKEY_CLASSES_ROOT);
    EXPECT_EQ(ZV_HKEY_CURRENT_USER, HKEY_CURRENT_USER);
    EXPECT_EQ(ZV_HKEY_LOCAL_MACHINE, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(ZV_HKEY_USERS, HKEY_USERS);
    EXPECT_EQ(ZV_HKEY_CURRENT_CONFIG, HKEY_CURRENT_CONFIG);

    HKEY radio, front_end;
    ASSERT_EQ(RegCreateKeyA(HKEY_CURRENT_USER, "Software\\Zovek test", &radio), ERROR_SUCCESS);
    ASSERT_EQ(RegCreateKeyA(radio, "Front end", &front_end), ERROR_SUCCESS);
    const std::string large(100'000, 'v');
    const auto write = [](HKEY key, const char* name, DWORD type, std::string_view bytes) {
        const auto* data = reinterpret_cast<const BYTE*>(bytes.data());
        ASSERT_EQ(RegSetValueExA(key, name, 0, type, data, DWORD(bytes.size())), ERROR_SUCCESS) << name;
    };
    write(front_end, "gain", REG_SZ, {"12.5\0", 5});
    write(radio, "empty", REG_SZ, {"\0", 1});
    write(radio, "no bytes", REG_BINARY, {});
    write(radio, "binary", REG_BINARY, {"a\0bc", 4});
    write(radio, "number", REG_DWORD, {"xyz!", 4});
    write(radio, "large", REG_SZ, {large.c_str(), large.size() + 1});
    write(radio, "", REG_SZ, {"default\0", 8});

    const struct {
        void* root;
        const char *subkey, *name;
        std::string text;
    } rows[] = {
        {ZV_HKEY_CURRENT_USER, "Software\\Zovek test\\Front end", "gain", "12.5"},
        {radio, "Front end", "gain", "12.5"},
        {front_end, "", "GAIN", "12.5"},
        {radio, "", "empty", ""},
        {radio, "", "no bytes", ""},
        {radio, "", "binary", {'a', 0, 'b'}},
        {radio, "", "number", "xyz"},
        {radio, "", "large", large},
        {radio, "", "", "default"},
        {radio, "", "none", ""},
        {radio, "none", "gain", ""},
        {ZV_HKEY_USERS, "Software\\Zovek test\\Front end", "gain", ""},
        {nullptr, "", "gain", ""},
    };
    ZVString s;
    ZVString_Construct(&s);
    for (const auto& [root, subkey, name, text] : rows) {
        ZVString_Set_FromRegistry(ZVString_Set_String(&s, "old"), root, subkey, name);
        EXPECT_EQ(text_of(s), text) << subkey << ' ' << name;
    }
    ZVString_Destruct(&s, 0);
    RegCloseKey(front_end);
    RegCloseKey(radio);
    RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\Zovek test\\Front end");
    RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\Zovek test");
}
} // namespace
