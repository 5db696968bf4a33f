#include "io/server.h"
#include "line/failure.h"

namespace client {
Server::Server(int port) : handle_(system::none)
{
    throw Failure("port " + std::to_string(port), "the server is for Linux");
}
Server::~Server() = default;
bool Server::attend() { return false; }
void Server::send(const std::string&) {}
} // namespace client
