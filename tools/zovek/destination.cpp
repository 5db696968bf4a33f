#include "destination.h"
#include "failure.h"

namespace client {
Destination::Destination(const std::string& path) : name_(path)
{
    const system::Found found = path == "-" ? system::Found::nothing : system::look(path);
    if (path == "-") {
        name_ = "standard output";
        place_.handle = system::standard_output();
        if (system::is_terminal(place_.handle))
            throw WrongUsage("standard output is a terminal: name a file with -o");
    } else if (found == system::Found::other) { // a device or a named pipe
        place_.handle = system::open_to_write(path);
        if (place_.handle == system::none) fail();
    } else {
        target_ = path;
        const bool there = found == system::Found::file;
        // A link stays a link, and what may not be written is not replaced.
        if (there && !system::find_target(target_)) fail();
        std::string temporary = target_;
        place_.handle = system::create_beside(temporary, there);
        if (place_.handle == system::none) fail();
        place_.temporary = temporary;
    }
}

Destination::Place::~Place()
{
    if (handle != system::none && handle != system::standard_output()) system::close(handle);
    if (!temporary.empty()) system::remove(temporary);
}

void Destination::fail() { throw Failure(name_, system::reason()); }

void Destination::put(const void* data, size_t bytes)
{
    if (!system::write(place_.handle, data, bytes)) fail();
}

void Destination::rewind()
{
    if (!system::seek(place_.handle, 0)) fail();
}

void Destination::finish()
{
    if (place_.handle != system::standard_output()) {
        const system::Handle handle = place_.handle;
        place_.handle = system::none;
        if (!system::close(handle)) fail();
    }
    if (target_.empty()) return;
    if (!system::rename(place_.temporary, target_)) fail();
    place_.temporary.clear();
}
} // namespace client
