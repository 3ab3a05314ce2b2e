// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server that a test moves by hand, on its own thread: it does nothing that it is not told.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include <httpclient/testing/TlsLoopbackServer.h>

#include "tests/kit/src/Listener.h"
#include "tests/kit/src/OpenSsl.h"

class HandServer {
public:
    /// @param tls how it does TLS, and demands certificates; null: it does not.
    explicit HandServer(const httpclient::testing::TlsOptions* tls = nullptr);
    ~HandServer();
    HandServer(const HandServer&) = delete;
    HandServer& operator=(const HandServer&) = delete;

    std::string origin() const {
        return std::string(m_context ? "https" : "http") +
               "://127.0.0.1:" + std::to_string(m_listener.port());
    }

    /// Waits until a request for a target has come whole, without a body. @return the number of its connection; 0: it
    /// does not come.
    int WaitForRequest(const std::string& target);
    /// Waits until the client has closed a connection. @return whether it has.
    bool WaitForEnd(int connection);
    /// @return the subject of the certificate that the client has shown.
    std::string Subject(int connection) const;
    void Send(int connection, std::string_view bytes);
    void Close(int connection);
    void Reset(int connection);

private:
    struct Connection {
        int fd;
        httpclient::testing::SslPtr ssl; ///< null: plain
        std::string received;
        bool ended = false;
    };
    /// @return what recv() would.
    static long Read(const Connection& connection, char* to, std::size_t room);
    void Accept();
    template <class Done> bool PumpUntil(const Done& done);
    void Pump();
    void Receive(Connection& connection);

    httpclient::testing::Listener m_listener{"127.0.0.1", 0};
    const httpclient::testing::ContextPtr m_context; ///< null: plain
    int m_accepted = 0;
    std::map<int, Connection> m_connections;
};
