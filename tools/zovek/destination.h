// Where a command's bytes go: a file, a device, a pipe or standard output.
//
// A file is written under a temporary name beside its target and takes its name when it is complete, so what was
// there before isn't lost when something fails.
#pragma once
#include "system.h"
#include <cstddef>
#include <string>

namespace client {
class Destination {
public:
    // Opens it; - is standard output. Fails with the reason. What was written to a file is gone again unless
    // finish is reached.
    explicit Destination(const std::string& path);

    void put(const void* data, size_t bytes);
    void rewind(); // files alone: the next bytes go over the first ones
    // Gives a file its name.
    void finish();

    bool is_file() const { return !target_.empty(); }
    const std::string& name() const { return name_; }

private:
    [[noreturn]] void fail();

    // Closes the file and removes the temporary file.
    struct Place {
        system::Handle handle = system::none;
        std::string temporary; // name of the file; empty when there is nothing to remove
        ~Place();
    };
    std::string name_;   // for messages
    std::string target_; // the file that the temporary one becomes; empty for pipes and devices
    Place place_;
};
} // namespace client
