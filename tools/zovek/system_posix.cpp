// The client's requests to the operating system, by POSIX.
#include "stop.h"
#include "system.h"
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace client {
static volatile std::sig_atomic_t asked = 0;

void watch_for_stop()
{
    struct sigaction action = {};
    action.sa_handler = [](int signal) { asked = signal; };
    action.sa_flags = static_cast<int>(SA_RESETHAND); // without SA_RESTART: a read that waits is interrupted
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int stop_signal() { return asked; }
} // namespace client

namespace client::system {
std::vector<std::string> begin(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_DFL); // whatever the parent does with it
    return {argv + (argc > 0), argv + argc};
}

std::string reason() { return std::strerror(errno); }

Handle standard_input() { return STDIN_FILENO; }
Handle standard_output() { return STDOUT_FILENO; }
Handle standard_error() { return STDERR_FILENO; }

Handle open_to_read(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0 || !S_ISDIR(info.st_mode)) return fd;
    ::close(fd);
    errno = EISDIR;
    return none;
}

Handle open_to_write(const std::string& path) { return ::open(path.c_str(), O_WRONLY); }
bool close(Handle handle) { return ::close(int(handle)) == 0; }

int64_t read(Handle handle, void* to, size_t bytes)
{
    ssize_t got = -1;
    errno = EINTR;
    while (got < 0 && errno == EINTR) {
        if (stop_signal()) return 0;
        got = ::read(int(handle), to, bytes);
    }
    return got;
}

bool write(Handle handle, const void* from, size_t bytes)
{
    const char* at = static_cast<const char*>(from);
    while (bytes > 0) {
        const ssize_t written = ::write(int(handle), at, bytes);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        at += written;
        bytes -= size_t(written);
    }
    return true;
}

bool flush()
{
    errno = EIO; // if it was lost before
    return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

bool is_at_start_of_file(Handle handle)
{
    struct stat info;
    return fstat(int(handle), &info) == 0 && S_ISREG(info.st_mode) && lseek(int(handle), 0, SEEK_CUR) == 0;
}

bool seek(Handle handle, int64_t position) { return lseek(int(handle), position, SEEK_SET) >= 0; }

Found look(const std::string& path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return Found::nothing;
    return S_ISREG(info.st_mode) ? Found::file : Found::other;
}

bool find_target(std::string& path)
{
    if (access(path.c_str(), W_OK) != 0) return false;
    char* real = realpath(path.c_str(), nullptr);
    if (!real) return false;
    path = real;
    std::free(real);
    return true;
}

Handle create_beside(std::string& path, bool target_is_there)
{
    const mode_t mask = umask(0);
    umask(mask);
    mode_t mode = 0666 & ~mask;
    struct stat info;
    if (target_is_there && stat(path.c_str(), &info) == 0) mode = info.st_mode & 0777;
    path += ".XXXXXX";
    const int fd = mkstemp(path.data());
    if (fd >= 0) fchmod(fd, mode);
    return fd;
}

bool rename(const std::string& from, const std::string& to)
{
    return std::rename(from.c_str(), to.c_str()) == 0;
}

void remove(const std::string& path) { unlink(path.c_str()); }

bool is_terminal(Handle handle) { return isatty(int(handle)) != 0; }

std::optional<Size> terminal_size()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {};
    return Size{size.ws_col, size.ws_row};
}
} // namespace client::system
