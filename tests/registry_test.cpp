// The registry in files: which file a value is, and what is none.
#include "support/platform.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zovek/string.h>

namespace {
TEST(Registry, ValuesAreFilesBelowTheConfigurationFolder)
{
    char folder[] = "/tmp/zovek-registry-XXXXXX";
    const std::filesystem::path home = mkdtemp(folder);
    const auto write = [&](const std::string& path, const std::string& content) {
        std::filesystem::create_directories((home / path).parent_path());
        std::ofstream(home / path, std::ios::binary) << content;
    };
    const std::string user = "config/zovek/registry/HKEY_CURRENT_USER/", large(100'000, 'v');
    write(user + "Radio/Front end/gain", "12.5\n");
    write(user + "Radio/lines", "one\ntwo\n\n");
    write(user + "Radio/empty", "");
    write(user + "Radio/zero", {'a', 0, 'b'});
    write(user + "large", large);
    write("config/zovek/registry/outside", "o");
    write("home/.config/zovek/registry/HKEY_USERS/top", "home");
    ASSERT_EQ(mkfifo((home / user / "pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", home / user / "endless");

    const std::string config = home / "config", too_long(5000, 'k');
    setenv("HOME", (home / "home").c_str(), 1);
    const auto value = [&](void* root, const char* subkey, const char* name, const std::string& setting) {
        setenv("XDG_CONFIG_HOME", setting.c_str(), 1);
        ZVString s;
        ZVString_Set_FromRegistry(ZVString_Construct_String(&s, "old"), root, subkey, name);
        EXPECT_EQ(s.text[s.length], 0);
        std::string text(s.text, size_t(s.length));
        ZVString_Destruct(&s, 0);
        return text;
    };
    {
        const test::Refusing refusing(1); // room for the first text alone
        EXPECT_EQ(value(ZV_HKEY_CURRENT_USER, "", "large", config), "");
    }
    const struct {
        const char *subkey, *name;
        std::string result;
    } rows[] = {{"Radio\\Front end", "gain", "12.5"},
                {"Radio\\", "lines", "one\ntwo\n"},
                {"Radio", "zero", {'a', 0, 'b'}},
                {"Radio", "empty", ""},
                {"", "large", large},
                {"none", "lines", ""},
                {"Radio", "none", ""},
                {"", "Radio", ""},
                {"", "", ""},
                {"", "endless", ""},
                {"", "pipe", ""},
                {"..", "outside", ""},
                {"", "../outside", ""},
                {"Radio/Front end", "gain", ""},
                {too_long.c_str(), "top", ""}};
    for (const auto& [subkey, name, result] : rows)
        EXPECT_EQ(value(ZV_HKEY_CURRENT_USER, subkey, name, config), result) << subkey << ' ' << name;
    EXPECT_EQ(value(nullptr, "", "top", config), "");
    EXPECT_EQ(value(ZV_HKEY_USERS, "", "top", config), "");
    for (const char* unset : {"", "relative"}) EXPECT_EQ(value(ZV_HKEY_USERS, "", "top", unset), "home");
    std::filesystem::remove_all(home);
}
} // namespace
