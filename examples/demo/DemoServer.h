// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace demo {

/// An HTTP server on 127.0.0.1 that shows what a client can meet.
///
/// Runs on threads of its own from construction to destruction. Close the clients' connections first: the
/// destructor waits for those that are still open (for as long as the keep-alive time-out).
class DemoServer {
public:
    /// @param port where to listen; 0 lets the kernel choose a free one.
    /// @throw std::runtime_error when it cannot listen there.
    explicit DemoServer(int port = 0);
    ~DemoServer();
    DemoServer(const DemoServer&) = delete;
    DemoServer& operator=(const DemoServer&) = delete;

    int Port() const { return m_port; }

    /// The pages that the server has, one a line: what "/" answers.
    static std::string Index();

private:
    std::unique_ptr<httplib::Server> m_server;
    int m_port = 0;
    std::thread m_thread;
};

} // namespace demo
