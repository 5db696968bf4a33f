// Where a command's bytes go: a file, a device, a pipe or standard output.
//
// A file is written as NAME.part beside its target and takes its name when it is complete, so what was there
// before isn't lost when something fails. Where NAME.part is there already, of another run or of one that was
// killed, it stays, and NAME.part2 is written, and so on. A link stays a link: its target is written, even
// one that isn't there yet.
#pragma once
#include "io/system.h"
#include <cstddef>
#include <string>

namespace client {
class Destination {
public:
    // Opens it; - is standard output. Fails with the reason. What was written to a file is gone again unless
    // finish is reached.
    explicit Destination(const std::string& path);

    void put(const void* data, size_t bytes);
    // Likewise, but gives the reason; empty if there is none.
    std::string offer(const void* data, size_t bytes);
    // Files alone: where the next bytes go, and the length to which the file is cut.
    void seek(int64_t position);
    void cut(int64_t length);
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
