// Frames for programs that take them from a modem by KISS over TCP (M. Chepponis, P. Karn, "The KISS TNC",
// 1987): a server on the loopback address.
#pragma once
#include "io/server.h"
#include <string>

namespace client {
class Kiss {
public:
    explicit Kiss(int port) : server_(port) {}

    // Between pieces of audio. What clients want to be sent is dropped, and told once.
    void attend();
    // A frame as it stood between its flags, without the check sequence.
    void send(const std::string& frame) { server_.send(framed(frame)); }

    // The frame as data of port 0.
    static std::string framed(const std::string& frame);

private:
    Server server_;
    bool told_ = false;
};
} // namespace client
