// The loopback server: one that reads nothing costs neither time nor the others' bytes.
#include "io/server.h"
#include "line/failure.h"
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int connected(int port)
{
    const int handle = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return handle;
}

TEST(Server, LetsGoWhoReadsNothingAndServesTheOthers)
{
    int port = 20000 + getpid() % 20000;
    std::unique_ptr<client::Server> server;
    for (; !server; ++port) try {
            server = std::make_unique<client::Server>(port);
        } catch (const client::Failure&) { // another program has it
        }
    --port;
    const int idle = connected(port), reader = connected(port);
    EXPECT_FALSE(server->attend());
    size_t got = 0;
    const auto take = [&](int flags) {
        char bytes[65536];
        for (ssize_t count; (count = recv(reader, bytes, sizeof bytes, flags)) > 0;) got += size_t(count);
    };
    const std::string piece(100'000, 'x');
    testing::internal::CaptureStderr();
    for (int k = 0; k < 200; ++k) {
        server->send(piece);
        take(MSG_DONTWAIT);
    }
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find("is let go"), said.rfind("is let go"));
    EXPECT_NE(said.find("is let go"), std::string::npos);
    ASSERT_EQ(send(reader, "?", 1, 0), 1);
    EXPECT_TRUE(server->attend());
    server.reset();
    take(0);
    EXPECT_EQ(got, 200 * piece.size());
    close(idle), close(reader);
}
} // namespace
