// The registry as files, read only. A key is a folder, a value a text file in it, and the keys that are
// always open are the topmost folders, in $XDG_CONFIG_HOME/zovek/registry. A value's text is the file's, less
// one line end at its end, since editors put one there. Names count as they are written, case included.
#include "platform/platform.h"
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zovek/string.h>

namespace zv::platform {
static constexpr struct {
    uint32_t low_bits;
    const char* folder;
} open_keys[] = {
    {0, "HKEY_CLASSES_ROOT"}, {1, "HKEY_CURRENT_USER"},   {2, "HKEY_LOCAL_MACHINE"},
    {3, "HKEY_USERS"},        {5, "HKEY_CURRENT_CONFIG"},
};

static const char* folder_of(void* root)
{
    for (const auto& [low_bits, folder] : open_keys)
        if (root == ZV_HKEY(static_cast<int>(low_bits))) return folder;
    return nullptr;
}

// A name of one level: neither a path nor a way out of the folder.
static bool is_plain(const char* name, size_t length)
{
    const bool upward = (length == 1 && name[0] == '.') || (length == 2 && name[0] == '.' && name[1] == '.');
    return length != 0 && !upward && !memchr(name, '/', length);
}

// A path that grows level by level; add says whether there was room.
class Path {
public:
    bool add(const char* name, size_t length)
    {
        const bool fits = used_ + length + 2 <= sizeof path_;
        if (fits) {
            if (used_ != 0) path_[used_++] = '/';
            memcpy(path_ + used_, name, length);
            path_[used_ += length] = 0;
        }
        return fits;
    }
    bool add(const char* name) { return add(name, strlen(name)); }
    const char* c_str() const { return path_; }

private:
    size_t used_ = 0;
    char path_[PATH_MAX];
};

static bool add_registry(Path& path)
{
    const char *config = getenv("XDG_CONFIG_HOME"), *home = getenv("HOME");
    if (config && config[0] == '/') return path.add(config) && path.add("zovek/registry");
    return home && path.add(home) && path.add(".config/zovek/registry");
}

// The levels of a subkey, separated by backslashes; none in an empty one.
static bool add_subkey(Path& path, const char* subkey)
{
    while (*subkey) {
        const size_t length = strcspn(subkey, "\\");
        if (!is_plain(subkey, length) || !path.add(subkey, length)) return false;
        subkey += length;
        if (*subkey) ++subkey;
    }
    return true;
}

static uint32_t read_text(int file, uint32_t size, char* buffer)
{
    struct stat status;
    if (fstat(file, &status) != 0 || status.st_size >= INT32_MAX) return 0;
    auto length = static_cast<size_t>(status.st_size);
    char last = 0;
    if (length != 0 && pread(file, &last, 1, status.st_size - 1) != 1) return 0;
    if (last == '\n') --length;
    if (length < size) {
        if (pread(file, buffer, length, 0) != static_cast<ssize_t>(length)) return 0;
        buffer[length] = 0;
    }
    return static_cast<uint32_t>(length + 1);
}

uint32_t registry_value(void* root, const char* subkey, const char* name, uint32_t size, char* buffer)
{
    Path path;
    const char* folder = folder_of(root);
    if (!folder || !add_registry(path) || !path.add(folder) || !add_subkey(path, subkey)) return 0;
    if (!is_plain(name, strlen(name)) || !path.add(name)) return 0;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a pipe must not hold us up
    if (file < 0) return 0;
    const uint32_t need = read_text(file, size, buffer);
    close(file);
    return need;
}
} // namespace zv::platform
