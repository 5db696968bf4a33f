#include "io/destination.h"
#include "io/stop.h"
#include "io/talk.h"
#include "line/failure.h"

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
        watch_for_stop(); // what ends the program now would leave a file that isn't complete
        target_ = path;
        // A link stays a link, and what may not be written is not replaced.
        if (!system::find_target(target_)) fail();
        constexpr int most_parts = 1000;
        const std::string usual = target_ + ".part";
        std::string part = usual;
        bool taken = true;
        for (int number = 1; taken && number <= most_parts; ++number) {
            part = usual + (number > 1 ? std::to_string(number) : "");
            place_.handle = system::create(part, target_, taken);
        }
        if (place_.handle == system::none) fail();
        place_.temporary = part;
        if (part != usual)
            say(usual + ": is there already, of another run or a killed one: this one writes " + part);
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

std::string Destination::offer(const void* data, size_t bytes)
{
    return system::write(place_.handle, data, bytes) ? std::string() : system::reason();
}

void Destination::seek(int64_t position)
{
    if (!system::seek(place_.handle, position)) fail();
}

void Destination::cut(int64_t length)
{
    if (!system::cut(place_.handle, length)) fail();
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
