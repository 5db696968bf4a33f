#include "destination.h"
#include "failure.h"
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace client {
Destination::Destination(const std::string& path) : name_(path)
{
    struct stat info;
    const bool exists = path != "-" && stat(path.c_str(), &info) == 0;
    if (path == "-") {
        name_ = "standard output";
        place_.fd = STDOUT_FILENO;
        if (isatty(place_.fd)) throw WrongUsage("standard output is a terminal: name a file with -o");
    } else if (exists && !S_ISREG(info.st_mode)) { // a device or a named pipe
        place_.fd = open(path.c_str(), O_WRONLY);
        if (place_.fd < 0) fail(errno);
    } else {
        target_ = path;
        if (exists) { // a link stays a link, and what may not be written is not replaced
            if (access(target_.c_str(), W_OK) != 0) fail(errno);
            char* real = realpath(target_.c_str(), nullptr);
            if (!real) fail(errno);
            target_ = real;
            std::free(real);
        }
        std::string temporary = target_ + ".XXXXXX";
        place_.fd = mkstemp(temporary.data());
        if (place_.fd < 0) fail(errno);
        place_.temporary = temporary;
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(place_.fd, exists ? info.st_mode & 0777 : 0666 & ~mask);
    }
}

Destination::Place::~Place()
{
    if (fd >= 0 && fd != STDOUT_FILENO) close(fd);
    if (!temporary.empty()) unlink(temporary.c_str());
}

void Destination::fail(int error) { throw Failure(name_, std::strerror(error)); }

void Destination::put(const void* data, size_t bytes)
{
    const char* from = static_cast<const char*>(data);
    while (bytes > 0) {
        const ssize_t written = ::write(place_.fd, from, bytes);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) fail(errno);
        from += written;
        bytes -= size_t(written);
    }
}

void Destination::rewind()
{
    if (lseek(place_.fd, 0, SEEK_SET) < 0) fail(errno);
}

void Destination::finish()
{
    if (place_.fd != STDOUT_FILENO) {
        const int fd = place_.fd;
        place_.fd = -1;
        if (close(fd) != 0) fail(errno);
    }
    if (target_.empty()) return;
    if (rename(place_.temporary.c_str(), target_.c_str()) != 0) fail(errno);
    place_.temporary.clear();
}
} // namespace client
