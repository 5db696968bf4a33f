// A server on this machine's loopback address, TCP: every client that is connected gets the same bytes. It
// never waits for one, and works when it is called alone.
#pragma once
#include "io/system.h"
#include <string>
#include <vector>

namespace client {
class Server {
public:
    // Fails with the reason, as where another program has the port.
    explicit Server(int port);
    Server(const Server&) = delete;
    // Gives what still waits a second to go out.
    ~Server();

    // Takes in those who want to connect, passes on what waits, and drops what clients send; whether any did.
    bool attend();
    // A client that lets more than a megabyte wait is let go, which is said.
    void send(const std::string& bytes);

private:
    struct Client {
        system::Handle handle;
        std::string waiting;
    };
    void pass_on(Client& client);

    system::Handle handle_;
    std::vector<Client> clients_;
};
} // namespace client
