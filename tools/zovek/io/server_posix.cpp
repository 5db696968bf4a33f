#include "io/server.h"
#include "io/talk.h"
#include "line/failure.h"
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace client {
namespace {
constexpr size_t most_waiting = 1 << 20; // bytes

bool later() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }
} // namespace

Server::Server(int port) : handle_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int again = 1; // a port that was in use a moment ago
    setsockopt(int(handle_), SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
    if (bind(int(handle_), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        listen(int(handle_), SOMAXCONN) == 0)
        return;
    const std::string why = system::reason();
    if (handle_ != system::none) close(int(handle_));
    throw Failure("port " + std::to_string(port), why);
}

Server::~Server()
{
    for (Client& client : clients_) {
        pollfd ready = {int(client.handle), POLLOUT, 0};
        while (!client.waiting.empty() && poll(&ready, 1, 1000) == 1) pass_on(client);
        close(int(client.handle));
    }
    close(int(handle_));
}

// What a client takes at the moment; none is left of one that is gone.
void Server::pass_on(Client& client)
{
    while (!client.waiting.empty()) {
        const ssize_t count = ::send(int(client.handle), client.waiting.data(), client.waiting.size(),
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && later()) return;
        client.waiting.erase(0, count < 0 ? std::string::npos : size_t(count));
    }
}

bool Server::attend()
{
    for (int handle; (handle = accept4(int(handle_), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;)
        clients_.push_back({handle, {}});
    bool spoken = false;
    std::erase_if(clients_, [&](Client& client) {
        char dropped[4096];
        ssize_t count;
        while ((count = recv(int(client.handle), dropped, sizeof dropped, MSG_DONTWAIT)) > 0) spoken = true;
        const bool gone = count == 0 || !later();
        if (gone)
            close(int(client.handle));
        else
            pass_on(client);
        return gone;
    });
    return spoken;
}

void Server::send(const std::string& bytes)
{
    std::erase_if(clients_, [&](Client& client) {
        client.waiting += bytes;
        pass_on(client);
        if (client.waiting.size() <= most_waiting) return false;
        say("a client of the port takes nothing more: it is let go");
        close(int(client.handle));
        return true;
    });
}
} // namespace client
