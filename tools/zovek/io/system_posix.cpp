// The client's requests to the operating system, by POSIX.
#include "io/sound_file.h"
#include "io/stop.h"
#include "io/system.h"
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
#include <utility>

namespace client {
namespace {
volatile std::sig_atomic_t asked = 0;
thread_local bool is_beside = false; // this thread is

struct Stop {
    int signal;
    bool inherits;    // ignored if the parent ignores it: only a person or a script means the others
    bool second_ends; // a closed terminal sends HUP up to three times, and a broken pipe PIPE at each line
};

constexpr Stop stops[] = {
    // signal  inherits second_ends
    {SIGINT, false, true},  {SIGTERM, false, true},   {SIGQUIT, true, true},  {SIGHUP, true, false},
    {SIGPIPE, true, false}, {SIGXFSZ, true, false},   {SIGXCPU, true, false}, {SIGALRM, true, false},
    {SIGPROF, true, false}, {SIGVTALRM, true, false}, {SIGUSR1, true, false}, {SIGUSR2, true, false},
#ifdef SIGPWR
    {SIGPWR, true, false},
#endif
};

// As programs end that don't watch, quietly.
[[noreturn]] void end_by_pipe()
{
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
    std::_Exit(128 + SIGPIPE); // it is blocked
}
} // namespace

void watch_for_stop()
{
    for (const Stop& stop : stops) {
        struct sigaction action = {}, before;
        if (sigaction(stop.signal, nullptr, &before) != 0) continue;
        if (stop.inherits && before.sa_handler == SIG_IGN) continue;
        action.sa_handler = [](int signal) { asked = signal; };
        // Without SA_RESTART: a read that waits is interrupted.
        action.sa_flags = stop.second_ends ? static_cast<int>(SA_RESETHAND) : 0;
        sigaction(stop.signal, &action, nullptr);
    }
}

int stop_signal() { return asked; }

std::jthread beside(std::function<void()> work)
{
    struct Blocked { // a new thread blocks what its maker does
        sigset_t before;
        Blocked()
        {
            sigset_t set;
            sigemptyset(&set);
            for (const Stop& stop : stops) sigaddset(&set, stop.signal);
            pthread_sigmask(SIG_BLOCK, &set, &before);
        }
        ~Blocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    } const blocked;
    return std::jthread([work = std::move(work)] {
        is_beside = true;
        work();
    });
}
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
        if (written < 0 && errno == EPIPE && !is_beside) end_by_pipe();
        if (written < 0) return false;
        at += written;
        bytes -= size_t(written);
    }
    return true;
}

bool flush()
{
    errno = EIO; // if it was lost before
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return true;
    if (errno == EPIPE || stop_signal() == SIGPIPE) end_by_pipe();
    return false;
}

bool is_at_start_of_file(Handle handle)
{
    struct stat info;
    return fstat(int(handle), &info) == 0 && S_ISREG(info.st_mode) && lseek(int(handle), 0, SEEK_CUR) == 0;
}

int64_t length(Handle handle)
{
    struct stat info;
    return fstat(int(handle), &info) == 0 ? info.st_size : 0;
}

bool seek(Handle handle, int64_t position) { return lseek(int(handle), position, SEEK_SET) >= 0; }
bool cut(Handle handle, int64_t bytes) { return ftruncate(int(handle), bytes) == 0; }

Found look(const std::string& path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return Found::nothing;
    return S_ISREG(info.st_mode) ? Found::file : Found::other;
}

bool find_target(std::string& path)
{
    constexpr int most_links = 40; // as the system itself follows
    std::string target(PATH_MAX, 0);
    ssize_t length;
    for (int links = 0; (length = readlink(path.c_str(), target.data(), target.size())) >= 0; ++links) {
        if (links == most_links) {
            errno = ELOOP;
            return false;
        }
        const size_t folder = target[0] == '/' ? 0 : path.rfind('/') + 1; // 0 too where there is none
        path.replace(folder, std::string::npos, target, 0, size_t(length));
    }
    return access(path.c_str(), W_OK) == 0 || errno == ENOENT;
}

Handle create(const std::string& path, const std::string& like, bool& taken)
{
    struct stat info;
    const bool there = stat(like.c_str(), &info) == 0;
    const mode_t mode = there ? info.st_mode & 0777 : 0666;
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    taken = fd < 0 && errno == EEXIST;
    if (fd >= 0 && there) fchmod(fd, mode); // whatever the mask takes off
    return fd;
}

bool rename(const std::string& from, const std::string& to)
{
    return std::rename(from.c_str(), to.c_str()) == 0;
}

void remove(const std::string& path) { unlink(path.c_str()); }

SNDFILE* open_sound(const std::string& path, SF_INFO* info) { return sf_open(path.c_str(), SFM_READ, info); }

bool is_terminal(Handle handle) { return isatty(int(handle)) != 0; }

std::optional<Size> terminal_size()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {};
    return Size{size.ws_col, size.ws_row};
}
} // namespace client::system
