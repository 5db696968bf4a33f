#include "io/source.h"
#include "line/failure.h"

namespace client {
Source::Source(const std::string& path)
    : handle_(path == "-" ? system::standard_input() : system::open_to_read(path))
{
    if (handle_ == system::none) throw Failure(path, system::reason());
    if (system::is_at_start_of_file(handle_)) length_ = system::length(handle_);
}

Source::~Source()
{
    if (handle_ != system::standard_input()) system::close(handle_);
}

int64_t Source::read(char* to, int64_t bytes)
{
    int64_t got = 0;
    while (got < bytes) {
        const int64_t piece = system::read(handle_, to + got, static_cast<size_t>(bytes - got));
        if (piece < 0) trouble_ = system::reason();
        if (piece <= 0) break;
        got += piece;
    }
    return got;
}
} // namespace client
