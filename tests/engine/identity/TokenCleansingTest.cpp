// SPDX-License-Identifier: Apache-2.0
// A token is in no block of memory that is given back: not that of a head that carried it, nor its own.
#include <cstring>
#include <string>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "identity/TokenTest.h"
#include "interpose/WatchedBlocks.h"
#include "setting/Secrets.h"

using httpclient::testing::FreedBlocks;

namespace {

/// A server that keeps nothing of what it receives. It answers 200, and 403 to "/orders/refused".
class Forgetful {
public:
    Forgetful() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(m_listener, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(m_listener, 4), 0);
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Serve(); });
    }
    ~Forgetful() {
        shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        close(m_listener);
    }
    Forgetful(const Forgetful&) = delete;
    Forgetful& operator=(const Forgetful&) = delete;

    std::string origin() const { return "http://127.0.0.1:" + std::to_string(m_port); }

private:
    void Serve() const {
        for (int fd = accept(m_listener, nullptr, nullptr); fd >= 0;
             fd = accept(m_listener, nullptr, nullptr)) {
            char head[8192] = {};
            std::size_t size = 0;
            for (ssize_t got = 0; (got = recv(fd, head + size, sizeof head - 1 - size, 0)) > 0;) {
                size += static_cast<std::size_t>(got);
                if (strstr(head, "\r\n\r\n") == nullptr) {
                    continue;
                }
                const char* answer = strstr(head, "/orders/refused") != nullptr
                                         ? "HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n"
                                         : "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
                static_cast<void>(send(fd, answer, strlen(answer), MSG_NOSIGNAL));
                memset(head, 0, sizeof head);
                size = 0;
            }
            close(fd);
        }
    }

    int m_listener;
    std::uint16_t m_port = 0;
    std::thread m_thread;
};

class TokenCleansing : public TokenTest {
protected:
    /// Joins its threads: one may have sent its answer, with the token, and not yet have freed it.
    void StopTokenService() { m_service.server().Stop(); }
};

} // namespace

TEST_F(TokenCleansing, LeavesNothingInMemoryThatIsGivenBack) {
    const std::string token = Nth("orders", 1) + std::string(900, 't');
    m_service.SetTokens("orders", {token});
    const Forgetful server;
    std::optional<Client> client(ClientOf(AsPlatform(server.origin())));
    ASSERT_EQ(Told(client->Send(Get("/orders"))), "200 ");
    StopTokenService();
    const FreedBlocks freed{"token-orders-1"};
    EXPECT_EQ(Told(client->Send(Get("/orders"))), "200 ");
    EXPECT_EQ(Told(client->SendAsync(Get("/orders")).get()), "200 ");
    EXPECT_EQ(Told(client->Send(Get("/orders/refused"))), "Identity in Token") << "it is dropped";
    client.reset();
    m_engine.reset();
    EXPECT_GT(freed.Count(), 10);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST_F(TokenCleansing, OfAnEngineThatEndsLeavesNothingEither) {
    const std::string token = Nth("orders", 1) + std::string(900, 't');
    m_service.SetTokens("orders", {token});
    const Forgetful server;
    std::optional<Client> client(ClientOf(AsPlatform(server.origin())));
    ASSERT_EQ(Told(client->Send(Get("/orders"))), "200 ");
    StopTokenService();
    const FreedBlocks freed{"token-orders-1"};
    m_engine->Shutdown(0ms);
    EXPECT_EQ(freed.Holding(), 0);
    EXPECT_GT(freed.Count(), 1);
}
