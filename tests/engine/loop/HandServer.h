// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server that a test moves by hand, on its own thread: it does nothing that it is not told.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "tests/kit/src/Listener.h"

class HandServer {
public:
    HandServer() = default;
    ~HandServer();
    HandServer(const HandServer&) = delete;
    HandServer& operator=(const HandServer&) = delete;

    std::string origin() const { return "http://127.0.0.1:" + std::to_string(m_listener.port()); }

    /// Waits until a request for a target has come whole, without a body. @return the number of its connection; 0: it
    /// does not come.
    int WaitForRequest(const std::string& target);
    /// Waits until the client has closed a connection. @return whether it has.
    bool WaitForEnd(int connection);
    void Send(int connection, std::string_view bytes);
    void Close(int connection);
    void Reset(int connection);

private:
    struct Connection {
        int fd;
        std::string received;
        bool ended = false;
    };
    template <class Done> bool PumpUntil(const Done& done);
    void Pump();
    void Receive(Connection& connection);

    httpclient::testing::Listener m_listener{"127.0.0.1", 0};
    int m_accepted = 0;
    std::map<int, Connection> m_connections;
};
